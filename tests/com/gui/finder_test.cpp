// VexDeviceFinderWnd through COM: what it finds, who may keep devices out, what is chosen.
#include <utility>
#include <vector>

#include <commctrl.h>

#include "tests/com/devices/found_camera.h"
#include "tests/com/gui/asking_sink.h"
#include "tests/com/gui/messages.h"

namespace {

using namespace client;

const IID finder_events = __uuidof(_IVexDeviceFinderWndEvents);
constexpr int id_list = 103;

class Finder : public FoundCameraTest {
protected:
    [[nodiscard]] VexResultCode show()
    {
        return code_of([&](IVexResult** result) { return window->ShowModeless(0, result); });
    }
    [[nodiscard]] HWND handle() const
    {
        return reinterpret_cast<HWND>(value_of(window, &IVexDeviceFinderWnd::get_Handle));
    }
    [[nodiscard]] HWND list() const { return GetDlgItem(handle(), id_list); }
    [[nodiscard]] Ref<IVexDeviceInfo> selected() const { return object_of(window, &IVexDeviceFinderWnd::get_Selected); }
    /// Handles messages until it is so; false when it is not within a minute.
    template <class Wanted>
    [[nodiscard]] bool await(Wanted wanted)
    {
        return await_by_messages(wanted, [&] { EXPECT_EQ(code_of(window, &IVexDeviceFinderWnd::DoEvents), VexOK); });
    }
    /// The handler is shown the device.
    DWORD listen(AskHandler<IVexDeviceInfo> handler)
    {
        auto sink = asking_sink<IVexDeviceInfo>(finder_events, std::move(handler));
        return advise(window.get(), finder_events, reinterpret_cast<IUnknown*>(sink.get()));
    }
    [[nodiscard]] static bool is_camera(IVexDeviceInfo* info)
    {
        return text_of(info, &IVexDeviceInfo::get_SerialNumber) == L"COM-TEST";
    }
    /// The row of the camera, found by what the list shows; -1 for none.
    [[nodiscard]] int row_of_camera() const
    {
        for (int row = 0; row < ListView_GetItemCount(list()); ++row) {
            wchar_t text[64] = {};
            ListView_GetItemText(list(), row, 4, text, 64);
            if (std::wstring(text) == L"COM-TEST") {
                return row;
            }
        }
        return -1;
    }
    void choose(int row)
    {
        ListView_SetItemState(list(), row, LVIS_SELECTED | LVIS_FOCUSED, LVIS_SELECTED | LVIS_FOCUSED);
    }
    void press(int id) { SendMessageW(handle(), WM_COMMAND, static_cast<WPARAM>(id), 0); }

    Ref<IVexDeviceFinderWnd> window = create<IVexDeviceFinderWnd>(L"VexKamCOMWrapper.VexDeviceFinderWnd.1");
};

TEST_F(Finder, HasNothingSelectedAtFirst)
{
    EXPECT_FALSE(selected());
    EXPECT_EQ(text_of(window, &IVexDeviceFinderWnd::get_Title), L"Device Finder");
    ASSERT_EQ(show(), VexOK);
    EXPECT_FALSE(selected());
    EXPECT_EQ(code_of(window, &IVexDeviceFinderWnd::Close), VexOK);
    EXPECT_FALSE(selected());
}

TEST_F(Finder, ListsDevicesWithoutASink)
{
    ASSERT_EQ(show(), VexOK);
    EXPECT_TRUE(await([&] { return row_of_camera() >= 0; }));
}

TEST_F(Finder, TellsByAnIconWhetherADeviceIsFree)
{
    const auto icon = [this](int row) {
        LVITEMW item{};
        item.mask = LVIF_IMAGE;
        item.iItem = row;
        EXPECT_TRUE(ListView_GetItem(list(), &item));
        return item.iImage;
    };
    ASSERT_EQ(show(), VexOK);
    ASSERT_TRUE(await([&] { return row_of_camera() > 0; }));
    EXPECT_EQ(ImageList_GetImageCount(ListView_GetImageList(list(), LVSIL_SMALL)), 3);
    EXPECT_EQ(icon(row_of_camera()), 0);
    EXPECT_EQ(icon(0), I_IMAGENONE) << "a heading";
    const auto device = create<IVexDevice>(L"VexKamCOMWrapper.VexDevice.1");
    ASSERT_EQ(
        code_of([&](IVexResult** out) { return device->ConnectString(Text(L"127.0.0.1"), VexAccessControl, out); }),
        VexOK);
    EXPECT_TRUE(await([&] { return row_of_camera() >= 0 && icon(row_of_camera()) == 1; }));
}

TEST_F(Finder, LeavesOutWhatASinkRefuses)
{
    bool refused = false;
    VARIANT_BOOL initial = VARIANT_FALSE;
    const DWORD cookie = listen([&](IVexDeviceInfo* info, VARIANT_BOOL* answer) {
        if (is_camera(info)) {
            initial = *answer;
            *answer = VARIANT_FALSE;
            refused = true;
        }
    });
    ASSERT_NE(cookie, 0U);
    ASSERT_EQ(show(), VexOK);
    ASSERT_TRUE(await([&] { return refused; }));
    EXPECT_EQ(initial, VARIANT_TRUE);
    EXPECT_EQ(row_of_camera(), -1);
    // asked again by F5, it may be listed
    EXPECT_EQ(unadvise(window.get(), finder_events, cookie), S_OK);
    PostMessageW(list(), WM_KEYDOWN, VK_F5, 0);
    EXPECT_TRUE(await([&] { return row_of_camera() >= 0; }));
}

TEST_F(Finder, TheLastSinksAnswerCounts)
{
    int asked = 0;
    ASSERT_NE(listen([&](IVexDeviceInfo*, VARIANT_BOOL* answer) { *answer = VARIANT_FALSE; }), 0U);
    ASSERT_NE(listen([&](IVexDeviceInfo*, VARIANT_BOOL* answer) {
                  EXPECT_EQ(*answer, VARIANT_FALSE);
                  *answer = 7;  // anything but 0
                  ++asked;
              }),
              0U);
    ASSERT_EQ(show(), VexOK);
    EXPECT_TRUE(await([&] { return row_of_camera() >= 0; }));
    EXPECT_GE(asked, 1);
}

TEST_F(Finder, ShowsEachDeviceInTheSameObjectWhichIsNotTheSelectedOne)
{
    std::vector<Ref<IVexDeviceInfo>> shown;
    ASSERT_NE(listen([&](IVexDeviceInfo* info, VARIANT_BOOL*) { shown.emplace_back(info); }), 0U);
    ASSERT_EQ(show(), VexOK);
    ASSERT_TRUE(await([&] { return row_of_camera() >= 0; }));
    PostMessageW(list(), WM_KEYDOWN, VK_F5, 0);
    ASSERT_TRUE(await([&] { return shown.size() >= 2; }));
    EXPECT_EQ(shown[0].get(), shown[1].get());
    ASSERT_TRUE(await([&] { return row_of_camera() >= 0; }));
    choose(row_of_camera());
    press(IDOK);
    ASSERT_TRUE(selected());
    EXPECT_NE(selected().get(), shown[0].get());
    EXPECT_EQ(selected().get(), selected().get());
}

TEST_F(Finder, TellsWhatTheUserHasChosen)
{
    ASSERT_EQ(show(), VexOK);
    ASSERT_TRUE(await([&] { return row_of_camera() >= 0; }));
    EXPECT_FALSE(IsWindowEnabled(GetDlgItem(handle(), IDOK)));
    choose(row_of_camera());
    EXPECT_TRUE(IsWindowEnabled(GetDlgItem(handle(), IDOK)));
    EXPECT_FALSE(selected());  // not before it is accepted
    press(IDOK);
    EXPECT_EQ(handle(), nullptr);
    const auto chosen = selected();
    ASSERT_TRUE(chosen);
    EXPECT_TRUE(is_camera(chosen.get()));
    EXPECT_EQ(selected().get(), chosen.get());

    // shown again and left without a choice
    ASSERT_EQ(show(), VexOK);
    press(IDCANCEL);
    EXPECT_FALSE(selected());
}

TEST_F(Finder, GivesWhatConnectDeviceInfoTakes)
{
    ASSERT_EQ(show(), VexOK);
    ASSERT_TRUE(await([&] { return row_of_camera() >= 0; }));
    choose(row_of_camera());
    press(IDOK);
    const auto device = create<IVexDevice>(L"VexKamCOMWrapper.VexDevice.1");
    const auto chosen = selected();
    ASSERT_TRUE(chosen);
    EXPECT_EQ(
        code_of([&](IVexResult** result) { return device->ConnectDeviceInfo(chosen.get(), VexAccessControl, result); }),
        VexOK);
}

TEST_F(Finder, MayBeReleasedByASink)
{
    HWND shown = nullptr;
    bool asked = false;
    ASSERT_NE(listen([&](IVexDeviceInfo*, VARIANT_BOOL*) {
                  asked = true;
                  window.reset();
              }),
              0U);
    ASSERT_EQ(show(), VexOK);
    shown = handle();
    EXPECT_TRUE(await_by_messages([&] { return asked; }));
    EXPECT_FALSE(IsWindow(shown));
}

TEST_F(Finder, MayBeClosedByASink)
{
    bool asked = false;
    ASSERT_NE(listen([&](IVexDeviceInfo*, VARIANT_BOOL*) {
                  asked = true;
                  EXPECT_EQ(code_of(window, &IVexDeviceFinderWnd::Close), VexOK);
              }),
              0U);
    ASSERT_EQ(show(), VexOK);
    ASSERT_TRUE(await([&] { return asked; }));
    EXPECT_EQ(handle(), nullptr);
    EXPECT_FALSE(selected());
}

}  // namespace
