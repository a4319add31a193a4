// Descriptions kept in a folder between connections.
#include "sdk/description/description_cache.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <numeric>

#include "tests/sdk/description/device_in_memory.h"

using namespace vex;

namespace {

namespace fs = std::filesystem;

constexpr std::uint32_t file_address = 0x20000;

/// A description with something in its middle that differs.
std::string xml(const std::string& middle)
{
    return "<?xml version=\"1.0\"?>" + std::string(3000, ' ') + middle + std::string(3000, ' ') +
           "<RegisterDescription/>";
}

struct DescriptionCache : testing::Test {
    DescriptionCache()
        : folder(fs::temp_directory_path() /
                 (std::string("vex-cache-") + testing::UnitTest::GetInstance()->current_test_info()->name()) /
                 fs::path(u8"K\u00e4fer"))
    {
        fs::create_directories(folder);
        const std::u8string text = folder.u8string();
        places.cache_folder.assign(text.begin(), text.end());
        identify(device, "Maker", "Model", "1.0");
        device.put_file(0x0200, "camera.xml", file_address, xml("one"));
    }
    ~DescriptionCache() override
    {
        std::error_code ignored;
        fs::remove_all(folder.parent_path(), ignored);
    }

    static void identify(description_test::DeviceInMemory& device, const std::string& vendor, const std::string& model,
                         const std::string& version)
    {
        device.put(0x48, std::string(96, '\0'));
        device.put(0x48, vendor);
        device.put(0x68, model);
        device.put(0x88, version);
    }

    std::string fetched(description_test::DeviceInMemory& from)
    {
        from.reads.clear();
        description::Description description;
        const PvResult result = description::fetch_description(from.memory(), places, description);
        EXPECT_TRUE(result.IsOK()) << result.description();
        EXPECT_EQ(description.name, "camera.xml");
        return description.xml;
    }
    /// The device was asked for its whole file.
    static bool was_read(const description_test::DeviceInMemory& from)
    {
        return std::ranges::any_of(from.reads, [](const auto& read) { return read.second > 512; });
    }
    std::vector<fs::path> kept() const
    {
        std::vector<fs::path> files;
        for (const auto& entry : fs::directory_iterator(folder)) {
            files.push_back(entry.path());
        }
        return files;
    }

    const fs::path folder;
    description::DescriptionPlaces places;
    description_test::DeviceInMemory device;
};

std::string content_of(const fs::path& path)
{
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

void write_to(const fs::path& path, const std::string& content) { std::ofstream(path, std::ios::binary) << content; }

}  // namespace

TEST_F(DescriptionCache, SavesTheReadingTheNextTime)
{
    EXPECT_EQ(fetched(device), xml("one"));
    EXPECT_TRUE(was_read(device));
    EXPECT_EQ(kept().size(), 1U);
    EXPECT_EQ(fetched(device), xml("one"));
    EXPECT_FALSE(was_read(device));
    EXPECT_EQ(device.reads.size(), 4U) << "the URL, what the device is, and the ends of the file";
}

TEST_F(DescriptionCache, IsNoneUnlessTheUserNamesAFolder)
{
    places.cache_folder.clear();
    EXPECT_EQ(fetched(device), xml("one"));
    EXPECT_EQ(device.reads.size(), 2U);
    EXPECT_EQ(fetched(device), xml("one"));
    EXPECT_TRUE(was_read(device));
    EXPECT_TRUE(kept().empty());
}

TEST_F(DescriptionCache, TellsDevicesApart)
{
    fetched(device);
    struct Other {
        const char* vendor;
        const char* model;
        const char* version;
    };
    for (const Other& who : {Other{"Makes", "Model", "1.0"}, Other{"Maker", "Moder", "1.0"},
                             Other{"Maker", "Model", "1.1"}, Other{"MakerM", "odel", "1.0"}}) {
        description_test::DeviceInMemory other;
        identify(other, who.vendor, who.model, who.version);
        other.put_file(0x0200, "camera.xml", file_address, xml("two"));
        EXPECT_EQ(fetched(other), xml("two")) << who.vendor << who.model << who.version;
    }
    description_test::DeviceInMemory elsewhere;
    identify(elsewhere, "Maker", "Model", "1.0");
    elsewhere.put_file(0x0200, "camera.xml", file_address + 4, xml("two"));
    EXPECT_EQ(fetched(elsewhere), xml("two"));
    EXPECT_EQ(kept().size(), 6U);
    EXPECT_EQ(fetched(device), xml("one"));
    EXPECT_FALSE(was_read(device));
}

TEST_F(DescriptionCache, FindsOutThatTheFileOfTheDeviceIsAnother)
{
    fetched(device);
    for (const std::size_t at : {std::size_t{20}, xml("one").size() - 5}) {
        std::string changed = xml("one");
        changed[at] = '~';
        device.put(file_address, changed);
        EXPECT_EQ(fetched(device), changed);
        EXPECT_TRUE(was_read(device));
        EXPECT_EQ(fetched(device), changed) << "what is kept was replaced";
        EXPECT_FALSE(was_read(device));
    }
}

TEST_F(DescriptionCache, TakesNothingThatIsDamagedAndReplacesIt)
{
    fetched(device);
    const fs::path file = kept().at(0);
    const std::string sound = content_of(file);
    std::vector<std::string> damaged{"", sound.substr(0, sound.size() - 1), sound + "x",
                                     std::string(sound.size(), 'x')};
    for (const std::size_t at : {std::size_t{0}, sound.find("Maker"), sound.find("<?xml") - 1, sound.find("one")}) {
        std::string bytes = sound;
        bytes.at(at) ^= 0x01;
        damaged.push_back(bytes);
    }
    for (const std::string& bytes : damaged) {
        write_to(file, bytes);
        EXPECT_EQ(fetched(device), xml("one"));
        EXPECT_TRUE(was_read(device));
        EXPECT_EQ(content_of(file), sound);
    }
    fs::remove(file);
    fs::create_directory(file);
    EXPECT_EQ(fetched(device), xml("one")) << "what is in the way stays there";
}

TEST_F(DescriptionCache, KeepsPackedFilesAsTheyAre)
{
    // "a" stored in an archive, made by hand
    const std::string archive("PK\x03\x04\x0a\0\0\0\0\0\0\0\0\0\x43\xbe\xb7\xe8\x01\0\0\0\x01\0\0\0\x05\0\0\0a.xmla"
                              "PK\x01\x02\x0a\0\x0a\0\0\0\0\0\0\0\0\0\x43\xbe\xb7\xe8\x01\0\0\0\x01\0\0\0\x05\0\0\0\0\0"
                              "\0\0\0\0\0\0\0\0\0\0\0\0a.xml"
                              "PK\x05\x06\0\0\0\0\x01\0\x01\0\x33\0\0\0\x24\0\0\0\0\0",
                              36 + 51 + 22);
    device.put_file(0x0200, "camera.zip", file_address, archive);
    EXPECT_EQ(fetched(device), "a");
    device.reads.clear();
    EXPECT_EQ(fetched(device), "a");
    EXPECT_EQ(device.reads.size(), 4U);
    EXPECT_EQ(content_of(kept().at(0)).size() - content_of(kept().at(0)).find("PK\x03\x04"), archive.size());
}

TEST_F(DescriptionCache, DoesWithoutWhereItCannotWork)
{
    places.cache_folder += "/missing";
    EXPECT_EQ(fetched(device), xml("one"));
    EXPECT_EQ(fetched(device), xml("one"));
    EXPECT_TRUE(was_read(device));
    EXPECT_FALSE(fs::exists(folder / "missing"));

    places.cache_folder.resize(places.cache_folder.size() - 8);
    device.refusals = {{0x48, PvResult::GenericError}};
    EXPECT_EQ(fetched(device), xml("one")) << "a device that does not say what it is";
    EXPECT_TRUE(kept().empty());
}

TEST_F(DescriptionCache, KeepsNothingThatIsNoDescription)
{
    device.put(file_address, "PK\x03\x04 broken");
    description::Description description;
    EXPECT_EQ(description::fetch_description(device.memory(), places, description).GetCode(),
              PvResult::GenICamXMLError);
    EXPECT_TRUE(kept().empty());
}
