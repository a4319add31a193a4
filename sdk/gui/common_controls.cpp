#include "sdk/gui/common_controls.h"

namespace vex::gui {

namespace {

/// Released when the library is unloaded.
class Context {
public:
    Context() noexcept
    {
        INITCOMMONCONTROLSEX classes{};
        classes.dwSize = sizeof classes;
        classes.dwICC = ICC_STANDARD_CLASSES | ICC_LISTVIEW_CLASSES | ICC_TREEVIEW_CLASSES | ICC_BAR_CLASSES |
                        ICC_TAB_CLASSES | ICC_UPDOWN_CLASS;
        ACTCTXW facts{};
        facts.cbSize = sizeof facts;
        facts.dwFlags = ACTCTX_FLAG_HMODULE_VALID | ACTCTX_FLAG_RESOURCE_NAME_VALID;
        facts.hModule = this_module();
        facts.lpResourceName = MAKEINTRESOURCEW(2);
        context_ = CreateActCtxW(&facts);
        ULONG_PTR cookie = 0;
        const bool active = context_ != INVALID_HANDLE_VALUE && ActivateActCtx(context_, &cookie);
        InitCommonControlsEx(&classes);
        if (active) {
            DeactivateActCtx(0, cookie);
        }
    }
    Context(const Context&) = delete;
    Context& operator=(const Context&) = delete;
    ~Context()
    {
        if (context_ != INVALID_HANDLE_VALUE) {
            ReleaseActCtx(context_);
        }
    }

    [[nodiscard]] HANDLE handle() const noexcept { return context_; }

private:
    HANDLE context_ = INVALID_HANDLE_VALUE;
};

}  // namespace

CommonControls::CommonControls() noexcept
{
    static const Context context;
    if (context.handle() != INVALID_HANDLE_VALUE && !ActivateActCtx(context.handle(), &cookie_)) {
        cookie_ = 0;
    }
}

CommonControls::~CommonControls()
{
    if (cookie_ != 0) {
        DeactivateActCtx(0, cookie_);
    }
}

}  // namespace vex::gui
