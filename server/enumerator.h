// Enumerators of COM: IEnumVARIANT, IEnumConnections and their like.
#pragma once

#include <algorithm>
#include <cstddef>
#include <utility>
#include <vector>

#include "server/com.h"
#include "server/module.h"
#include "server/object.h"
#include "server/wall.h"

namespace vex::server {

/// An enumerator over a fixed list. Copy::copy makes a client's own Copy::Out of an item, with references of its own.
template <class Interface, class Item, class Copy>
class Enumerator final : public Interface {
public:
    /// Throws std::bad_alloc.
    [[nodiscard]] static Ref<Interface> create(std::vector<Item> items, std::size_t next = 0)
    {
        return Ref<Interface>(new Enumerator(std::move(items), next));
    }

    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID iid, void** object) noexcept override
    {
        if (object == nullptr) {
            return E_POINTER;
        }
        if (iid != IID_IUnknown && iid != __uuidof(Interface)) {
            *object = nullptr;
            return E_NOINTERFACE;
        }
        AddRef();
        *object = static_cast<Interface*>(this);
        return S_OK;
    }
    ULONG STDMETHODCALLTYPE AddRef() noexcept override { return references_.add(); }
    ULONG STDMETHODCALLTYPE Release() noexcept override
    {
        const ULONG left = references_.remove();
        if (left == 0) {
            delete this;
        }
        return left;
    }

    HRESULT STDMETHODCALLTYPE Next(ULONG count, typename Copy::Out* items, ULONG* fetched) noexcept override
    {
        if (items == nullptr || (fetched == nullptr && count != 1)) {
            return E_POINTER;
        }
        ULONG done = 0;
        for (; done < count && next_ < items_.size(); ++done, ++next_) {
            items[done] = Copy::copy(items_[next_]);
        }
        if (fetched != nullptr) {
            *fetched = done;
        }
        return done == count ? S_OK : S_FALSE;
    }
    HRESULT STDMETHODCALLTYPE Skip(ULONG count) noexcept override
    {
        const std::size_t left = items_.size() - next_;
        next_ += std::min<std::size_t>(count, left);
        return count <= left ? S_OK : S_FALSE;
    }
    HRESULT STDMETHODCALLTYPE Reset() noexcept override
    {
        next_ = 0;
        return S_OK;
    }
    HRESULT STDMETHODCALLTYPE Clone(Interface** clone) noexcept override
    {
        if (clone == nullptr) {
            return E_POINTER;
        }
        *clone = nullptr;
        return guarded([&] { *clone = create(items_, next_).detach(); });
    }

private:
    Enumerator(std::vector<Item> items, std::size_t next) : items_(std::move(items)), next_(next) {}
    ~Enumerator() = default;

    std::vector<Item> items_;
    std::size_t next_;
    ModuleLock lock_;
    ReferenceCount references_;
};

}  // namespace vex::server
