// The one event sink of its own that a client registers with an object, beside the connection point.
#pragma once

#include <atomic>

#include "server/com.h"

namespace vex::server {

/// Holds the sink last registered, without a reference: the client unregisters it before it goes away.
///
/// Thread safety: any thread. Each call looks the sink up once, so a client may unregister while an SDK thread calls;
/// a call that has begun then still reaches the sink.
template <class Sink>
class ClientSink {
public:
    /// Takes the place of the sink registered before. Null registers none.
    HRESULT set(Sink* sink) noexcept
    {
        sink_.store(sink, std::memory_order_release);
        return S_OK;
    }
    /// Whatever sink the client names: there is only one.
    HRESULT clear() noexcept { return set(nullptr); }

    [[nodiscard]] bool is_set() const noexcept { return sink_.load(std::memory_order_acquire) != nullptr; }

    /// Calls a member of the sink, if there is one, on the calling thread.
    template <class... Parameters, class... Arguments>
    void call(HRESULT (STDMETHODCALLTYPE Sink::*member)(Parameters...), Arguments... arguments) const noexcept
    {
        if (Sink* const sink = sink_.load(std::memory_order_acquire); sink != nullptr) {
            (sink->*member)(arguments...);
        }
    }

private:
    std::atomic<Sink*> sink_{nullptr};
};

}  // namespace vex::server
