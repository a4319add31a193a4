#include "server/connection_point.h"

#include <algorithm>
#include <iterator>
#include <mutex>
#include <shared_mutex>

#include "server/enumerator.h"
#include "server/wall.h"

namespace vex::server {

namespace {

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
        using Connections = Enumerator<IEnumConnections, Slot, CopyConnection<Slot>>;
        *connections = Connections::create(std::move(advised)).detach();
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
        using Points = Enumerator<IEnumConnectionPoints, Ref<IConnectionPoint>, CopyPoint>;
        *points = Points::create(std::move(only)).detach();
    });
}

}  // namespace vex::server
