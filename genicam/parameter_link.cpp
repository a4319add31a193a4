#include "genicam/parameter_link.h"

#include <utility>

std::shared_ptr<ParameterLink> ParameterLink::make(PvGenParameter& parameter, ParameterListener& listener,
                                                   Purpose purpose) noexcept
{
    try {
        std::shared_ptr<ParameterLink> link(new ParameterLink(listener, purpose));
        link->registered_ = link;
        if (!parameter.RegisterEventSink(link.get()).IsOK()) {
            link->registered_.reset();
            return nullptr;
        }
        return link;
    } catch (...) {
        return nullptr;
    }
}

void ParameterLink::cut() noexcept
{
    const std::lock_guard lock(mutex_);
    listener_ = nullptr;
}

bool ParameterLink::is_over() const noexcept
{
    const std::lock_guard lock(mutex_);
    return registered_ == nullptr;
}

void ParameterLink::OnParameterUpdate(PvGenParameter* aParameter)
{
    if (purpose_ != Purpose::changes) {
        return;
    }
    if (ParameterListener* listener = held_listener(); listener != nullptr) {
        listener->parameter_changed(aParameter);
        listener->let_go();
    }
}

void ParameterLink::OnParameterGone(PvGenParameter* aParameter)
{
    std::shared_ptr<ParameterLink> last;
    {
        const std::lock_guard lock(mutex_);
        last = std::exchange(registered_, nullptr);
    }
    if (ParameterListener* listener = held_listener(); listener != nullptr) {
        listener->parameter_gone(aParameter);
        listener->let_go();
    }
}

ParameterListener* ParameterLink::held_listener() noexcept
{
    const std::lock_guard lock(mutex_);
    return listener_ != nullptr && listener_->hold() ? listener_ : nullptr;
}
