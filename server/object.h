// COM objects from implementation classes: the reference count, plain and aggregated, and how they are created.
#pragma once

#include <atomic>
#include <new>
#include <type_traits>

#include "server/class_facts.h"
#include "server/com.h"
#include "server/module.h"
#include "server/ref.h"
#include "server/wall.h"

namespace vex::server {

/// A reference count that any thread may change: SDK threads hold wrappers while they fire events.
class ReferenceCount {
public:
    ULONG add() noexcept { return count_.fetch_add(1, std::memory_order_relaxed) + 1; }
    ULONG remove() noexcept { return count_.fetch_sub(1, std::memory_order_acq_rel) - 1; }
    /// Adds one unless the object is going away already.
    bool add_if_alive() noexcept
    {
        ULONG count = count_.load(std::memory_order_relaxed);
        while (count != 0 && count < going_away) {
            if (count_.compare_exchange_weak(count, count + 1, std::memory_order_relaxed)) {
                return true;
            }
        }
        return false;
    }
    /// An object that goes away may hand itself out once more while it does; that must not destroy it twice.
    void keep_from_returning_to_zero() noexcept { count_.store(going_away, std::memory_order_relaxed); }

private:
    static constexpr ULONG going_away = 0x40000000;

    std::atomic<ULONG> count_{0};
};

/// Whether T has a final construction of its own; most objects are results, which have none.
template <class T>
inline constexpr bool has_final_construct =
    !std::is_same_v<decltype(&T::final_construct), typename T::NoFinalConstruct>;

/// A plain instance of an implementation class. T supplies:
///   void* find_interface(REFIID)            the class's interfaces, null for one it does not have
///   void* find_sdk_face(REFIID)             its private face, for another wrapper that has it as an argument
///   void final_construct()                  makes the SDK object and the children; throws; runs with a raised count
///   NoFinalConstruct                        the type of &T::final_construct where T does nothing there
///   void final_release() noexcept           runs before destruction, while the object is still whole
template <class T>
class ComObject final : public T {
public:
    /// A new object without references, finally constructed. Null and the reason when that fails.
    static HRESULT create(T** object) noexcept
    {
        *object = nullptr;
        return guarded([&] {
            auto* made = new ComObject;
            if constexpr (has_final_construct<T>) {
                // raised, so that interfaces handed out during construction cannot destroy the half-built object
                made->references_.add();
                const HRESULT constructed = guarded([made] { return made->final_construct(); });
                made->references_.remove();
                if (FAILED(constructed)) {
                    made->destroy();
                    return constructed;
                }
            }
            *object = made;
            return S_OK;
        });
    }

    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID iid, void** object) noexcept override
    {
        if (object == nullptr) {
            return E_POINTER;
        }
        void* const found = this->find_interface(iid);
        if (found == nullptr) {
            *object = this->find_sdk_face(iid);  // without a reference
            return *object != nullptr ? S_OK : E_NOINTERFACE;
        }
        // before anything is stored: the processor would have to finish that first
        references_.add();
        *object = found;
        return S_OK;
    }
    ULONG STDMETHODCALLTYPE AddRef() noexcept override { return references_.add(); }
    ULONG STDMETHODCALLTYPE Release() noexcept override
    {
        const ULONG left = references_.remove();
        if (left == 0) {
            destroy();
        }
        return left;
    }
    bool hold_if_alive() noexcept override { return references_.add_if_alive(); }

private:
    template <class U>
    friend HRESULT create_instance(IUnknown* outer, REFIID iid, void** object) noexcept;

    void destroy() noexcept
    {
        references_.keep_from_returning_to_zero();
        this->final_release();
        delete this;
    }

    ReferenceCount references_;
};

/// An instance whose IUnknown is an outer object's. Its own lifetime is governed by the inner unknown that the outer
/// object holds.
template <class T>
class AggregatedObject final : public T {
public:
    /// A new object, finally constructed, as the inner unknown with one reference.
    static HRESULT create(IUnknown* outer, IUnknown** inner) noexcept
    {
        *inner = nullptr;
        return guarded([&] {
            auto* made = new AggregatedObject(outer);
            made->inner_.AddRef();
            const HRESULT constructed = guarded([made] { return made->final_construct(); });
            if (FAILED(constructed)) {
                made->inner_.Release();
                return constructed;
            }
            *inner = &made->inner_;
            return S_OK;
        });
    }

    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID iid, void** object) noexcept override
    {
        if (object != nullptr && (*object = this->find_sdk_face(iid)) != nullptr) {
            return S_OK;  // the outer object need not know it
        }
        return outer_->QueryInterface(iid, object);
    }
    ULONG STDMETHODCALLTYPE AddRef() noexcept override { return outer_->AddRef(); }
    ULONG STDMETHODCALLTYPE Release() noexcept override { return outer_->Release(); }
    bool hold_if_alive() noexcept override { return inner_.hold_if_alive(*outer_); }

private:
    class Inner final : public IUnknown {
    public:
        explicit Inner(AggregatedObject& object) noexcept : object_(object) {}

        HRESULT STDMETHODCALLTYPE QueryInterface(REFIID iid, void** object) noexcept override
        {
            if (object == nullptr) {
                return E_POINTER;
            }
            if (iid == IID_IUnknown) {
                AddRef();
                *object = this;
                return S_OK;
            }
            *object = object_.find_interface(iid);
            if (*object == nullptr) {
                return E_NOINTERFACE;
            }
            object_.AddRef();  // the outer object's
            return S_OK;
        }
        ULONG STDMETHODCALLTYPE AddRef() noexcept override { return references_.add(); }
        ULONG STDMETHODCALLTYPE Release() noexcept override
        {
            const ULONG left = references_.remove();
            if (left == 0) {
                references_.keep_from_returning_to_zero();
                object_.final_release();
                delete &object_;
            }
            return left;
        }
        /// The outer object lives while this one does, so its own count decides; the reference is the outer object's.
        bool hold_if_alive(IUnknown& outer) noexcept
        {
            if (!references_.add_if_alive()) {
                return false;
            }
            outer.AddRef();
            Release();
            return true;
        }

    private:
        AggregatedObject& object_;
        ReferenceCount references_;
    };

    explicit AggregatedObject(IUnknown* outer) : outer_(outer), inner_(*this) {}

    IUnknown* outer_;  // without a reference: the outer object owns this one
    Inner inner_;
};

/// Creates an object for another object of the library, without the registry: the implementation object with one
/// reference.
template <class T>
HRESULT create_object(Ref<T>& object) noexcept
{
    T* made = nullptr;
    const HRESULT created = ComObject<T>::create(&made);
    object = Ref<T>(made);
    return created;
}

/// The instance creator of a class: plain, or aggregated into `outer`, which may ask for IUnknown only.
template <class T>
HRESULT create_instance(IUnknown* outer, REFIID iid, void** object) noexcept
{
    if (object == nullptr) {
        return E_POINTER;
    }
    *object = nullptr;
    if (outer == nullptr) {
        T* made = nullptr;
        const HRESULT created = ComObject<T>::create(&made);
        if (FAILED(created)) {
            return created;
        }
        auto* whole = static_cast<ComObject<T>*>(made);
        const HRESULT found = whole->QueryInterface(iid, object);
        if (FAILED(found)) {
            whole->destroy();
        }
        return found;
    }
    if (iid != IID_IUnknown) {
        return CLASS_E_NOAGGREGATION;
    }
    return AggregatedObject<T>::create(outer, reinterpret_cast<IUnknown**>(object));
}

/// The entry of a class in the module's class table.
template <class T>
constexpr ClassEntry class_entry(UINT script) noexcept
{
    return {&ClassFacts<T>::clsid, ClassFacts<T>::name, ClassFacts<T>::prog_id, script,
            create_instance<T>,    T::initialise_class};
}

}  // namespace vex::server
