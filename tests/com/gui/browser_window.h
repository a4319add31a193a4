// A browser's window and what the user does in it, for tests.
#pragma once

#include <string>
#include <utility>

#include "tests/com/gui/asking_sink.h"
#include "tests/com/gui/browser_client.h"

namespace client {

inline const IID browser_events = __uuidof(_IVexGenBrowserWndEvents);

class Browser : public BrowserTest {
protected:
    [[nodiscard]] VexResultCode show()
    {
        return code_of([&](IVexResult** result) { return window->ShowModeless(0, result); });
    }
    [[nodiscard]] HWND handle() const
    {
        return reinterpret_cast<HWND>(value_of(window, &IVexGenBrowserWnd::get_Handle));
    }
    [[nodiscard]] HWND control(int id) const { return GetDlgItem(handle(), id); }
    [[nodiscard]] BrowserRows rows() const { return BrowserRows(handle()); }
    [[nodiscard]] VexGenVisibility visibility() const { return value_of(window, &IVexGenBrowserWnd::get_Visibility); }
    HRESULT set_features(IVexGenParameterArray* array) { return window->put_GenParameterArray(array); }
    VexResultCode save(IVexPropertyList* list)
    {
        return code_of([&](IVexResult** result) { return window->Save(list, result); });
    }
    VexResultCode load(IVexPropertyList* list)
    {
        return code_of([&](IVexResult** result) { return window->Load(list, result); });
    }

    /// The handler is shown the parameter, null for a category.
    DWORD listen(AskHandler<IVexGenParameter> handler)
    {
        auto sink = asking_sink<IVexGenParameter>(browser_events, std::move(handler));
        return advise(window.get(), browser_events, reinterpret_cast<IUnknown*>(sink.get()));
    }
    [[nodiscard]] static std::wstring name_of(IVexGenParameter* parameter)
    {
        return parameter != nullptr ? text_of(parameter, &IVexGenParameter::get_Name) : std::wstring(L"(category)");
    }
    /// Chooses a feature whose value has been read.
    [[nodiscard]] bool choose(const wchar_t* name)
    {
        const int row = rows().find(name);
        EXPECT_GE(row, 0);
        rows().choose(row);
        return await([&] { return !rows().cell(row, access_column).empty(); });
    }
    void press(HWND target, WPARAM key)
    {
        PostMessageW(target, WM_KEYDOWN, key, 0);
        handle_messages();
    }
    [[nodiscard]] std::wstring value(const wchar_t* name) const { return rows().cell(rows().find(name), value_column); }

    Ref<IVexGenBrowserWnd> window = create<IVexGenBrowserWnd>(L"VexKamCOMWrapper.VexGenBrowserWnd.1");
};

}  // namespace client
