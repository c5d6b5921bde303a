#include "Log.h"

#include "device/LumoNet.h"

#include <gtest/gtest.h>

#include <set>
#include <string>

TEST(Log, EachErrorHasWordsOfItsOwn)
{
    const int errors[] = {
        LUMONET_ERR_NONE,          LUMONET_ERR_TIMEOUT,  LUMONET_ERR_UNSUPPORTED, LUMONET_ERR_REFUSED,
        LUMONET_ERR_USER,          LUMONET_ERR_PASSWORD, LUMONET_ERR_LOCKED,      LUMONET_ERR_ALREADY_LOGGED_IN,
        LUMONET_ERR_NOT_LOGGED_IN, LUMONET_ERR_SESSIONS, LUMONET_ERR_CLOUD,       LUMONET_ERR_ARGUMENT,
        LUMONET_ERR_BUSY};
    std::set<std::string> words;
    for (const int error : errors)
        EXPECT_TRUE(words.insert(lumo::net::errorText(error)).second) << error;
}
