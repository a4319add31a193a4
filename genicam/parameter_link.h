// The SDK's side of a parameter object: how it hears of changes.
#pragma once

#include <mutex>

#include "sdk/genicam/PvGenEventSink.h"

/// What a link needs of a parameter object. Called from any thread.
class ParameterListener {
public:
    /// Takes a reference to the object unless it is going away already.
    virtual bool hold() noexcept = 0;
    virtual void let_go() noexcept = 0;
    /// The parameter changed. The object is held meanwhile.
    virtual void parameter_changed(PvGenParameter* parameter) noexcept = 0;

protected:
    ~ParameterListener() = default;
};

/// The event sink that is registered for a parameter object.
///
/// The SDK parameter may live longer or shorter than the object, and may be in a call of the sink when the object goes.
/// So the sink stands apart: it belongs to the SDK parameter, too, and the object cuts it off when it goes.
///
/// Thread safety: any thread.
class ParameterLink final : public PvGenEventSink {
public:
    explicit ParameterLink(ParameterListener& listener) noexcept : listener_(&listener) {}

    /// The listener hears no more. A call that has begun holds it.
    void cut() noexcept;

    void OnParameterUpdate(PvGenParameter* aParameter) override;

private:
    std::mutex mutex_;
    ParameterListener* listener_;
};
