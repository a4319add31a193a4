#include <gtest/gtest.h>

#include <array>
#include <string>
#include <utility>

#include "sdk/base/PvResult.h"

TEST(PvResult, DefaultIsOkWithTheCodesOwnText)
{
    const PvResult result;
    EXPECT_EQ(result.GetCode(), PvResult::OK);
    EXPECT_TRUE(result.IsOK());
    EXPECT_TRUE(result.IsSuccess());
    EXPECT_FALSE(result.IsFailure());
    EXPECT_FALSE(result.IsPending());
    EXPECT_EQ(result.description(), "OK");
}

TEST(PvResult, PendingIsNeitherOkNorFailure)
{
    const PvResult result = PvResult::Pending;
    EXPECT_FALSE(result.IsOK());
    EXPECT_TRUE(result.IsPending());
    EXPECT_TRUE(result.IsSuccess());
    EXPECT_FALSE(result.IsFailure());
}

TEST(PvResult, SettingTheCodeKeepsTheDescription)
{
    PvResult bare = PvResult::Timeout;
    const PvString text = bare.GetDescription();
    bare.SetCode(PvResult::NotFound);
    EXPECT_EQ(bare.GetCode(), PvResult::NotFound);
    EXPECT_EQ(bare.GetDescription(), text);
}

TEST(PvResult, SettingTheDescriptionKeepsTheCode)
{
    PvResult result = PvResult::Timeout;
    result.SetDescription("no camera at 10.0.0.1 answered");
    EXPECT_EQ(result.GetCode(), PvResult::Timeout);
    EXPECT_EQ(result.description(), "no camera at 10.0.0.1 answered");
    result.SetDescription(PvString());
    EXPECT_EQ(result.description(), "");
}

TEST(PvResult, CodesWithoutANamePassThrough)
{
    const auto code = static_cast<PvResult::Code>(0x12345678);
    const PvResult result = code;
    EXPECT_EQ(result.GetCode(), code);
    EXPECT_TRUE(result.IsFailure());
    EXPECT_FALSE(result.description().empty());
}

TEST(PvResult, CopiesAreIndependent)
{
    PvResult first(PvResult::NotFound, "no such feature");
    const PvResult copy = first;
    first.SetDescription("changed");
    EXPECT_EQ(copy.description(), "no such feature");
}

TEST(PvResult, CopiesAndMovesKeepCodeAndDescription)
{
    PvResult recoded = PvResult::Timeout;
    recoded.SetCode(PvResult::NotFound);
    PvResult silent = PvResult::Timeout;
    silent.SetDescription(PvString());
    const PvResult told(PvResult::NotFound, "no such feature");
    for (const PvResult* const original : std::array<const PvResult*, 3>{&recoded, &silent, &told}) {
        const std::string text(original->description());
        PvResult copy = *original;
        PvResult assigned(PvResult::Aborted, "aborted");
        assigned = copy;
        EXPECT_EQ(assigned.GetCode(), original->GetCode());
        EXPECT_EQ(assigned.description(), text);
        const PvResult moved = std::move(copy);
        EXPECT_EQ(moved.GetCode(), original->GetCode());
        EXPECT_EQ(moved.description(), text);
        copy = std::move(assigned);
        EXPECT_EQ(copy.GetCode(), original->GetCode());
        EXPECT_EQ(copy.description(), text);
    }
}
