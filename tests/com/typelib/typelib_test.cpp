// Holds the type library inside the built server against the facts that clients were compiled with.
#include <gtest/gtest.h>

#include <set>

#include "server/com.h"
#include "tests/com/typelib/library_model.h"

namespace {

const Library& expected()
{
    static const Library library = expected_library();
    return library;
}

/// The server's, read once.
const Library& built()
{
    static const Library library = [] {
        const std::string path = VEX_SERVER_PATH;
        return read_library(std::wstring(path.begin(), path.end()));
    }();
    return library;
}

template <class Map>
std::set<std::string> names_of(const Map& map)
{
    std::set<std::string> names;
    for (const auto& entry : map) {
        names.insert(entry.first);
    }
    return names;
}

std::string slots_of(const Interface& described)
{
    std::string text;
    for (const Member& member : described.members) {
        text += std::to_string(member.slot) + ": " + std::to_string(member.id) + " " + member.kind + " " + member.name +
                "(" + member.parameters + ")\n";
    }
    return text;
}

std::string test_name(const testing::TestParamInfo<std::string>& name)
{
    return name.param.substr(name.param.find_first_not_of('_'));
}

TEST(TypeLibrary, HasItsIdentity)
{
    EXPECT_EQ(built().name, expected().name);
    EXPECT_EQ(built().libid, expected().libid);
    EXPECT_EQ(built().version, expected().version);
    EXPECT_EQ(built().help, expected().help);
}

TEST(TypeLibrary, HasTheExpectedTypesAndNoOthers)
{
    EXPECT_EQ(names_of(built().classes), names_of(expected().classes));
    EXPECT_EQ(names_of(built().interfaces), names_of(expected().interfaces));
    EXPECT_EQ(names_of(built().enumerations), names_of(expected().enumerations));
    EXPECT_EQ(built().classes.size(), 48u);
    EXPECT_EQ(built().enumerations.size(), 16u);
}

TEST(TypeLibrary, NamesTheReadersMembersInTheirHelp)
{
    for (const Member& member : built().interfaces.at("IVexConfigurationReader").members) {
        if (member.name != "RestoreDbyN") {
            EXPECT_EQ(member.help, "method " + member.name);
        }
    }
}

class TypeLibraryInterface : public testing::TestWithParam<std::string> {};

TEST_P(TypeLibraryInterface, HasItsIdentityAndBase)
{
    const Interface& wanted = expected().interfaces.at(GetParam());
    const auto found = built().interfaces.find(GetParam());
    ASSERT_NE(found, built().interfaces.end());
    EXPECT_EQ(found->second.iid, wanted.iid);
    EXPECT_EQ(found->second.kind, wanted.kind);
    EXPECT_EQ(found->second.base, wanted.base);
    EXPECT_EQ(found->second.nonextensible, wanted.nonextensible);
    if (!wanted.help.empty()) {
        EXPECT_EQ(found->second.help, wanted.help);
    }
}

TEST_P(TypeLibraryInterface, HasItsMembersInTheirSlots)
{
    const Interface& wanted = expected().interfaces.at(GetParam());
    const auto found = built().interfaces.find(GetParam());
    ASSERT_NE(found, built().interfaces.end());
    ASSERT_FALSE(wanted.members.empty());
    EXPECT_EQ(slots_of(found->second), slots_of(wanted));
    for (std::size_t i = 0; i < wanted.members.size() && i < found->second.members.size(); ++i) {
        if (!wanted.members[i].help.empty()) {
            EXPECT_EQ(found->second.members[i].help, wanted.members[i].help) << wanted.members[i].name;
        }
    }
}

INSTANTIATE_TEST_SUITE_P(All, TypeLibraryInterface, testing::ValuesIn(names_of(expected().interfaces)), test_name);

class TypeLibraryClass : public testing::TestWithParam<std::string> {};

TEST_P(TypeLibraryClass, HasItsIdentityAndInterfaces)
{
    const Class& wanted = expected().classes.at(GetParam());
    const auto found = built().classes.find(GetParam());
    ASSERT_NE(found, built().classes.end());
    EXPECT_EQ(found->second.clsid, wanted.clsid);
    EXPECT_EQ(found->second.creatable, wanted.creatable);
    EXPECT_EQ(found->second.default_interface, wanted.default_interface);
    EXPECT_EQ(found->second.source, wanted.source);
    EXPECT_EQ(found->second.further, wanted.further);
}

INSTANTIATE_TEST_SUITE_P(All, TypeLibraryClass, testing::ValuesIn(names_of(expected().classes)), test_name);

class TypeLibraryEnumeration : public testing::TestWithParam<std::string> {};

TEST_P(TypeLibraryEnumeration, HasItsConstantsInOrder)
{
    const auto found = built().enumerations.find(GetParam());
    ASSERT_NE(found, built().enumerations.end());
    EXPECT_EQ(found->second.constants, expected().enumerations.at(GetParam()).constants);
}

INSTANTIATE_TEST_SUITE_P(All, TypeLibraryEnumeration, testing::ValuesIn(names_of(expected().enumerations)), test_name);

}  // namespace
