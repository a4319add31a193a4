// What a terminal shows of bytes: lines, what is taken back, hexadecimal, and what is kept.
#include "sdk/terminal/screen.h"

#include <gtest/gtest.h>

#include <random>
#include <string_view>
#include <vector>

namespace vex::terminal {
namespace {

/// What a window would show, which does what it is told.
class Shown {
public:
    explicit Shown(Screen& screen) : screen_(screen) {}

    void add(std::string_view bytes)
    {
        screen_.add({reinterpret_cast<const std::uint8_t*>(bytes.data()), bytes.size()});
        update();
    }
    void update()
    {
        const Screen::Change change = screen_.take_change();
        if (change.anew) {
            text.clear();
        }
        ASSERT_LE(change.removed, text.size());
        text.resize(text.size() - change.removed);
        text += change.added;
    }

    std::string text;

private:
    Screen& screen_;
};

TEST(Screen, EndsLinesWithWhateverEndsThem)
{
    Screen screen;
    Shown shown(screen);
    shown.add("one\r\ntwo\nthree\rfour\r");
    EXPECT_EQ(shown.text, "one\r\ntwo\r\nthree\r\nfour\r\n");
    shown.add("\n");  // of the same pair
    EXPECT_EQ(shown.text, "one\r\ntwo\r\nthree\r\nfour\r\n");
    shown.add("\n\r");
    EXPECT_EQ(shown.text, "one\r\ntwo\r\nthree\r\nfour\r\n\r\n\r\n");
}

TEST(Screen, TakesCharactersBackWithinTheirLine)
{
    Screen screen;
    Shown shown(screen);
    shown.add("abc\b\b");
    EXPECT_EQ(shown.text, "a");
    shown.add("\b\b\b");
    EXPECT_EQ(shown.text, "");
    shown.add("x\r\n\by");
    EXPECT_EQ(shown.text, "x\r\ny");
    shown.add("z");
    shown.add("\b");  // told in a change of its own
    EXPECT_EQ(shown.text, "x\r\ny");
}

TEST(Screen, ShowsWhatCannotBeShownAsDots)
{
    Screen screen;
    Shown shown(screen);
    shown.add(std::string_view("a\0\x01\x7F\xC3\xA4\tb", 8));
    EXPECT_EQ(shown.text, "a.....\tb");
}

TEST(Screen, ShowsBytesInHexadecimal)
{
    Screen screen;
    Shown shown(screen);
    screen.set_hexadecimal(true);
    shown.add("AB");
    EXPECT_EQ(shown.text, "00000000  41 42                                            AB");
    shown.add("CDEFGHIJKLMNO\r");
    EXPECT_EQ(shown.text, "00000000  41 42 43 44 45 46 47 48 49 4A 4B 4C 4D 4E 4F 0D  ABCDEFGHIJKLMNO.\r\n");
    shown.add("\n");
    EXPECT_EQ(shown.text, "00000000  41 42 43 44 45 46 47 48 49 4A 4B 4C 4D 4E 4F 0D  ABCDEFGHIJKLMNO.\r\n"
                          "00000010  0A                                               .");
    screen.set_hexadecimal(false);
    shown.update();
    EXPECT_EQ(shown.text, "ABCDEFGHIJKLMNO\r\n");
    screen.clear();
    shown.update();
    EXPECT_EQ(shown.text, "");
    screen.set_hexadecimal(true);
    shown.add("Z");
    EXPECT_EQ(shown.text.substr(0, 12), "00000000  5A");
}

TEST(Screen, KeepsTheLastBytes)
{
    Screen screen;
    Shown shown(screen);
    screen.set_hexadecimal(true);
    const std::string block(Screen::most_bytes, 'a');
    shown.add(block);
    shown.add("b");
    EXPECT_EQ(shown.text.substr(0, 8), "00010000");  // the older half has gone
    EXPECT_EQ(shown.text.substr(shown.text.size() - 3), "  b");
    EXPECT_NE(shown.text.find("00020000  62"), std::string::npos);
    shown.add(block + block + "c");
    EXPECT_EQ(shown.text.substr(shown.text.size() - 3), "c\r\n");
    EXPECT_LE(shown.text.size(), Screen::most_bytes / 16 * 80);
}

TEST(Screen, TellsTheSameInPiecesAndAtOnce)
{
    const unsigned seed = std::random_device()();
    SCOPED_TRACE("seed " + std::to_string(seed));
    std::mt19937 random(seed);
    constexpr std::string_view letters = "ab\r\n\b\t\x01";
    for (int round = 0; round < 200; ++round) {
        std::string all;
        for (int count = static_cast<int>(random() % 100); count > 0; --count) {
            all += letters[random() % letters.size()];
        }
        Screen whole;
        Shown at_once(whole);
        Screen cut;
        Shown in_pieces(cut);
        const bool hexadecimal = random() % 2 != 0;
        whole.set_hexadecimal(hexadecimal);
        cut.set_hexadecimal(hexadecimal);
        at_once.add(all);
        for (std::size_t at = 0; at < all.size();) {
            const std::size_t size = 1 + random() % 5;
            in_pieces.add(std::string_view(all).substr(at, size));
            at += size;
        }
        EXPECT_EQ(at_once.text, in_pieces.text);
    }
}

}  // namespace
}  // namespace vex::terminal
