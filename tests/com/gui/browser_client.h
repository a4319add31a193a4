// What the tests of feature browsers share: the features of a software camera, and a browser's controls.
#pragma once

#include <string>
#include <utility>

#include <commctrl.h>

#include "tests/com/devices/camera_client.h"
#include "tests/com/gui/messages.h"

namespace client {

inline constexpr int browser_filter = 101;
inline constexpr int browser_visibility = 102;
inline constexpr int browser_alphabetical = 103;
inline constexpr int browser_list = 105;
inline constexpr int browser_details = 106;
inline constexpr int browser_field = 107;
inline constexpr int browser_entries = 108;
inline constexpr int browser_slider = 109;
inline constexpr int browser_reason = 110;

enum BrowserColumn { name_column, value_column, unit_column, access_column };

[[nodiscard]] inline std::wstring window_text(HWND window)
{
    std::wstring text(static_cast<std::size_t>(GetWindowTextLengthW(window)), L'\0');
    const int got = GetWindowTextW(window, text.data(), static_cast<int>(text.size()) + 1);
    text.resize(static_cast<std::size_t>(got));
    return text;
}

/// The table of a browser.
class BrowserRows {
public:
    /// `browser` is the browser's window, which may be none.
    explicit BrowserRows(HWND browser) : list_(GetDlgItem(browser, browser_list)) {}

    [[nodiscard]] HWND list() const noexcept { return list_; }
    [[nodiscard]] int count() const { return ListView_GetItemCount(list_); }
    [[nodiscard]] std::wstring cell(int row, BrowserColumn column) const
    {
        wchar_t text[256] = {};
        LVITEMW item{};
        item.iSubItem = column;
        item.pszText = text;
        item.cchTextMax = 256;
        SendMessageW(list_, LVM_GETITEMTEXTW, static_cast<WPARAM>(row), reinterpret_cast<LPARAM>(&item));
        return text;
    }
    /// The first row of that name; -1 for none.
    [[nodiscard]] int find(const wchar_t* name) const
    {
        for (int row = 0; row < count(); ++row) {
            if (cell(row, name_column) == name) {
                return row;
            }
        }
        return -1;
    }
    /// Chooses a row and shows it, so that it is read.
    void choose(int row) const
    {
        ListView_SetItemState(list_, row, LVIS_SELECTED | LVIS_FOCUSED, LVIS_SELECTED | LVIS_FOCUSED);
        ListView_EnsureVisible(list_, row, FALSE);
    }

private:
    HWND list_;
};

/// A test with the features of a camera, and messages that are handled while it waits.
class BrowserTest : public CameraTest {
protected:
    BrowserTest()
    {
        EXPECT_EQ(
            code_of([&](IVexResult** out) { return device->ConnectString(Text(address), VexAccessControl, out); }),
            VexOK);
        features = object_of(device, &IVexDevice::get_GenParameters);
        link = object_of(device, &IVexDevice::get_GenLink);
    }

    /// Handles messages until it is so; false when it is not within a minute.
    template <class Wanted>
    [[nodiscard]] static bool await(Wanted wanted)
    {
        return await_by_messages(wanted);
    }
    [[nodiscard]] static Ref<IVexPropertyList> new_list()
    {
        return create<IVexPropertyList>(L"VexKamCOMWrapper.VexPropertyList.1");
    }
    static void add(IVexPropertyList* list, const wchar_t* name, const wchar_t* value)
    {
        const auto property = create<IVexProperty>(L"VexKamCOMWrapper.VexProperty.1");
        EXPECT_EQ(property->put_Name(Text(name)), S_OK);
        EXPECT_EQ(property->put_Value(Text(value)), S_OK);
        EXPECT_EQ(list->Add(property.get()), S_OK);
    }
    /// The value of the property of that name; empty for none.
    [[nodiscard]] static std::wstring property_in(IVexPropertyList* list, const wchar_t* name)
    {
        const auto size = value_of(list, &IVexPropertyList::get_Size);
        for (unsigned int index = 0; index < size; ++index) {
            Ref<IVexProperty> property;
            EXPECT_EQ(list->GetItem(index, property.put()), S_OK);
            if (text_of(property, &IVexProperty::get_Name) == name) {
                return text_of(property, &IVexProperty::get_Value);
            }
        }
        return {};
    }

    Ref<IVexDevice> device = create<IVexDevice>(L"VexKamCOMWrapper.VexDevice.1");
    Ref<IVexGenParameterArray> features;
    Ref<IVexGenParameterArray> link;
};

}  // namespace client
