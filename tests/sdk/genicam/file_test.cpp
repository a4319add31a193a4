// Files of devices that a test makes up: how many transfers a file takes, and what is made of devices that do less, or
// something else, than they say.
#include "sdk/genicam/PvGenFile.h"

#include <barrier>
#include <limits>
#include <memory>
#include <thread>

#include "sdk/genicam/PvGenParameterArray.h"
#include "tests/sdk/genicam/file_port.h"

namespace {

using namespace file_test;

std::string text(const PvResult& result) { return std::string(result.description()); }

struct DeviceFile : testing::Test {
    explicit DeviceFile() { load(FilePort::description()); }

    void load(const std::string& description)
    {
        array = std::make_unique<PvGenParameterArray>(GenApi::load_node_map(description, port));
    }
    void open(PvGenOpenMode mode, const char* name = "A")
    {
        const PvResult opened = file.Open(array.get(), PvString(name), mode);
        ASSERT_TRUE(opened.IsOK()) << text(opened);
        port.reads.clear();
        port.writes.clear();
        port.done.clear();
    }
    PvResult write(const Bytes& bytes)
    {
        count = -7;
        return file.Write(bytes.data(), static_cast<std::int64_t>(bytes.size()), count);
    }
    PvResult read(std::int64_t length)
    {
        count = -7;
        got.assign(1000, 0xEE);
        return file.Read(got.data(), length, count);
    }
    /// What was read; nothing may have been written behind it.
    Bytes read_bytes() const
    {
        const auto end = got.begin() + static_cast<std::ptrdiff_t>(count);
        EXPECT_TRUE(std::all_of(end, got.end(), [](std::uint8_t byte) { return byte == 0xEE; }));
        return {got.begin(), end};
    }

    FilePort port;
    std::unique_ptr<PvGenParameterArray> array;
    PvGenFile file;
    Bytes got;
    std::int64_t count = 0;
    Folder folder;
};

}  // namespace

TEST_F(DeviceFile, IsSupportedWhereAllFeaturesAre)
{
    EXPECT_TRUE(PvGenFile::IsSupported(array.get()));
    EXPECT_FALSE(PvGenFile::IsSupported(nullptr));
    load(FilePort::description(false));
    EXPECT_TRUE(PvGenFile::IsSupported(array.get())) << "FileSize is not needed";
    for (const char* name :
         {"FileSelector", "FileOperationSelector", "FileOperationExecute", "FileOpenMode", "FileAccessBuffer",
          "FileAccessOffset", "FileAccessLength", "FileOperationStatus", "FileOperationResult"}) {
        load(FilePort::description(true, 64, name));
        EXPECT_FALSE(PvGenFile::IsSupported(array.get())) << name;
        const PvResult opened = file.Open(array.get(), "A", PvGenOpenModeRead);
        EXPECT_EQ(opened.GetCode(), PvResult::NotSupported) << name;
        EXPECT_NE(text(opened).find(name), std::string::npos) << text(opened);
    }
    EXPECT_FALSE(file.IsOpened());
}

TEST_F(DeviceFile, IsRefusedByAWrongModeNameOrArray)
{
    EXPECT_EQ(file.Open(array.get(), "A", PvGenOpenModeUndefined).GetCode(), PvResult::InvalidParameter);
    EXPECT_EQ(file.Open(array.get(), "A", static_cast<PvGenOpenMode>(2)).GetCode(), PvResult::InvalidParameter);
    EXPECT_EQ(file.Open(nullptr, "A", PvGenOpenModeRead).GetCode(), PvResult::InvalidParameter);
    const PvResult unknown = file.Open(array.get(), "C", PvGenOpenModeRead);
    EXPECT_EQ(unknown.GetCode(), PvResult::NotFound);
    EXPECT_EQ(text(unknown), "The device has no file \"C\"; it has A, B");
    EXPECT_EQ(file.Open(array.get(), PvString(), PvGenOpenModeRead).GetCode(), PvResult::NotFound);
    EXPECT_FALSE(file.IsOpened());
    EXPECT_TRUE(port.done.empty());
    std::vector<std::string> names;
    EXPECT_TRUE(PvGenFile::GetNames(array.get(), names).IsOK());
    EXPECT_EQ(names, (std::vector<std::string>{"A", "B"}));
}

TEST_F(DeviceFile, TravelsInStepsAsLargeAsTheAccessBuffer)
{
    open(PvGenOpenModeWrite);
    const Bytes bytes = pattern(3 * 64 + 5);
    EXPECT_TRUE(write(bytes).IsOK());
    EXPECT_EQ(count, 197);
    EXPECT_EQ(port.files[0].content, bytes);
    EXPECT_EQ(port.done, (std::vector<std::string>{"A:3", "A:3", "A:3", "A:3"}));
    EXPECT_EQ(port.writes[FilePort::buffer_address], 4U);
    EXPECT_EQ(port.writes[FilePort::length], 2U) << "what it is already is not written again";
    EXPECT_EQ(port.writes[FilePort::operation], 1U);
    EXPECT_EQ(port.writes[FilePort::selector], 0U);
    EXPECT_TRUE(file.Close().IsOK());

    open(PvGenOpenModeRead);
    EXPECT_TRUE(read(1000).IsOK());
    EXPECT_EQ(read_bytes(), bytes);
    EXPECT_EQ(port.done.size(), 4U);
    EXPECT_EQ(port.reads[FilePort::buffer_address], 4U);
}

TEST_F(DeviceFile, TravelsInStepsThatTheLengthFeatureTakes)
{
    load(FilePort::description(true, 20));
    open(PvGenOpenModeWrite);
    EXPECT_TRUE(write(pattern(50)).IsOK());
    EXPECT_EQ(port.done.size(), 3U);
    EXPECT_EQ(port.files[0].content, pattern(50));
}

TEST_F(DeviceFile, GoesOnWhereTheLastTransferEnded)
{
    open(PvGenOpenModeWrite);
    EXPECT_TRUE(write(pattern(10)).IsOK());
    EXPECT_TRUE(write(pattern(3, 9)).IsOK());
    Bytes all = pattern(10);
    const Bytes rest = pattern(3, 9);
    all.insert(all.end(), rest.begin(), rest.end());
    EXPECT_EQ(port.files[0].content, all);
    EXPECT_TRUE(file.Close().IsOK());

    open(PvGenOpenModeRead);
    EXPECT_TRUE(read(4).IsOK());
    EXPECT_EQ(read_bytes(), Bytes(all.begin(), all.begin() + 4));
    EXPECT_TRUE(read(100).IsOK());
    EXPECT_EQ(read_bytes(), Bytes(all.begin() + 4, all.end()));
    EXPECT_TRUE(read(100).IsOK());
    EXPECT_EQ(count, 0) << "behind the end";
}

TEST_F(DeviceFile, CountsWhatADeviceTakesOfAStep)
{
    port.most_at_once = 7;
    open(PvGenOpenModeWrite);
    EXPECT_TRUE(write(pattern(40)).IsOK());
    EXPECT_EQ(count, 40);
    EXPECT_EQ(port.files[0].content, pattern(40));
    EXPECT_TRUE(file.Close().IsOK());
    open(PvGenOpenModeRead);
    EXPECT_TRUE(read(1000).IsOK());
    EXPECT_EQ(read_bytes(), pattern(40));
    EXPECT_TRUE(file.Close().IsOK());

    open(PvGenOpenModeWrite);
    port.told_result = 0;
    EXPECT_EQ(write(pattern(4)).GetCode(), PvResult::FileError) << "a device that takes nothing is not asked for ever";
    for (const std::uint32_t wrong : {5U, 0xFFFFFFFFU}) {
        port.told_result = wrong;
        EXPECT_EQ(write(pattern(4)).GetCode(), PvResult::FileError) << wrong;
        EXPECT_EQ(count, 0);
    }
}

TEST_F(DeviceFile, MoreThanWasAskedForDoesNotReachTheBuffer)
{
    port.files[0].content = pattern(100);
    open(PvGenOpenModeRead);
    port.told_result = 60;
    EXPECT_EQ(read(10).GetCode(), PvResult::FileError);
    EXPECT_EQ(count, 0);
    EXPECT_TRUE(read_bytes().empty());
}

TEST_F(DeviceFile, IsReadToItsEndWhereNothingTellsItsSize)
{
    load(FilePort::description(false));
    port.files[0].content = pattern(130);
    open(PvGenOpenModeRead);
    std::int64_t size = 5;
    EXPECT_TRUE(file.GetSize(size).IsOK());
    EXPECT_EQ(size, -1);
    EXPECT_TRUE(read(std::numeric_limits<std::int64_t>::max()).IsOK());
    EXPECT_EQ(read_bytes(), pattern(130));
    EXPECT_TRUE(file.ReadTo(PvString(folder.path("all"))).IsOK());
    EXPECT_EQ(folder.get("all"), pattern(130));
}

TEST_F(DeviceFile, ThatEndsBeforeItsSizeIsNotStored)
{
    port.files[0].content = pattern(130);
    port.told_size = 131;
    open(PvGenOpenModeRead);
    const PvResult stored = file.ReadTo(PvString(folder.path("all")));
    EXPECT_EQ(stored.GetCode(), PvResult::FileError);
    EXPECT_EQ(text(stored), "A ends after 130 of 131 bytes");
    EXPECT_EQ(folder.count(), 0U);
}

TEST_F(DeviceFile, CountsUpToTheFailure)
{
    open(PvGenOpenModeWrite);
    port.fails_behind = 100;
    const PvResult written = write(pattern(300));
    EXPECT_EQ(written.GetCode(), PvResult::FileError);
    EXPECT_EQ(text(written), "A cannot be written: the device reports Failure");
    EXPECT_EQ(count, 128);
    EXPECT_EQ(file.GetLastErrorMessage().str(), text(written));
    PvString status;
    EXPECT_TRUE(file.GetStatus(status).IsOK());
    EXPECT_EQ(status.str(), "Failure");
    EXPECT_TRUE(file.Close().IsOK());

    port.files[0].content = pattern(300);
    open(PvGenOpenModeRead);
    EXPECT_EQ(read(300).GetCode(), PvResult::FileError);
    EXPECT_EQ(read_bytes(), Bytes(port.files[0].content.begin(), port.files[0].content.begin() + 128));
}

TEST_F(DeviceFile, TakesNoNegativeLengthsAndNoMissingMemory)
{
    open(PvGenOpenModeWrite);
    std::uint8_t byte = 0;
    EXPECT_EQ(file.Write(&byte, -1, count).GetCode(), PvResult::InvalidParameter);
    EXPECT_EQ(count, 0);
    EXPECT_EQ(file.Write(nullptr, 4, count).GetCode(), PvResult::InvalidParameter);
    EXPECT_TRUE(file.Write(nullptr, 0, count).IsOK());
    EXPECT_TRUE(file.Close().IsOK());
    open(PvGenOpenModeRead);
    count = 5;
    EXPECT_EQ(file.Read(&byte, std::numeric_limits<std::int64_t>::min(), count).GetCode(), PvResult::InvalidParameter);
    EXPECT_EQ(count, 0);
    EXPECT_EQ(file.Read(nullptr, 4, count).GetCode(), PvResult::InvalidParameter);
    EXPECT_TRUE(port.done.empty());
}

TEST_F(DeviceFile, AllowsOnlyWhatItIsOpenFor)
{
    open(PvGenOpenModeRead);
    const PvResult written = write(pattern(4));
    EXPECT_EQ(written.GetCode(), PvResult::StateError);
    EXPECT_EQ(text(written), "A is open for reading only");
    EXPECT_EQ(count, 0);
    folder.put("local", pattern(4));
    EXPECT_EQ(file.WriteFrom(PvString(folder.path("local"))).GetCode(), PvResult::StateError);
    EXPECT_TRUE(file.Close().IsOK());
    open(PvGenOpenModeWrite);
    EXPECT_EQ(read(4).GetCode(), PvResult::StateError);
    EXPECT_EQ(file.ReadTo(PvString(folder.path("stored"))).GetCode(), PvResult::StateError);
    EXPECT_EQ(folder.count(), 1U);
    EXPECT_TRUE(port.done.empty()) << "the device was not bothered";
}

TEST_F(DeviceFile, IsNotOpenedTwice)
{
    open(PvGenOpenModeRead);
    const PvResult again = file.Open(array.get(), "B", PvGenOpenModeWrite);
    EXPECT_EQ(again.GetCode(), PvResult::StateError);
    EXPECT_EQ(text(again), "A is still open");
    EXPECT_TRUE(file.IsOpened());
    port.files[0].content = pattern(9);
    EXPECT_TRUE(read(9).IsOK());
    EXPECT_EQ(read_bytes(), pattern(9)) << "the first stays open";
    PvGenFile other;
    EXPECT_EQ(other.Open(array.get(), "A", PvGenOpenModeRead).GetCode(), PvResult::FileError);
    EXPECT_FALSE(other.IsOpened());
    EXPECT_EQ(port.done.back(), "A:0") << "what another has open is not closed";
    EXPECT_TRUE(port.files[0].is_open);
}

TEST_F(DeviceFile, TakesTurnsWithOthersOfTheSameDevice)
{
    open(PvGenOpenModeWrite);
    PvGenFile other;
    ASSERT_TRUE(other.Open(array.get(), "B", PvGenOpenModeWrite).IsOK());
    for (unsigned part = 0; part < 4; ++part) {
        ASSERT_TRUE(write(pattern(10, part)).IsOK());
        ASSERT_TRUE(other.Write(pattern(10, 100 + part).data(), 10, count).IsOK());
    }
    for (unsigned part = 0; part < 4; ++part) {
        for (std::size_t of = 0; of < 2; ++of) {
            const auto begin = port.files[of].content.begin() + 10 * static_cast<std::ptrdiff_t>(part);
            EXPECT_EQ(Bytes(begin, begin + 10), pattern(10, 100 * static_cast<unsigned>(of) + part));
        }
    }
}

TEST_F(DeviceFile, MayBeUsedWhileAnotherThreadUsesAnother)
{
    constexpr unsigned rounds = 10'000;
    std::barrier both_open(2);
    const auto fill = [&](const char* name, unsigned seed) {
        PvGenFile own;
        EXPECT_TRUE(own.Open(array.get(), PvString(name), PvGenOpenModeWrite).IsOK());
        both_open.arrive_and_wait();
        for (unsigned round = 0; round < rounds; ++round) {
            std::int64_t taken = 0;
            EXPECT_TRUE(own.Write(pattern(5, seed + round).data(), 5, taken).IsOK());
        }
    };
    std::thread other(fill, "B", 100);
    fill("A", 0);
    other.join();
    for (unsigned of = 0; of < 2; ++of) {
        ASSERT_EQ(port.files[of].content.size(), 5 * rounds);
        for (unsigned round = 0; round < rounds; ++round) {
            const auto begin = port.files[of].content.begin() + 5 * static_cast<std::ptrdiff_t>(round);
            ASSERT_EQ(Bytes(begin, begin + 5), pattern(5, 100 * of + round)) << of << " " << round;
        }
    }
}

TEST_F(DeviceFile, IsClosedOnTheDeviceWhenItsObjectGoes)
{
    {
        PvGenFile gone;
        ASSERT_TRUE(gone.Open(array.get(), "B", PvGenOpenModeRead).IsOK());
        EXPECT_TRUE(port.files[1].is_open);
    }
    EXPECT_FALSE(port.files[1].is_open);
    EXPECT_EQ(port.done.back(), "B:1");
    EXPECT_TRUE(file.Close().IsOK()) << "nothing is open";
    EXPECT_EQ(port.done.back(), "B:1");
}

TEST_F(DeviceFile, IsClosedWhenTheArrayGoes)
{
    open(PvGenOpenModeRead);
    array.reset();
    EXPECT_FALSE(file.IsOpened());
    const PvResult late = read(4);
    EXPECT_EQ(late.GetCode(), PvResult::StateError);
    EXPECT_EQ(text(late), "The features that A was opened through are gone");
    EXPECT_EQ(count, 0);
    PvString status("x");
    EXPECT_EQ(file.GetStatus(status).GetCode(), PvResult::StateError);
    EXPECT_EQ(status, PvString());
    EXPECT_TRUE(file.Close().IsOK());
    EXPECT_EQ(text(read(4)), "No file is open");
    load(FilePort::description());
    port.files[0].is_open = false;
    open(PvGenOpenModeRead);
    EXPECT_TRUE(file.IsOpened());
}

TEST_F(DeviceFile, OfADeviceThatNeverFinishesIsGivenUp)
{
    open(PvGenOpenModeWrite);
    port.executing = 1;
    file.SetOperationTimeout(5);
    const PvResult written = write(pattern(4));
    EXPECT_EQ(written.GetCode(), PvResult::Timeout);
    EXPECT_EQ(text(written), "A cannot be written: the device has not finished within 5 ms");
    PvGenFile other;
    other.SetOperationTimeout(5);
    EXPECT_EQ(other.Open(array.get(), "B", PvGenOpenModeRead).GetCode(), PvResult::Timeout);
    EXPECT_EQ(port.done.back(), "B:1") << "it may be open";
    EXPECT_FALSE(other.IsOpened());
}

TEST_F(DeviceFile, IsOpenedForBothWhereADeviceHasNoOtherMode)
{
    load(FilePort::description(true, 64, {}, {"Other", "ReadWrite"}));
    open(PvGenOpenModeRead);
    EXPECT_EQ(port.registers[FilePort::mode], 1U);
    EXPECT_EQ(write(pattern(4)).GetCode(), PvResult::StateError) << "what was asked for counts";
}

TEST_F(DeviceFile, KeepsTheOlderLocalFileWhenReadingFails)
{
    port.files[0].content = pattern(300);
    folder.put("kept", pattern(3, 77));
    open(PvGenOpenModeRead);
    port.fails_behind = 100;
    EXPECT_EQ(file.ReadTo(PvString(folder.path("kept"))).GetCode(), PvResult::FileError);
    EXPECT_EQ(folder.get("kept"), pattern(3, 77));
    EXPECT_EQ(folder.count(), 1U);
    port.fails_behind = 1000;
    EXPECT_TRUE(file.ReadTo(PvString(folder.path("kept"))).IsOK());
    EXPECT_EQ(folder.get("kept"), pattern(300)) << "from the beginning";
}

TEST_F(DeviceFile, SaysWhichLocalFileIsToBlame)
{
    open(PvGenOpenModeWrite);
    const PvResult missing = file.WriteFrom(PvString(folder.path("missing")));
    EXPECT_EQ(missing.GetCode(), PvResult::CannotOpenFile);
    EXPECT_NE(text(missing).find("missing"), std::string::npos);
    EXPECT_EQ(file.WriteFrom(PvString(folder.path("."))).GetCode(), PvResult::CannotOpenFile) << "a folder";
    EXPECT_EQ(file.WriteFrom(PvString()).GetCode(), PvResult::InvalidParameter);
    EXPECT_TRUE(port.done.empty());
    EXPECT_TRUE(file.Close().IsOK());
    open(PvGenOpenModeRead);
    EXPECT_EQ(file.ReadTo(PvString(folder.path("."))).GetCode(), PvResult::CannotOpenFile);
    EXPECT_EQ(file.ReadTo(PvString()).GetCode(), PvResult::InvalidParameter);
    EXPECT_EQ(file.ReadTo(PvString(folder.path("no/such"))).GetCode(), PvResult::CannotOpenFile);
    EXPECT_TRUE(port.done.empty()) << "before anything is read";
}

TEST_F(DeviceFile, TakesAnEmptyLocalFileAndTellsHowFarItIs)
{
    folder.put("empty", {});
    open(PvGenOpenModeWrite);
    EXPECT_TRUE(file.WriteFrom(PvString(folder.path("empty"))).IsOK());
    EXPECT_TRUE(port.done.empty());
    EXPECT_TRUE(port.files[0].content.empty());

    folder.put("full", pattern(150));
    std::vector<std::pair<std::int64_t, std::int64_t>> told;
    file.SetProgress([&](std::int64_t done, std::int64_t all) { told.emplace_back(done, all); });
    ASSERT_TRUE(write(pattern(3, 50)).IsOK());
    const PvResult sent = file.WriteFrom(PvString(folder.path("full")));
    EXPECT_TRUE(sent.IsOK()) << text(sent);
    EXPECT_EQ(port.files[0].content, pattern(150));
    const std::vector<std::pair<std::int64_t, std::int64_t>> steps{{64, 150}, {128, 150}, {150, 150}};
    EXPECT_EQ(told, steps);
    EXPECT_TRUE(file.Close().IsOK());
    open(PvGenOpenModeRead);
    told.clear();
    EXPECT_TRUE(file.ReadTo(PvString(folder.path("back"))).IsOK());
    EXPECT_EQ(folder.get("back"), pattern(150));
    EXPECT_EQ(told, steps);

    EXPECT_TRUE(file.ReadTo(PvString(folder.path("back"))).IsOK());
    EXPECT_EQ(folder.get("back"), pattern(150)) << "from the beginning again";

    port.files[1].content.clear();
    PvGenFile nothing;
    ASSERT_TRUE(nothing.Open(array.get(), "B", PvGenOpenModeRead).IsOK());
    EXPECT_TRUE(nothing.ReadTo(PvString(folder.path("nothing"))).IsOK());
    EXPECT_TRUE(folder.get("nothing").empty()) << "an empty file is one, too";
}
