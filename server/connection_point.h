// Connection points: how objects with events reach the sinks that clients advise.
#pragma once

#include <cstddef>
#include <vector>

#include "server/client_sink.h"
#include "server/com.h"
#include "server/lock.h"
#include "server/ref.h"

namespace vex::server {

/// Fills one argument of an event; the VARIANT is empty before and is cleared after each sink's call.
void set_argument(VARIANT& argument, IDispatch* object) noexcept;     // VT_DISPATCH with a reference; null stays null
void set_argument(VARIANT& argument, VARIANT_BOOL* answer) noexcept;  // VT_BYREF|VT_BOOL into the caller's variable
void set_argument(VARIANT& argument, BSTR text) noexcept;             // VT_BSTR, a copy
void set_argument(VARIANT& argument, unsigned short number) noexcept;
void set_argument(VARIANT& argument, int number) noexcept;
void set_argument(VARIANT& argument, unsigned int number) noexcept;
void set_argument(VARIANT& argument, long long number) noexcept;
void set_argument(VARIANT& argument, unsigned long long number) noexcept;

/// One connection point of an object: the sinks advised for one source interface.
///
/// It is a part of its container: it has an identity of its own, and its references are the container's. Slots are
/// filled from the first empty one; a freed slot stays empty until it is filled again. The cookie of a connection says
/// nothing of its slot and is not used again, so that a client that ends its connection twice ends nobody else's.
///
/// Thread safety: any thread. The SDK fires from threads of its own while a client advises on the apartment's, so the
/// slots are guarded; no lock is held while a sink is called.
class ConnectionPoint final : public IConnectionPoint {
public:
    ConnectionPoint(IConnectionPointContainer& container, const IID& events) noexcept
        : container_(container), events_(events)
    {}
    ConnectionPoint(const ConnectionPoint&) = delete;
    ConnectionPoint& operator=(const ConnectionPoint&) = delete;
    ~ConnectionPoint() = default;

    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID iid, void** object) noexcept override;
    ULONG STDMETHODCALLTYPE AddRef() noexcept override;
    ULONG STDMETHODCALLTYPE Release() noexcept override;

    HRESULT STDMETHODCALLTYPE GetConnectionInterface(IID* iid) noexcept override;
    HRESULT STDMETHODCALLTYPE GetConnectionPointContainer(IConnectionPointContainer** container) noexcept override;
    /// CONNECT_E_CANNOTCONNECT for a sink that does not have the source interface.
    HRESULT STDMETHODCALLTYPE Advise(IUnknown* sink, DWORD* cookie) noexcept override;
    HRESULT STDMETHODCALLTYPE Unadvise(DWORD cookie) noexcept override;
    HRESULT STDMETHODCALLTYPE EnumConnections(IEnumConnections** connections) noexcept override;

    /// Calls every sink in slot order with the event's arguments, in the order in which the event declares them.
    /// Returns the last sink's HRESULT; S_OK without sinks.
    template <class... Arguments>
    HRESULT fire(DISPID event, Arguments... arguments) noexcept
    {
        const std::size_t slots = slot_count();
        HRESULT last = S_OK;
        for (std::size_t slot = 0; slot < slots; ++slot) {
            if (Ref<IDispatch> sink = sink_at(slot); sink) {
                // dispatch calls take their arguments last first
                VARIANT reversed[sizeof...(Arguments) + 1] = {};
                std::size_t place = sizeof...(Arguments);
                (set_argument(reversed[--place], arguments), ...);
                last = call(*sink, event, reversed, sizeof...(Arguments));
            }
        }
        return last;
    }

    /// Whether anybody is advised.
    [[nodiscard]] bool has_sinks() const noexcept;

private:
    /// Empty without a sink.
    struct Slot {
        Ref<IDispatch> sink;
        DWORD cookie = 0;
    };

    /// The lock is held. A cookie that no connection has; one comes again only after all 2^32.
    [[nodiscard]] DWORD next_cookie() noexcept;
    [[nodiscard]] std::size_t slot_count() const noexcept;
    [[nodiscard]] Ref<IDispatch> sink_at(std::size_t slot) const noexcept;
    /// Calls the sink and clears the arguments.
    static HRESULT call(IDispatch& sink, DISPID event, VARIANT* arguments, std::size_t count) noexcept;

    IConnectionPointContainer& container_;
    const IID& events_;
    mutable Lock slots_lock_;
    std::vector<Slot> slots_;
    DWORD last_cookie_ = 0;
};

/// What an object with events implements; nothing for an object without.
///
/// Whoever calls a client holds itself: the client may let go of the object's last reference in the call, or on another
/// thread meanwhile, and the object goes when the call has returned. An object that is going away calls nobody.
template <class Events>
class EventSource : public IConnectionPointContainer {
public:
    HRESULT STDMETHODCALLTYPE EnumConnectionPoints(IEnumConnectionPoints** points) noexcept final;
    HRESULT STDMETHODCALLTYPE FindConnectionPoint(REFIID iid, IConnectionPoint** point) noexcept final;

protected:
    EventSource() noexcept : point_(*this, __uuidof(Events)) {}
    ~EventSource() = default;

    /// Takes a reference unless the object is going away already. Any thread.
    virtual bool hold_if_alive() noexcept = 0;

    /// Runs `calls`, which calls clients, with the object held. Nothing of the object may be used afterwards.
    template <class Calls>
    void call_out(Calls&& calls) noexcept
    {
        if (hold_if_alive()) {
            calls();
            this->Release();
        }
    }

    /// Fires an event to every advised sink, on the calling thread. Returns as ConnectionPoint::fire; S_OK when the
    /// object is going away.
    template <class... Arguments>
    HRESULT fire(DISPID event, Arguments... arguments) noexcept
    {
        HRESULT last = S_OK;
        call_out([&] { last = point_.fire(event, arguments...); });
        return last;
    }

    /// The same, and then calls the sink that the client has registered by then, if there is one.
    template <class Sink, class... Parameters, class... Arguments>
    void tell(DISPID event, const ClientSink<Sink>& registered,
              HRESULT (STDMETHODCALLTYPE Sink::*member)(Parameters...), Arguments... arguments) noexcept
    {
        call_out([&] {
            point_.fire(event, arguments...);
            registered.call(member, arguments...);
        });
    }
    [[nodiscard]] bool has_sinks() const noexcept { return point_.has_sinks(); }

private:
    ConnectionPoint point_;
};

template <>
class EventSource<void> {};

/// An enumerator of the one connection point of an object.
HRESULT enumerate_connection_points(IConnectionPoint* point, IEnumConnectionPoints** points) noexcept;

template <class Events>
HRESULT EventSource<Events>::EnumConnectionPoints(IEnumConnectionPoints** points) noexcept
{
    return enumerate_connection_points(&point_, points);
}

template <class Events>
HRESULT EventSource<Events>::FindConnectionPoint(REFIID iid, IConnectionPoint** point) noexcept
{
    if (point == nullptr) {
        return E_POINTER;
    }
    *point = nullptr;
    if (iid != __uuidof(Events)) {
        return CONNECT_E_NOCONNECTION;
    }
    point_.AddRef();
    *point = &point_;
    return S_OK;
}

}  // namespace vex::server
