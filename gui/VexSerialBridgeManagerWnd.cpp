#include "gui/VexSerialBridgeManagerWnd.h"

#include <memory>

using namespace vex;

namespace {

constexpr DISPID on_parameter_array_created = 1;
constexpr DISPID on_parameter_array_deleted = 2;

/// The SDK's window, which shows each array that it tells of to the owner.
class PvSerialBridgeManagerWndDerived final : public PvSerialBridgeManagerWnd {
public:
    explicit PvSerialBridgeManagerWndDerived(CVexSerialBridgeManagerWnd& owner)
        : child_(server::make<CVexGenParameterArray>()), owner_(owner)
    {}

protected:
    void OnParameterArrayCreated(PvGenParameterArray* aArray, const PvString& aName) override
    {
        owner_.tell_created(show(aArray).get(), aName);
    }
    void OnParameterArrayDeleted(PvGenParameterArray* aArray) override { owner_.tell_deleted(show(aArray).get()); }

private:
    /// Held by the caller: a client may release the owner, and this with it.
    [[nodiscard]] server::Ref<CVexGenParameterArray> show(PvGenParameterArray* array) const
    {
        if (array == nullptr) {
            return {};
        }
        child_->AttachSdkObject(array);
        return child_;
    }

    const server::Ref<CVexGenParameterArray> child_;
    CVexSerialBridgeManagerWnd& owner_;
};

}  // namespace

void CVexSerialBridgeManagerWnd::final_construct()
{
    own(std::make_unique<PvSerialBridgeManagerWndDerived>(*this));
    array_ = server::make<CVexGenParameterArray>();
    shown_errors_ = server::make<CVexStringList>();
    shown_errors_->AttachSdkObject(&errors_);
}

void CVexSerialBridgeManagerWnd::final_release() noexcept
{
    // while the object is whole: its window tells it of arrays until it is gone
    AttachSdkObject(nullptr);
}

HRESULT CVexSerialBridgeManagerWnd::Load(IVexPropertyList* aPropertyList, IVexStringList** aErrors,
                                         IVexResult** result) noexcept
{
    return guarded([&]() -> HRESULT {
        *server::not_null(aErrors, 2) = nullptr;
        // in an event a client may release this object, and with it all that the call needs afterwards
        const server::Ref<CVexStringList> errors = shown_errors_;
        errors->AttachSdkObject(&errors_);
        const HRESULT done = report(
            result,
            [this](PvSerialBridgeManagerWnd& window, const PvPropertyList& list) { return window.Load(list, errors_); },
            aPropertyList);
        if (SUCCEEDED(done)) {
            errors.copy_to(aErrors);
        }
        return done;
    });
}

void CVexSerialBridgeManagerWnd::tell_created(IVexGenParameterArray* array, const PvString& name) noexcept
{
    const BSTR text = server::to_bstr(name);
    fire(on_parameter_array_created, array, text);
    SysFreeString(text);
}

void CVexSerialBridgeManagerWnd::tell_deleted(IVexGenParameterArray* array) noexcept
{
    fire(on_parameter_array_deleted, array);
}
