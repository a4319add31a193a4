// A window whose inside cannot be made goes again, and the program goes on.
#include "sdk/gui/frame.h"

#include <gtest/gtest.h>

#include <memory>
#include <new>

namespace {

using vex::gui::Content;
using vex::gui::DesignSize;
using vex::gui::Frame;

/// What goes wrong while the inside is made.
enum class Trouble { none, refusal, no_memory, fault };

class Inside : public Content {
public:
    [[nodiscard]] const wchar_t* title() const noexcept override { return L"inside"; }
    [[nodiscard]] DesignSize usual_size() const noexcept override { return {200, 100}; }
    [[nodiscard]] DesignSize least_size() const noexcept override { return {50, 50}; }

    [[nodiscard]] bool created(HWND /*window*/) override
    {
        is_there = true;
        if (trouble == Trouble::no_memory) {
            throw std::bad_alloc();
        }
        if (trouble == Trouble::fault) {
            RaiseException(static_cast<DWORD>(EXCEPTION_ACCESS_VIOLATION), 0, 0, nullptr);
        }
        return trouble != Trouble::refusal;
    }
    void destroyed() noexcept override { is_there = false; }
    [[nodiscard]] std::optional<LRESULT> message(UINT, WPARAM, LPARAM) override { return std::nullopt; }

    Trouble trouble = Trouble::none;
    bool is_there = false;
};

void expect_no_window(Trouble trouble)
{
    const auto inside = std::make_shared<Inside>();
    const auto frame = std::make_shared<Frame>(inside);
    inside->trouble = trouble;
    EXPECT_FALSE(frame->show_modeless(nullptr).IsOK());
    EXPECT_EQ(frame->window(), nullptr);
    EXPECT_FALSE(inside->is_there);

    inside->trouble = Trouble::none;
    ASSERT_TRUE(frame->show_modeless(nullptr).IsOK()) << "the trouble has gone";
    EXPECT_NE(frame->window(), nullptr);
    EXPECT_TRUE(inside->is_there);
    frame->close();
    EXPECT_EQ(frame->window(), nullptr);
}

TEST(Frame, HasNoWindowWhenTheInsideRefuses) { expect_no_window(Trouble::refusal); }

TEST(Frame, HasNoWindowWhenMemoryRunsOut) { expect_no_window(Trouble::no_memory); }

// The system drops a fault in a window procedure and goes on.
TEST(Frame, HasNoWindowAfterAFaultWhileTheInsideIsMade) { expect_no_window(Trouble::fault); }

}  // namespace
