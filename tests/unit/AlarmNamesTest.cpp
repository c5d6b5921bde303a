// What the page calls alarms and their states.
#include "hub/AlarmNames.h"

#include <gtest/gtest.h>

#include <climits>
#include <set>
#include <string>

namespace
{

TEST(AlarmNames, OfANumberThatStandsTwiceTheFirstCounts)
{
    EXPECT_STREQ("VideoAnalyze", alarmName(25));
}

TEST(AlarmNames, KeepTheSpellingThatThePageKnows)
{
    EXPECT_STREQ("StorrageLowSpace", alarmName(12));
    EXPECT_STREQ("appEventHumanDetectAlarm", alarmName(39));
    EXPECT_STREQ("433Alarm", alarmName(37));
}

TEST(AlarmNames, AreThirtyOneAndNoTwoAlike)
{
    std::set<std::string> names;
    for (int i = -1000; i < 1000; ++i)
        if (*alarmName(i))
            EXPECT_TRUE(names.insert(alarmName(i)).second) << i;
    EXPECT_EQ(31u, names.size());
}

TEST(AlarmNames, AnUnknownNumberHasAnEmptyOne)
{
    for (int nEvent : {INT_MIN, -1, 0, 18, 24, 26, 28, 42, 43, 44, 60, INT_MAX})
        EXPECT_STREQ("", alarmName(nEvent)) << nEvent;
}

TEST(AlarmStatus, IsStartStopOrPulseAndElseEmpty)
{
    EXPECT_STREQ("Start", alarmStatus(0));
    EXPECT_STREQ("Stop", alarmStatus(1));
    EXPECT_STREQ("Pulse", alarmStatus(2));
    for (int nStatus : {INT_MIN, -1, 3, INT_MAX})
        EXPECT_STREQ("", alarmStatus(nStatus)) << nStatus;
}

} // namespace
