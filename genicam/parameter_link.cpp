#include "genicam/parameter_link.h"

void ParameterLink::cut() noexcept
{
    const std::lock_guard lock(mutex_);
    listener_ = nullptr;
}

void ParameterLink::OnParameterUpdate(PvGenParameter* aParameter)
{
    ParameterListener* listener = nullptr;
    {
        const std::lock_guard lock(mutex_);
        if (listener_ != nullptr && listener_->hold()) {
            listener = listener_;
        }
    }
    if (listener != nullptr) {
        listener->parameter_changed(aParameter);
        listener->let_go();
    }
}
