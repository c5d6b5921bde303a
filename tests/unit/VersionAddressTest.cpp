// The address of a build's own version server.
#include "maintenance/VersionAddress.h"

#include <gtest/gtest.h>

TEST(VersionAddress, NamesTheFileOfThePageKindAtPort8080)
{
    EXPECT_EQ(defaultVersionAddress("update.example", ""), "http://update.example:8080/ocx/LumoPlayToolVersion.ini");
    EXPECT_EQ(defaultVersionAddress("h", "Black"), "http://h:8080/ocx/BlackLumoPlayToolVersion.ini");
    EXPECT_EQ(defaultVersionAddress("h", "%1"), "http://h:8080/ocx/%1LumoPlayToolVersion.ini");
}

TEST(VersionAddress, ABuildWithoutAServerHasNone)
{
    EXPECT_EQ(defaultVersionAddress("", "Black"), QString());
}
