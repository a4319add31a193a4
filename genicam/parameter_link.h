// The SDK's side of a parameter object: how it hears of changes, and of the end of its SDK parameter.
#pragma once

#include <memory>
#include <mutex>

#include "sdk/genicam/PvGenParameter.h"

/// What a parameter object tells its link. All of it may be called from any thread.
class ParameterListener {
public:
    /// Takes a reference to the object unless it is going away already.
    virtual bool hold() noexcept = 0;
    virtual void let_go() noexcept = 0;
    /// The parameter changed. The object is held meanwhile.
    virtual void parameter_changed(PvGenParameter* parameter) noexcept = 0;
    /// The parameter must not be used any more. The object is held meanwhile.
    virtual void parameter_gone(PvGenParameter* parameter) noexcept = 0;

protected:
    ~ParameterListener() = default;
};

/// The event sink that is registered for a parameter object.
///
/// The registration is made once and lasts as long as the SDK parameter, which may be longer or shorter than the
/// object's life. So the sink stands apart: it stays registered, and the object cuts it off when it goes.
///
/// Thread safety: any thread.
class ParameterLink final : public PvGenEventSink {
public:
    enum class Purpose {
        changes,   ///< tells of changes and of the parameter's end
        lifetime,  ///< tells of the parameter's end only
    };

    /// Registers a link. Null when memory is exhausted or the parameter refuses.
    static std::shared_ptr<ParameterLink> make(PvGenParameter& parameter, ParameterListener& listener,
                                               Purpose purpose) noexcept;

    /// The listener hears no more. A call that has begun holds it.
    void cut() noexcept;
    /// The parameter is gone, and with it the registration.
    [[nodiscard]] bool is_over() const noexcept;

    void OnParameterUpdate(PvGenParameter* aParameter) override;
    void OnParameterGone(PvGenParameter* aParameter) override;

private:
    ParameterLink(ParameterListener& listener, Purpose purpose) noexcept : purpose_(purpose), listener_(&listener) {}

    /// The listener, held; null once it was cut off.
    ParameterListener* held_listener() noexcept;

    const Purpose purpose_;
    mutable std::mutex mutex_;
    ParameterListener* listener_;
    std::shared_ptr<ParameterLink> registered_;  // itself, as long as the SDK knows it
};
