// A feature browser over arrays of this program: what it reads, and arrays that come and go.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <set>
#include <span>
#include <string>
#include <thread>

#include "sdk/genapi/node_map.h"
#include "sdk/genicam/PvGenParameterArray.h"
#include "sdk/gui/PvGenBrowserTabbedWnd.h"
#include "sdk/gui/PvGenBrowserWnd.h"
#include "sdk/gui/win32.h"
#include "sdk/lists/PvPropertyList.h"
#include "tests/description/builders.h"

namespace {

using namespace camera_xml;

constexpr int id_list = 105;

/// Registers that are all 0, and which of them were read.
class CountingPort final : public GenApi::IPort {
public:
    void read(std::int64_t address, std::span<std::uint8_t> out) override
    {
        const std::lock_guard lock(mutex_);
        addresses_.insert(address);
        std::fill(out.begin(), out.end(), std::uint8_t{0});
    }
    void write(std::int64_t /*address*/, std::span<const std::uint8_t> /*data*/) override {}
    [[nodiscard]] bool is_open() const noexcept override { return true; }

    [[nodiscard]] std::set<std::int64_t> addresses() const
    {
        const std::lock_guard lock(mutex_);
        return addresses_;
    }

private:
    mutable std::mutex mutex_;
    std::set<std::int64_t> addresses_;
};

class BuiltArray : public PvGenParameterArray {
public:
    BuiltArray(CountingPort& port, const std::string& nodes) : port_(port) { rebuild(nodes); }
    void rebuild(const std::string& nodes) { build(GenApi::load_node_map(description(nodes), port_)); }

private:
    CountingPort& port_;
};

std::string name_of(int number) { return "Feature" + std::to_string(number); }

/// Registers one behind the other, as features.
std::string registers(int count)
{
    Names names;
    std::string nodes;
    for (int number = 0; number < count; ++number) {
        names.push_back(name_of(number));
        nodes += int_reg(name_of(number), number * 4);
    }
    return root(names) + nodes;
}

HWND list_of(const PvWnd& window) { return GetDlgItem(static_cast<HWND>(window.GetHandle()), id_list); }

int row_count(const PvWnd& window) { return ListView_GetItemCount(list_of(window)); }

std::string cell(const PvWnd& window, int row, int column)
{
    wchar_t text[128] = {};
    LVITEMW item{};
    item.iSubItem = column;
    item.pszText = text;
    item.cchTextMax = 128;
    SendMessageW(list_of(window), LVM_GETITEMTEXTW, static_cast<WPARAM>(row), reinterpret_cast<LPARAM>(&item));
    return PvString(text).str();
}

/// Handles messages until it is so; false when it is not within a minute.
bool await(PvWnd& window, const std::function<bool()>& wanted)
{
    const ULONGLONG end = GetTickCount64() + 60'000;
    while (!wanted()) {
        if (GetTickCount64() > end) {
            return false;
        }
        MsgWaitForMultipleObjects(0, nullptr, FALSE, 50, QS_ALLINPUT);
        EXPECT_TRUE(window.DoEvents().IsOK());
    }
    return true;
}

class AskingWnd : public PvGenBrowserWnd {
public:
    std::function<bool(PvGenParameter*)> answer = [](PvGenParameter*) { return true; };

protected:
    bool IsParameterDisplayed(PvGenParameter* aParameter) override
    {
        const auto asked = answer;  // which may change, or go with this object
        return asked(aParameter);
    }
};

}  // namespace

TEST(Browser, ReadsNoMoreThanIsVisible)
{
    constexpr int count = 2000;
    CountingPort port;
    BuiltArray array(port, registers(count));
    PvGenBrowserWnd window;
    window.SetGenParameterArray(&array);
    EXPECT_TRUE(port.addresses().empty());
    ASSERT_TRUE(window.ShowModeless().IsOK());
    ASSERT_EQ(row_count(window), count);
    ASSERT_TRUE(await(window, [&] { return cell(window, 0, 1) == "0"; }));
    const int page = ListView_GetCountPerPage(list_of(window));
    ASSERT_TRUE(await(window, [&] { return cell(window, page - 1, 1) == "0"; }));
    EXPECT_LE(static_cast<int>(port.addresses().size()), page + 1);
    EXPECT_EQ(cell(window, count - 1, 1), "");
    ListView_SetItemState(list_of(window), count - 1, LVIS_SELECTED | LVIS_FOCUSED, LVIS_SELECTED | LVIS_FOCUSED);
    ListView_EnsureVisible(list_of(window), count - 1, FALSE);
    ASSERT_TRUE(await(window, [&] { return cell(window, count - 1, 1) == "0"; }));
    EXPECT_LE(static_cast<int>(port.addresses().size()), 2 * (page + 1));
}

TEST(Browser, DoesNotReadWhatCanOnlyBeWritten)
{
    CountingPort port;
    BuiltArray array(port, root({"Secret", "Open", "Start"}) + int_reg("Secret", 0, "WO") + int_reg("Open", 4) +
                               command("Start", {.value = "StartReg", .command_value = 1}) +
                               int_reg("StartReg", 8, "RW"));
    PvGenBrowserWnd window;
    window.SetGenParameterArray(&array);
    ASSERT_TRUE(window.ShowModeless().IsOK());
    ASSERT_TRUE(await(window, [&] { return !cell(window, 0, 3).empty() && !cell(window, 2, 3).empty(); }));
    ASSERT_TRUE(await(window, [&] { return cell(window, 1, 1) == "0"; }));
    EXPECT_EQ(cell(window, 0, 1), "");
    EXPECT_EQ(cell(window, 0, 3), "Write only");
    EXPECT_EQ(cell(window, 2, 1), "Execute");
    EXPECT_EQ(port.addresses(), std::set<std::int64_t>{4});
}

TEST(Browser, ShowsWhatTheArrayWasBuiltWithLast)
{
    CountingPort port;
    auto array = std::make_unique<BuiltArray>(port, registers(3));
    PvGenBrowserWnd window;
    window.SetGenParameterArray(array.get());
    ASSERT_TRUE(window.ShowModeless().IsOK());
    ASSERT_TRUE(await(window, [&] { return cell(window, 2, 1) == "0"; }));
    array->rebuild(registers(5));
    ASSERT_TRUE(await(window, [&] { return row_count(window) == 5 && cell(window, 4, 1) == "0"; }));
    std::thread([&] { array.reset(); }).join();
    ASSERT_TRUE(await(window, [&] { return row_count(window) == 0; }));
}

TEST(Browser, MayBeGivenAnotherArrayAndDestroyedWhenItAsks)
{
    CountingPort port;
    BuiltArray first(port, registers(3));
    BuiltArray second(port, registers(4));
    auto window = std::make_unique<AskingWnd>();
    window->answer = [&](PvGenParameter*) {
        window->answer = [](PvGenParameter*) { return true; };
        window->SetGenParameterArray(&second);
        return false;
    };
    window->SetGenParameterArray(&first);
    ASSERT_TRUE(window->ShowModeless().IsOK());
    EXPECT_EQ(row_count(*window), 4);
    const HWND shown = static_cast<HWND>(window->GetHandle());
    AskingWnd* const bare = window.get();
    bare->answer = [&](PvGenParameter*) {
        window.reset();
        return true;
    };
    EXPECT_TRUE(bare->SetVisibility(PvGenVisibilityExpert).IsOK());
    EXPECT_EQ(window, nullptr);
    EXPECT_FALSE(IsWindow(shown));
}

TEST(Browser, RefusesListsThatAreNone)
{
    PvGenBrowserWnd window;
    EXPECT_EQ(window.Save(nullptr).GetCode(), PvResult::InvalidParameter);
    EXPECT_EQ(window.Load(nullptr).GetCode(), PvResult::InvalidParameter);
    PvGenBrowserTabbedWnd tabs;
    EXPECT_EQ(tabs.Save(nullptr).GetCode(), PvResult::InvalidParameter);
    EXPECT_EQ(tabs.Load(nullptr).GetCode(), PvResult::InvalidParameter);
    std::uint32_t index = 77;
    EXPECT_EQ(tabs.AddGenParameterArray(nullptr, PvString("Nothing"), index).GetCode(), PvResult::InvalidParameter);
    EXPECT_EQ(index, 77U);
}
