// The camera's settings stored and restored, as after a power failure.
#include "sdk/genicam/stored_values.h"

#include <optional>

#include "sdk/genapi/node_map.h"
#include "sdk/genicam/PvGenParameterArray.h"
#include "tests/sdk/softcam/host_port.h"
#include "tools/softcam/description.h"

using namespace vex;

namespace {

class StoredSettings : public SoftCam {
protected:
    void SetUp() override
    {
        SoftCam::SetUp();
        port = std::make_unique<HostPort>(host);
        array.emplace(GenApi::load_node_map(softcam::description_xml(), *port));
        load_factory_settings();
    }

    void load_factory_settings()
    {
        set("UserSetSelector", "Default");
        EXPECT_TRUE(array->ExecuteCommand("UserSetLoad").IsOK());
    }
    void set(const char* name, const char* value)
    {
        const PvResult result = array->Get(name)->FromString(value);
        EXPECT_TRUE(result.IsOK()) << result.description();
    }
    std::string get(const char* name)
    {
        PvString value;
        EXPECT_TRUE(array->Get(name)->ToString(value).IsOK()) << name;
        return value.str();
    }

    std::unique_ptr<HostPort> port;
    std::optional<PvGenParameterArray> array;
};

}  // namespace

TEST_F(StoredSettings, ComeBackIntoACameraThatForgotThem)
{
    const std::vector<std::pair<const char*, const char*>> settings{
        {"PixelFormat", "BayerRG10"},
        {"BinningHorizontal", "2"},
        {"OffsetX", "200"},
        {"Width", "1600"},
        {"Height", "332"},
        {"AcquisitionMode", "MultiFrame"},
        {"AcquisitionFrameCount", "17"},
        {"Gain", "6.5"},
        {"LineSelector", "Line2"},
        {"LineInverter", "1"},
        {"LineSelector", "Line1"},
        {"UserDefinedValueSelector", "Value4"},
        {"UserDefinedValue", "-44"},
        {"UserDefinedValueSelector", "Value2"},
        {"UserDefinedValue", "22"},
        {"UserText", "left"},
        {"UserFloat", "0.1"},
    };
    for (const auto& [name, value] : settings) {
        set(name, value);
    }
    const StoredValues stored = store_values(*array);
    ASSERT_TRUE(stored.result.IsOK()) << stored.result.description();
    for (const ParameterFailure& skipped : stored.skipped) {
        ADD_FAILURE() << skipped.name << ": " << skipped.reason.description();
    }
    EXPECT_GT(stored.values.size(), 40U);
    EXPECT_EQ(get("LineSelector"), "Line1");
    EXPECT_EQ(get("UserDefinedValueSelector"), "Value2");

    load_factory_settings();
    EXPECT_NE(get("Width"), "1600");
    EXPECT_FALSE(store_values(*array).values == stored.values);

    const RestoredValues restored = restore_values(*array, stored.values);
    EXPECT_TRUE(restored.result.IsOK()) << restored.result.description();
    EXPECT_TRUE(array->InvalidateCache().IsOK());
    const StoredValues again = store_values(*array);
    ASSERT_EQ(again.values.size(), stored.values.size());
    for (std::size_t i = 0; i < stored.values.size(); ++i) {
        EXPECT_EQ(again.values[i].value, stored.values[i].value) << stored.values[i].name;
    }
    set("UserDefinedValueSelector", "Value4");
    EXPECT_EQ(get("UserDefinedValue"), "-44");
}

TEST_F(StoredSettings, AreStoredWhileTheAcquisitionLocksThem)
{
    set("Width", "320");
    const StoredValues idle = store_values(*array);
    set("TLParamsLocked", "1");
    const StoredValues locked = store_values(*array);
    EXPECT_TRUE(locked.values == idle.values);

    const std::vector<StoredValue> values{{"Width", "640", {}}, {"Gain", "3", {}}};
    const RestoredValues restored = restore_values(*array, values);
    EXPECT_EQ(restored.result.description(),
              "1 parameter could not be restored: Width is locked while the acquisition runs");
    EXPECT_EQ(get("Width"), "320");
    EXPECT_EQ(get("Gain"), "3");
}
