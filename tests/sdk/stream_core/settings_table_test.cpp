// What the documentation says of the settings, against the settings.
#include <gtest/gtest.h>

#include <fstream>
#include <iterator>
#include <string>

#include "sdk/stream_core/stream_settings.h"

using namespace vex::stream;

namespace {

class SettingsTable : public testing::Test {
protected:
    void SetUp() override { ASSERT_FALSE(text_.empty()) << STREAMING_DOCUMENT; }

    /// A row of the table begins like this.
    [[nodiscard]] bool has_row(const std::string& beginning) const
    {
        return text_.find("\n" + beginning) != std::string::npos;
    }

    const StreamSettings defaults{};

private:
    static std::string read()
    {
        std::ifstream file(STREAMING_DOCUMENT, std::ios::binary);
        return {std::istreambuf_iterator<char>(file), {}};
    }

    const std::string text_ = read();
};

}  // namespace

TEST_F(SettingsTable, TellsRangeAndDefaultOfEveryNumber)
{
    for (const NumberSetting& setting : number_settings()) {
        const std::string range = std::to_string(setting.min) + ".." + std::to_string(setting.max);
        const std::string unit = setting.unit;
        const std::string rest = " | " + range + " | " + std::to_string(defaults.*setting.value) + " | ";
        const std::string name = "| `" + std::string(setting.name) + "` |";
        // counts have what they count, or nothing, as their unit
        bool found = !unit.empty() && has_row(name + " " + unit + rest);
        for (const char* counted : {"", " packets", " blocks", " buffers"}) {
            found = found || (unit.empty() && has_row(name + counted + rest));
        }
        EXPECT_TRUE(found) << name << rest;
    }
}

TEST_F(SettingsTable, TellsTheDefaultOfEverySwitch)
{
    for (const SwitchSetting& setting : switch_settings()) {
        const std::string on = defaults.*setting.value ? "1" : "0";
        EXPECT_TRUE(has_row("| `" + std::string(setting.name) + "` | | 0, 1 | " + on + " | ")) << setting.name;
    }
}
