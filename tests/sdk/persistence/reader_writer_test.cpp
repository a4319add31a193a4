// Texts and property lists through a file; names, indexes, and what a failed Load leaves.
#include "tests/sdk/persistence/configuration_files.h"

namespace {

using namespace configuration_test;

class ConfigurationFile : public Files {
protected:
    static std::string shown(const PvPropertyList& list)
    {
        std::string shown;
        for (std::uint32_t i = 0; i < list.GetSize(); ++i) {
            shown += list.GetItem(i)->GetName().str() + "=" + list.GetItem(i)->GetValue().str() + ";";
        }
        return shown;
    }
    std::string restored(const PvString& key)
    {
        PvString value("untouched");
        const PvResult result = reader.Restore(key, value);
        return result.IsOK() ? value.str() : value.str() + "|" + text(result);
    }
    std::string restored(std::uint32_t index)
    {
        PvString value;
        EXPECT_TRUE(reader.Restore(index, value).IsOK()) << index;
        return value.str();
    }
};

TEST_F(ConfigurationFile, CarriesTexts)
{
    ASSERT_TRUE(writer.Store(PvString("value"), PvString("name")).IsOK());
    ASSERT_TRUE(writer.Store(PvString(" \t\n\x01\xED\xA0\xBD"), PvString("odd\r")).IsOK());
    save_and_load();
    EXPECT_EQ(reader.GetStringCount(), 2U);
    EXPECT_EQ(restored(PvString("name")), "value");
    EXPECT_EQ(restored(PvString("odd\r")), " \t\n\x01\xED\xA0\xBD");
    EXPECT_EQ(restored(1), " \t\n\x01\xED\xA0\xBD");
    PvString name;
    ASSERT_TRUE(reader.GetStringName(1, name).IsOK());
    EXPECT_EQ(name, PvString("odd\r"));
}

TEST_F(ConfigurationFile, CarriesPropertyListsAsTheyWereWhenStored)
{
    PvPropertyList list;
    list.Add(PvProperty(PvString("a"), PvString("1")));
    list.Add(PvProperty(PvString("a"), PvString("2")));
    ASSERT_TRUE(writer.Store(&list, PvString("L")).IsOK());
    list.GetItem(0)->SetValue(PvString("changed"));
    list.Add(PvProperty(PvString("late"), PvString("")));
    ASSERT_TRUE(writer.Store(&list, PvString("later")).IsOK());
    save_and_load();
    ASSERT_EQ(reader.GetPropertyListCount(), 2U);

    PvPropertyList read;
    read.Add(PvProperty(PvString("old"), PvString("")));
    const auto old = read.items_lifetime();
    ASSERT_TRUE(reader.Restore(PvString("L"), read).IsOK());
    EXPECT_EQ(shown(read), "a=1;a=2;");
    EXPECT_TRUE(old.expired());
    ASSERT_TRUE(reader.Restore(1, read).IsOK());
    EXPECT_EQ(shown(read), "a=changed;a=2;late=;");
    EXPECT_EQ(reader.Restore(2, read).GetCode(), PvResult::NotFound);
    EXPECT_EQ(shown(read), "a=changed;a=2;late=;");
    PvString name;
    ASSERT_TRUE(reader.GetPropertyListName(1, name).IsOK());
    EXPECT_EQ(name, PvString("later"));
}

TEST_F(ConfigurationFile, HasIndexesOfItsOwnForEachKind)
{
    PvPropertyList list;
    ASSERT_TRUE(writer.Store(PvString("1"), PvString("same")).IsOK());
    ASSERT_TRUE(writer.Store(&list, PvString("same")).IsOK());
    ASSERT_TRUE(writer.Store(PvString("2"), PvString("other")).IsOK());
    save_and_load();
    EXPECT_EQ(reader.GetStringCount(), 2U);
    EXPECT_EQ(reader.GetPropertyListCount(), 1U);
    EXPECT_EQ(restored(1), "2");
    EXPECT_EQ(restored(PvString("same")), "1");
}

TEST_F(ConfigurationFile, ReplacesAnItemOfTheSameNameInItsPlace)
{
    for (const char* name : {"a", "b", "", "a", "", "A"}) {
        ASSERT_TRUE(
            writer.Store(PvString(("value " + std::to_string(reader.GetStringCount()) + name).c_str()), PvString(name))
                .IsOK());
    }
    ASSERT_TRUE(writer.Store(PvString("last"), PvString("a")).IsOK());
    save_and_load();
    ASSERT_EQ(reader.GetStringCount(), 5U) << "two without a name, a, b, A";
    EXPECT_EQ(restored(0), "last");
    EXPECT_EQ(restored(PvString("a")), "last");
    PvString name("untouched");
    ASSERT_TRUE(reader.GetStringName(2, name).IsOK());
    EXPECT_EQ(name, PvString());
}

TEST_F(ConfigurationFile, FindsTheFirstItemWithoutAName)
{
    ASSERT_TRUE(writer.Store(PvString("named"), PvString("n")).IsOK());
    ASSERT_TRUE(writer.Store(PvString("first"), PvString()).IsOK());
    ASSERT_TRUE(writer.Store(PvString("second"), PvString()).IsOK());
    save_and_load();
    EXPECT_EQ(restored(PvString()), "first");
}

TEST_F(ConfigurationFile, SavesTheSameTwice)
{
    ASSERT_TRUE(writer.Store(PvString("v"), PvString("n")).IsOK());
    save_and_load();
    const std::string first = get();
    save_and_load();
    EXPECT_EQ(get(), first);
    EXPECT_EQ(std::distance(fs::directory_iterator(folder), fs::directory_iterator()), 1);
}

TEST_F(ConfigurationFile, HasNothingBeforeItIsLoaded)
{
    EXPECT_EQ(reader.GetDeviceCount() + reader.GetStreamCount() + reader.GetStringCount() +
                  reader.GetGenParameterArrayCount() + reader.GetPropertyListCount(),
              0U);
    EXPECT_EQ(restored(PvString("x")), "untouched|" + std::string(PvResult::text_of(PvResult::NotFound)) +
                                           "|There is no string named \"x\" among 0");
    PvString name("untouched");
    for (const PvResult& result :
         {reader.GetDeviceName(0, name), reader.GetStreamName(0, name), reader.GetStringName(0, name),
          reader.GetGenParameterArrayName(0, name), reader.GetPropertyListName(0, name)}) {
        EXPECT_EQ(result.GetCode(), PvResult::NotFound);
    }
    EXPECT_EQ(name, PvString("untouched"));
}

TEST_F(ConfigurationFile, KeepsWhatWasLoadedWhenAnotherFileCannotBe)
{
    ASSERT_TRUE(writer.Store(PvString("v"), PvString("n")).IsOK());
    save_and_load();
    put("<configuration version=\"1\">\n<string/>");
    EXPECT_EQ(reader.Load(name()).GetCode(), PvResult::InvalidDataFormat);
    put("<configuration version=\"9\"/>");
    EXPECT_EQ(reader.Load(name()).GetCode(), PvResult::BadVersion);
    EXPECT_EQ(reader.Load(PvString((folder / "none").string().c_str())).GetCode(), PvResult::CannotOpenFile);
    EXPECT_EQ(reader.Load(PvString()).GetCode(), PvResult::InvalidParameter);
    EXPECT_FALSE(reader.Load(PvString(folder.string().c_str())).IsOK());
    EXPECT_EQ(restored(PvString("n")), "v");
}

TEST_F(ConfigurationFile, SaysWhichFileCannotBeLoaded)
{
    put("\nnothing");
    EXPECT_EQ(reader.Load(name()).description(), "Cannot load " + name().str() + ": Line 2: No document element found");
}

TEST_F(ConfigurationFile, CannotBeSavedWhereThereIsNoFolder)
{
    EXPECT_EQ(writer.Save(PvString((folder / "none" / "file").string().c_str())).GetCode(), PvResult::CannotOpenFile);
    EXPECT_EQ(writer.Save(PvString()).GetCode(), PvResult::InvalidParameter);
}

TEST_F(ConfigurationFile, RefusesNullObjects)
{
    EXPECT_EQ(writer.Store(static_cast<PvDevice*>(nullptr), PvString()).GetCode(), PvResult::InvalidParameter);
    EXPECT_EQ(writer.Store(static_cast<PvStream*>(nullptr), PvString()).GetCode(), PvResult::InvalidParameter);
    EXPECT_EQ(writer.Store(static_cast<PvGenParameterArray*>(nullptr), PvString()).GetCode(),
              PvResult::InvalidParameter);
    EXPECT_EQ(writer.Store(static_cast<PvPropertyList*>(nullptr), PvString()).GetCode(), PvResult::InvalidParameter);
    put("<configuration version='1'><device name='d'/></configuration>");
    ASSERT_TRUE(reader.Load(name()).IsOK());
    EXPECT_EQ(reader.Restore(PvString("d"), static_cast<PvDevice*>(nullptr)).GetCode(), PvResult::InvalidParameter);
}

}  // namespace
