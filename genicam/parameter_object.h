// What the seven typed parameter objects have in common: their base object, their binding, their change events.
#pragma once

#include <memory>
#include <utility>

#include "genicam/parameter_link.h"
#include "genicam/parameter_members.h"
#include "server/wrapper.h"

/// The base of implementation class T over the SDK's parameter class Sdk. A view: the parameter belongs to its array.
///
/// Thread safety: as Wrapper. Change events are fired on the SDK's thread.
template <class T, class Sdk>
class ParameterObject
    : public vex::server::Wrapper<T, ParameterMembers<typename vex::server::ClassFacts<T>::Interface>>,
      public vex::server::SdkObject<Sdk, PvGenParameter>,
      private ParameterListener {
public:
    void final_construct() { this->make_base_object(); }
    void final_release() noexcept
    {
        if (link_) {
            link_->cut();
            // a link that tells nobody would cost every later change of a parameter that outlives its objects
            if (!heard_lifetime_.is_over()) {
                heard_->UnregisterEventSink(link_.get());
            }
        }
    }

protected:
    ParameterObject() = default;
    ~ParameterObject() = default;

private:
    /// Starts to listen to the parameter's changes the first time. Pointed at another parameter later, the object keeps
    /// listening to the first.
    void attached(Sdk* parameter) noexcept final
    {
        this->base_object().AttachSdkObject(parameter);
        if (parameter != nullptr && std::exchange(registration_pending_, false)) {
            listen_to(*parameter);
        }
    }

    /// A parameter that takes no sink is shown all the same.
    void listen_to(Sdk& parameter) noexcept
    {
        try {
            ParameterListener& listener = *this;
            link_ = std::make_shared<ParameterLink>(listener);
            parameter.KeepEventSink(link_);
            heard_ = &parameter;
            heard_lifetime_ = parameter.lifetime();
        } catch (...) {
            link_.reset();
        }
    }

    bool hold() noexcept final { return this->hold_if_alive(); }
    void let_go() noexcept final { this->Release(); }

    void parameter_changed(PvGenParameter* parameter) noexcept final
    {
        // what nobody sees must not stay alive either: a camera's features change all day
        if (!this->has_sinks() && !this->base_object().client_sink().is_set()) {
            return;
        }
        T* shown = nullptr;
        if (parameter != nullptr) {
            vex::server::Ref<T> fresh;
            if (FAILED(vex::server::create_object(fresh))) {
                return;
            }
            fresh->registration_pending_ = false;
            fresh->AttachSdkObject(static_cast<Sdk*>(parameter));
            // The reference is never given back: clients may keep what they are shown without one of their own.
            shown = fresh.detach();
        }
        this->fire(DISPID{1}, static_cast<IDispatch*>(shown));
        this->base_object().client_sink().call(&IVexGenEventSink::OnParameterUpdate, shown);
    }

    bool registration_pending_ = true;
    std::shared_ptr<ParameterLink> link_;
    // the parameter whose changes are heard, which may be another than the one that is shown
    Sdk* heard_ = nullptr;
    vex::server::Lifetime heard_lifetime_;
};
