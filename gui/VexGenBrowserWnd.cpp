#include "gui/VexGenBrowserWnd.h"

#include <memory>

#include "genicam/VexGenBoolean.h"
#include "genicam/VexGenCommand.h"
#include "genicam/VexGenEnum.h"
#include "genicam/VexGenFloat.h"
#include "genicam/VexGenInteger.h"
#include "genicam/VexGenRegister.h"
#include "genicam/VexGenString.h"

using namespace vex;

namespace {

constexpr DISPID is_parameter_displayed = 1;

/// The SDK's window, which shows each parameter to the owner, by one object of each kind.
class PvGenBrowserWndDerived final : public PvGenBrowserWnd {
public:
    explicit PvGenBrowserWndDerived(CVexGenBrowserWnd& owner) : owner_(owner)
    {
        // the first that cannot be made ends it; what has no object is shown as nothing
        static_cast<void>(is_made(integer_) && is_made(float_) && is_made(boolean_) && is_made(command_) &&
                          is_made(enum_) && is_made(register_) && is_made(string_));
    }

protected:
    bool IsParameterDisplayed(PvGenParameter* aParameter) override
    {
        server::Ref<IVexGenParameter> shown;
        static_cast<void>(is_shown(integer_, aParameter, shown) || is_shown(float_, aParameter, shown) ||
                          is_shown(command_, aParameter, shown) || is_shown(boolean_, aParameter, shown) ||
                          is_shown(register_, aParameter, shown) || is_shown(string_, aParameter, shown) ||
                          is_shown(enum_, aParameter, shown));
        // the client may release the owner, and this with it
        return owner_.is_displayed(shown.get());
    }

private:
    template <class Kind>
    static bool is_made(server::Ref<Kind>& child) noexcept
    {
        return SUCCEEDED(server::create_object(child));
    }

    /// Points the child at the parameter if it is of that kind.
    template <class Kind>
    static bool is_shown(const server::Ref<Kind>& child, PvGenParameter* parameter,
                         server::Ref<IVexGenParameter>& shown) noexcept
    {
        auto* const typed = dynamic_cast<typename Kind::SdkType*>(parameter);
        if (typed == nullptr) {
            return false;
        }
        if (child) {
            child->AttachSdkObject(typed);
            shown = server::Ref<IVexGenParameter>(child.get());
        }
        return true;
    }

    server::Ref<CVexGenInteger> integer_;
    server::Ref<CVexGenFloat> float_;
    server::Ref<CVexGenBoolean> boolean_;
    server::Ref<CVexGenCommand> command_;
    server::Ref<CVexGenEnum> enum_;
    server::Ref<CVexGenRegister> register_;
    server::Ref<CVexGenString> string_;
    CVexGenBrowserWnd& owner_;
};

}  // namespace

void CVexGenBrowserWnd::final_construct() { own(std::make_unique<PvGenBrowserWndDerived>(*this)); }

void CVexGenBrowserWnd::final_release() noexcept
{
    // while the object is whole: its window asks it until it is gone
    AttachSdkObject(nullptr);
}

bool CVexGenBrowserWnd::is_displayed(IVexGenParameter* parameter) noexcept
{
    VARIANT_BOOL answer = VARIANT_TRUE;
    fire(is_parameter_displayed, parameter, &answer);
    return answer != VARIANT_FALSE;
}
