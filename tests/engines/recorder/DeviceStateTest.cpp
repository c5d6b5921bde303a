// What the device keeps, without a network.
#include "DeviceState.h"

#include <gtest/gtest.h>

#include <vector>

using namespace lumo::recorder;

TEST(DeviceStateTest, UploadsThatNeverComeAreForgotten)
{
    Faults faults;
    DeviceState state("unused", faults);
    std::vector<std::string> tickets;
    for (int i = 0; i < 33; ++i) {
        tickets.push_back(state.beginUpload(i % 2 == 0 ? "firmware" : "settings"));
    }
    EXPECT_EQ(state.uploadOf(tickets[0]), "");
    EXPECT_EQ(state.uploadOf(tickets[1]), "settings");
    EXPECT_EQ(state.uploadOf(tickets[32]), "firmware");
}

TEST(DeviceStateTest, ATicketIsUsedUpByItsUpload)
{
    Faults faults;
    DeviceState state("unused", faults);
    const std::string used = state.beginUpload("firmware"), other = state.beginUpload("settings");
    EXPECT_FALSE(state.finishUpload(used, "")); // nothing came, so nothing is kept
    EXPECT_EQ(state.uploadOf(used), "");
    EXPECT_EQ(state.uploadOf(other), "settings");
}
