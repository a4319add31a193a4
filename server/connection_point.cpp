#include "server/connection_point.h"

#include <algorithm>
#include <iterator>
#include <mutex>
#include <shared_mutex>

#include "server/object.h"
#include "server/wall.h"

namespace vex::server {

namespace {

/// An enumerator over a fixed list. Each item is copied out with a reference of the client's own.
template <class Interface, class Item, class Copy>
class Enumerator final : public Interface {
public:
    explicit Enumerator(std::vector<Item> items, std::size_t next = 0) : items_(std::move(items)), next_(next) {}

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
        return guarded([&] {
            auto* made = new Enumerator(items_, next_);
            made->AddRef();
            *clone = made;
            return S_OK;
        });
    }

private:
    ~Enumerator() = default;

    std::vector<Item> items_;
    std::size_t next_;
    ModuleLock lock_;
    ReferenceCount references_;
};

template <class Connection>
struct CopyConnection {
    using Out = CONNECTDATA;
    static CONNECTDATA copy(const Connection& connection) noexcept
    {
        return {Ref(connection.sink).detach(), connection.cookie};
    }
};

struct CopyPoint {
    using Out = IConnectionPoint*;
    static IConnectionPoint* copy(const Ref<IConnectionPoint>& point) noexcept { return Ref(point).detach(); }
};

}  // namespace

void set_argument(VARIANT& argument, IDispatch* object) noexcept
{
    V_VT(&argument) = VT_DISPATCH;
    V_DISPATCH(&argument) = object;
    if (object != nullptr) {
        object->AddRef();
    }
}

void set_argument(VARIANT& argument, VARIANT_BOOL* answer) noexcept
{
    V_VT(&argument) = VT_BYREF | VT_BOOL;
    V_BOOLREF(&argument) = answer;
}

void set_argument(VARIANT& argument, BSTR text) noexcept
{
    V_VT(&argument) = VT_BSTR;
    V_BSTR(&argument) = text != nullptr ? SysAllocStringLen(text, SysStringLen(text)) : nullptr;
}

void set_argument(VARIANT& argument, unsigned short number) noexcept
{
    V_VT(&argument) = VT_UI2;
    V_UI2(&argument) = number;
}

void set_argument(VARIANT& argument, int number) noexcept
{
    V_VT(&argument) = VT_I4;
    V_I4(&argument) = number;
}

void set_argument(VARIANT& argument, unsigned int number) noexcept
{
    V_VT(&argument) = VT_UI4;
    V_UI4(&argument) = number;
}

void set_argument(VARIANT& argument, long long number) noexcept
{
    V_VT(&argument) = VT_I8;
    V_I8(&argument) = number;
}

void set_argument(VARIANT& argument, unsigned long long number) noexcept
{
    V_VT(&argument) = VT_UI8;
    V_UI8(&argument) = number;
}

HRESULT ConnectionPoint::QueryInterface(REFIID iid, void** object) noexcept
{
    if (object == nullptr) {
        return E_POINTER;
    }
    if (iid != IID_IUnknown && iid != IID_IConnectionPoint) {
        *object = nullptr;
        return E_NOINTERFACE;
    }
    AddRef();
    *object = static_cast<IConnectionPoint*>(this);
    return S_OK;
}

ULONG ConnectionPoint::AddRef() noexcept { return container_.AddRef(); }

ULONG ConnectionPoint::Release() noexcept { return container_.Release(); }

HRESULT ConnectionPoint::GetConnectionInterface(IID* iid) noexcept
{
    if (iid == nullptr) {
        return E_POINTER;
    }
    *iid = events_;
    return S_OK;
}

HRESULT ConnectionPoint::GetConnectionPointContainer(IConnectionPointContainer** container) noexcept
{
    if (container == nullptr) {
        return E_POINTER;
    }
    container_.AddRef();
    *container = &container_;
    return S_OK;
}

HRESULT ConnectionPoint::Advise(IUnknown* sink, DWORD* cookie) noexcept
{
    if (sink == nullptr || cookie == nullptr) {
        return E_POINTER;
    }
    *cookie = 0;
    // a source interface is a dispatch interface, so what its identifier yields can be called as IDispatch
    Ref<IDispatch> found;
    if (FAILED(sink->QueryInterface(events_, found.put_void())) || !found) {
        return CONNECT_E_CANNOTCONNECT;
    }
    return guarded([&] {
        const std::lock_guard lock(slots_lock_);
        auto slot = std::find_if(slots_.begin(), slots_.end(), [](const Slot& held) { return !held.sink; });
        if (slot == slots_.end()) {
            slot = slots_.emplace(slots_.end());
        }
        *slot = {std::move(found), next_cookie()};
        *cookie = slot->cookie;
        return S_OK;
    });
}

HRESULT ConnectionPoint::Unadvise(DWORD cookie) noexcept
{
    // released after the lock: the sink's own code may run then
    Ref<IDispatch> removed;
    const std::lock_guard lock(slots_lock_);
    const auto slot = std::find_if(slots_.begin(), slots_.end(),
                                   [cookie](const Slot& held) { return held.sink && held.cookie == cookie; });
    if (slot == slots_.end()) {
        return CONNECT_E_NOCONNECTION;
    }
    removed = std::move(slot->sink);
    return S_OK;
}

DWORD ConnectionPoint::next_cookie() noexcept
{
    const auto is_taken = [this](const Slot& held) { return held.sink && held.cookie == last_cookie_; };
    do {
        ++last_cookie_;
    } while (last_cookie_ == 0 || std::any_of(slots_.begin(), slots_.end(), is_taken));
    return last_cookie_;
}

HRESULT ConnectionPoint::EnumConnections(IEnumConnections** connections) noexcept
{
    if (connections == nullptr) {
        return E_POINTER;
    }
    *connections = nullptr;
    return guarded([&] {
        std::vector<Slot> advised;
        {
            const std::shared_lock lock(slots_lock_);
            std::copy_if(slots_.begin(), slots_.end(), std::back_inserter(advised),
                         [](const Slot& held) { return static_cast<bool>(held.sink); });
        }
        auto* made = new Enumerator<IEnumConnections, Slot, CopyConnection<Slot>>(std::move(advised));
        made->AddRef();
        *connections = made;
        return S_OK;
    });
}

bool ConnectionPoint::has_sinks() const noexcept
{
    const std::shared_lock lock(slots_lock_);
    return std::any_of(slots_.begin(), slots_.end(), [](const Slot& held) { return static_cast<bool>(held.sink); });
}

std::size_t ConnectionPoint::slot_count() const noexcept
{
    const std::shared_lock lock(slots_lock_);
    return slots_.size();
}

Ref<IDispatch> ConnectionPoint::sink_at(std::size_t slot) const noexcept
{
    const std::shared_lock lock(slots_lock_);
    return slots_[slot].sink;
}

HRESULT ConnectionPoint::call(IDispatch& sink, DISPID event, VARIANT* arguments, std::size_t count) noexcept
{
    DISPPARAMS parameters{arguments, nullptr, static_cast<UINT>(count), 0};
    const HRESULT answered =
        sink.Invoke(event, IID_NULL, LOCALE_USER_DEFAULT, DISPATCH_METHOD, &parameters, nullptr, nullptr, nullptr);
    for (std::size_t place = 0; place < count; ++place) {
        VariantClear(&arguments[place]);
    }
    return answered;
}

HRESULT enumerate_connection_points(IConnectionPoint* point, IEnumConnectionPoints** points) noexcept
{
    if (points == nullptr) {
        return E_POINTER;
    }
    *points = nullptr;
    return guarded([&] {
        std::vector<Ref<IConnectionPoint>> only;
        only.emplace_back(point);
        auto* made = new Enumerator<IEnumConnectionPoints, Ref<IConnectionPoint>, CopyPoint>(std::move(only));
        made->AddRef();
        *points = made;
        return S_OK;
    });
}

}  // namespace vex::server
