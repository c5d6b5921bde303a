// Which version is the newer one.
#include "maintenance/VersionOrder.h"

#include <gtest/gtest.h>

namespace
{

TEST(VersionOrder, EqualVersionsAreNotNew)
{
    EXPECT_FALSE(IsNewVersion("4.0.0.2", "4.0.0.2"));
    EXPECT_FALSE(IsNewVersion("0.0.0.0", "0.0.0.0"));
}

TEST(VersionOrder, TheLastFieldCounts)
{
    EXPECT_TRUE(IsNewVersion("4.0.0.3", "4.0.0.2"));
    EXPECT_FALSE(IsNewVersion("4.0.0.2", "4.0.0.3"));
}

TEST(VersionOrder, AnEarlierFieldCountsMore)
{
    EXPECT_TRUE(IsNewVersion("4.0.1.0", "4.0.0.9"));
    EXPECT_FALSE(IsNewVersion("3.9.9.9", "4.0.0.0"));
    EXPECT_TRUE(IsNewVersion("5.0.0.0", "4.9.9.9"));
    EXPECT_FALSE(IsNewVersion("4.0.9.9", "4.1.0.0"));
}

TEST(VersionOrder, FieldsAreNumbers)
{
    EXPECT_TRUE(IsNewVersion("4.10.0.0", "4.9.0.0"));
    EXPECT_FALSE(IsNewVersion("4.9.0.0", "4.10.0.0"));
    EXPECT_FALSE(IsNewVersion("04.0.0.0", "4.0.0.0"));
}

TEST(VersionOrder, AnEmptyNewOneIsNeverNewAndAnEmptyCurrentOneAlwaysOld)
{
    EXPECT_FALSE(IsNewVersion("", ""));
    EXPECT_FALSE(IsNewVersion("", "4.0.0.0"));
    EXPECT_TRUE(IsNewVersion("0.0.0.0", ""));
}

TEST(VersionOrder, FewerThanFourFieldsHaveZerosBehindThem)
{
    EXPECT_FALSE(IsNewVersion("4", "4.0.0.0"));
    EXPECT_TRUE(IsNewVersion("4.1", "4.0.9.9"));
    EXPECT_TRUE(IsNewVersion("4.0.0.1", "4"));
    EXPECT_FALSE(IsNewVersion(".", "."));
}

TEST(VersionOrder, AFieldThatIsNoNumberCountsAs0)
{
    EXPECT_FALSE(IsNewVersion("x.0.0.0", "0.0.0.0"));
    EXPECT_TRUE(IsNewVersion("4.0.0.1", "4.0.beta.0"));
    EXPECT_FALSE(IsNewVersion("99999999999.0.0.0", "1.0.0.0"));
    EXPECT_TRUE(IsNewVersion("1.0.0.0", "-1.0.0.0"));
}

TEST(VersionOrder, WhatFollowsTheFourthFieldDoesNotCount)
{
    EXPECT_FALSE(IsNewVersion("4.0.0.2.9", "4.0.0.2"));
    EXPECT_TRUE(IsNewVersion("4.0.0.3.0", "4.0.0.2.9"));
}

} // namespace
