// What topics mean, and which messages become of what a device tells: tables, no network.
#include "AlarmBook.h"
#include "EventPeer.h"
#include "Onvif.h"

using namespace lumo::net;
using namespace lumo::net::test;

namespace
{

const AlarmSources kSources{{{"s0", 0}, {"s1", 1}, {"config1", 1}}, {{"in_a", 0}, {"in_b", 1}}};

std::vector<AlarmNotice> noticesOf(const std::string& messages)
{
    const std::string text = pullAnswer(messages);
    int events = 0;
    std::vector<AlarmNotice> notices;
    EXPECT_TRUE(parseEvents(std::string_view(text).substr(text.find('<')), kSources, events, notices));
    return notices;
}

/// "4:0 on", with the number and the channel.
std::string noticeText(const DeviceEvent& event)
{
    std::string text;
    for (const AlarmNotice& n : noticesOf(eventXml(event)))
        text += (text.empty() ? "" : ", ") + std::to_string(n.event) + ":" + std::to_string(n.channel) +
                (n.state == AlarmNotice::State::On    ? " on"
                 : n.state == AlarmNotice::State::Off ? " off"
                                                      : " pulse");
    return text;
}

class Book : public testing::Test
{
protected:
    std::string take(const std::string& key, AlarmNotice::State state, bool told = false, int64_t atMs = 0,
                     int event = LUMO_ALARM_VIDEO_MOTION, int channel = 0)
    {
        AlarmNotice notice;
        notice.event = event;
        notice.channel = channel;
        notice.key = key;
        notice.state = state;
        notice.told = told;
        std::vector<LumoAlarmMessage> messages;
        book.take(notice, atMs, messages);
        return textOf(messages);
    }
    std::string settle()
    {
        std::vector<LumoAlarmMessage> messages;
        book.settle(messages);
        return textOf(messages);
    }
    static std::string textOf(const std::vector<LumoAlarmMessage>& messages)
    {
        std::string text;
        for (const auto& m : messages)
            text += (text.empty() ? "" : ", ") + messageText(m);
        return text;
    }
    static constexpr auto kOn = AlarmNotice::State::On, kOff = AlarmNotice::State::Off,
                          kPulse = AlarmNotice::State::Pulse;
    AlarmBook book;
};

} // namespace

TEST(AlarmTopics, EachMeansItsNumber)
{
    const std::pair<const char*, int> table[] = {
        {"tns1:VideoSource/MotionAlarm", 4},
        {"tns1:RuleEngine/CellMotionDetector/Motion", 4},
        {"tns1:RuleEngine/MotionRegionDetector/Motion", 4},
        {"tns1:VideoSource/SignalLoss", 5},
        {"tns1:VideoSource/x:VideoLoss", 5},
        {"tns1:VideoSource/GlobalSceneChange/ImagingService", 6},
        {"tns1:VideoSource/ImageTooDark/AnalyticsService", 6},
        {"tns1:VideoSource/ImageTooBright/ImagingService", 6},
        {"tns1:RuleEngine/TamperDetector/Tamper", 6},
        {"tns1:VideoSource/x:Tamper", 6},
        {"tns1:VideoSource/ImageTooBlurry/ImagingService", 34},
        {"tns1:Device/Trigger/DigitalInput", 1},
        {"tns1:Device/HardwareFailure/StorageFailure", 11},
        {"tns1:Device/x:Storage/x:DiskError", 11},
        {"tns1:Device/x:Storage/x:StorageNotExist", 10},
        {"tns1:Device/x:Storage/x:StorageLowSpace", 12},
        {"tns1:Device/x:Storage/x:DiskFull", 12},
        {"tns1:Device/x:Network/Lost", 13},
        {"tns1:Device/x:NetworkFailure", 13},
        {"tns1:Device/x:EthernetBroken", 13},
        {"tns1:Device/x:AddressConflict", 17},
        {"tns1:Device/x:IPConflict", 17},
        {"tns1:UserManagement/x:LoginFailed", 29},
        {"tns1:RuleEngine/Recognition/Face", 41},
        {"tns1:RuleEngine/Recognition/LicensePlate", 35},
        {"tns1:RuleEngine/x:Own/x:PeopleDetect", 39},
        {"tns1:RuleEngine/x:Own/x:HumanDetect", 39},
        {"tns1:RuleEngine/x:Own/x:HumanShapeDetect", 39},
        {"tns1:RuleEngine/x:Own/FaceDetect", 40},
        {"tns1:RuleEngine/LineDetector/Crossed", 25},
        {"tns1:RuleEngine/FieldDetector/ObjectsInside", 25},
        {" tns1:videosource/motionalarm ", 4},
        {"VideoSource/MotionAlarm", 4},
        {"tns1:Device/Trigger/Relay", 0},
        {"tns1:Media/ProfileChanged", 0},
        {"tns1:VideoSource/MotionAlarm/More", 0},
        {"tns1:VideoSourceMotionAlarm", 0},
        {"RuleEngineer/Crossed", 0},
        {"", 0},
        {"/", 0},
        {":", 0},
    };
    for (const auto& [topic, event] : table)
        EXPECT_EQ(eventOfTopic(topic), event) << topic;
    EXPECT_EQ(eventOfTopic("RuleEngine/" + std::string(1000, 'x')), 0) << "no device's topic is so long";
}

TEST(AlarmTopics, ChannelsComeFromSourcesConfigurationsAndInputs)
{
    EXPECT_EQ(noticeText({"tns1:VideoSource/MotionAlarm", "s1"}), "4:1 on");
    EXPECT_EQ(noticeText({"tns1:RuleEngine/CellMotionDetector/Motion", "config1", "IsMotion"}), "4:1 on");
    EXPECT_EQ(noticeText({"tns1:Device/Trigger/DigitalInput", "in_b", "LogicalState"}), "1:1 on");
    EXPECT_EQ(noticeText({"tns1:Device/HardwareFailure/StorageFailure", "s1", "Failed"}), "11:0 on") << "of the device";
    EXPECT_EQ(noticeText({"tns1:VideoSource/MotionAlarm", ""}), "4:0 on") << "it need not say which";
    EXPECT_EQ(noticeText({"tns1:VideoSource/MotionAlarm", "elsewhere"}), "4:-1 on");
}

TEST(AlarmTopics, StatesAreWordsOrNumbersUnderTheirNames)
{
    const std::string topic = "tns1:VideoSource/MotionAlarm";
    EXPECT_EQ(noticeText({topic, "s0", "State", "false"}), "4:0 off");
    EXPECT_EQ(noticeText({topic, "s0", "State", "1"}), "4:0 on");
    EXPECT_EQ(noticeText({topic, "s0", "IsMotion", "0"}), "4:0 off");
    EXPECT_EQ(noticeText({topic, "s0", "Anything", "TRUE"}), "4:0 on");
    EXPECT_EQ(noticeText({topic, "s0", "LogicalState", "inactive"}), "4:0 off");
    EXPECT_EQ(noticeText({topic, "s0", "ObjectId", "1"}), "4:0 pulse") << "a number that counts something";
    EXPECT_EQ(noticeText({topic, "s0", "State", ""}), "4:0 pulse");
    EXPECT_EQ(noticeText({topic, "s0", "State", "true", "Deleted"}), "4:0 off") << "what is gone is off";
    EXPECT_EQ(noticeText({topic, "s0", "ObjectId", "1", "Initialized"}), "") << "it struck long ago";
}

TEST(AlarmTopics, HumansAndFacesAreToldByClass)
{
    const std::string topic = "tns1:RuleEngine/ObjectDetection/Object";
    EXPECT_EQ(noticeText({topic, "s0", "ClassTypes", "Human Face"}), "39:0 on, 40:0 on, 35:0 off");
    EXPECT_EQ(noticeText({topic, "s0", "ClassTypes", "Vehicle"}), "39:0 off, 40:0 off, 35:0 off");
    EXPECT_EQ(noticeText({topic, "s0", "State", "true"}), "25:0 on") << "without classes it is some analysis";
    EXPECT_EQ(noticeText({topic, "s0", "ClassTypes", "Human", "Deleted"}), "39:0 off, 40:0 off, 35:0 off");
}

TEST(AlarmTopics, AMessageWithoutATopicOrWithoutANumberSaysNothing)
{
    EXPECT_TRUE(noticesOf("<n:NotificationMessage/>").empty());
    EXPECT_TRUE(noticesOf(eventXml({"tns1:Media/ProfileChanged", "s0"})).empty());
    EXPECT_TRUE(noticesOf(eventXml({"tns1:VideoSource/MotionAlarm", std::string(5000, 's')})).empty());
}

TEST(AlarmTopics, WhatIsNoAnswerIsRefused)
{
    for (const char* text : {"", "<a/>", "<PullMessages/>", "no xml", "<s:Envelope><s:Body/></s:Envelope>"}) {
        int events = 7;
        std::vector<AlarmNotice> notices;
        EXPECT_FALSE(parseEvents(text, kSources, events, notices)) << text;
        EXPECT_EQ(events, 0);
        EXPECT_TRUE(notices.empty());
    }
}

TEST(PullPoint, IsAPathWithItsHeaderAndItsTime)
{
    OnvifPullPoint point;
    ASSERT_TRUE(parsePullPoint(
        "<e:R xmlns:e='e' xmlns:z='urn:z'><e:SubscriptionReference><a:Address xmlns:a='a'> http://h:1/sub?n=1&amp;m=2 "
        "</a:Address><a:ReferenceParameters xmlns:a='a'><z:Id k='&lt;'>a&amp;b</z:Id></a:ReferenceParameters>"
        "</e:SubscriptionReference><CurrentTime>2020-01-01T00:00:00Z</CurrentTime>"
        "<TerminationTime>2020-01-01T00:00:30Z</TerminationTime></e:R>",
        60000, point));
    EXPECT_EQ(point.path, "/sub?n=1&m=2");
    EXPECT_EQ(point.lifeMs, 30000);
    EXPECT_NE(point.header.find("<z:Id k=\"&lt;\""), std::string::npos) << point.header;
    EXPECT_NE(point.header.find("xmlns:z=\"urn:z\""), std::string::npos) << "it stands alone";
    EXPECT_NE(point.header.find("a&amp;b"), std::string::npos);
}

TEST(PullPoint, WithoutAnAddressOrWithAHeaderWithoutEndIsRefused)
{
    OnvifPullPoint point;
    EXPECT_FALSE(parsePullPoint("<R/>", 1000, point));
    EXPECT_FALSE(parsePullPoint("no xml", 1000, point));
    EXPECT_FALSE(
        parsePullPoint("<R><SubscriptionReference><Address> </Address></SubscriptionReference></R>", 1, point));
    EXPECT_FALSE(parsePullPoint("<R><SubscriptionReference><Address>http://h/a b&#13;&#10;X: y</Address>"
                                "</SubscriptionReference></R>",
                                1, point));
    EXPECT_FALSE(parsePullPoint("<R><SubscriptionReference><Address>http://h/a</Address><ReferenceParameters><p>" +
                                    std::string(100000, 'x') + "</p></ReferenceParameters></SubscriptionReference></R>",
                                1, point));
}

TEST(PullPoint, TimesThatMakeNoSenseAreKeptWithinBounds)
{
    const auto lifeOf = [](const std::string& end) {
        OnvifPullPoint point;
        parsePullPoint("<R><SubscriptionReference><Address>/a</Address></SubscriptionReference><CurrentTime>"
                       "2020-01-01T00:00:00Z</CurrentTime><TerminationTime>" +
                           end + "</TerminationTime></R>",
                       60000, point);
        return point.lifeMs;
    };
    EXPECT_EQ(lifeOf("2019-01-01T00:00:00Z"), 2000);
    EXPECT_EQ(lifeOf("2199-01-01T00:00:00Z"), 60000);
    EXPECT_EQ(lifeOf("soon"), 60000);
}

TEST_F(Book, WhatIsToldTwiceIsSaidOnce)
{
    EXPECT_EQ(take("a", kOn), "4:0 start");
    EXPECT_EQ(take("a", kOn), "");
    EXPECT_EQ(take("a", kOff), "4:0 stop");
    EXPECT_EQ(take("a", kOff), "");
    EXPECT_EQ(take("a", kOn), "4:0 start");
}

TEST_F(Book, AnAlarmStartsWithItsFirstSourceAndStopsWithItsLast)
{
    EXPECT_EQ(take("a", kOn), "4:0 start");
    EXPECT_EQ(take("b", kOn), "");
    EXPECT_EQ(take("a", kOff), "");
    EXPECT_EQ(take("b", kOff), "4:0 stop");
    EXPECT_EQ(take("c", kOn, false, 0, LUMO_ALARM_VIDEO_MOTION, 1), "4:1 start") << "channels are apart";
}

TEST_F(Book, WhatStandsStillAtTheBeginningIsNotSaid)
{
    EXPECT_EQ(take("a", kOff, true), "");
    EXPECT_EQ(take("b", kOn, true), "4:0 start");
}

TEST_F(Book, AStopWhoseStartWasBeforeTheSubscriptionIsSaid)
{
    EXPECT_EQ(take("a", kOff), "4:0 stop");
    EXPECT_EQ(take("a", kOff), "");
}

TEST_F(Book, PulsesWithinASecondAreOne)
{
    EXPECT_EQ(take("a", kPulse, false, 1000), "4:0 pulse");
    EXPECT_EQ(take("b", kPulse, false, 1999), "");
    EXPECT_EQ(take("a", kPulse, false, 1999, LUMO_ALARM_VIDEO_LOSS), "5:0 pulse");
    EXPECT_EQ(take("a", kPulse, false, 2000), "4:0 pulse");
}

TEST_F(Book, ANewSubscriptionEndsWhatItDoesNotConfirm)
{
    take("a", kOn);
    take("b", kOn, false, 0, LUMO_ALARM_VIDEO_LOSS);
    take("c", kOn, false, 0, LUMO_ALARM_LOCAL_IO);
    book.beginAnew();
    EXPECT_EQ(take("a", kOn, true), "") << "it goes on";
    EXPECT_EQ(take("b", kOff, true, 0, LUMO_ALARM_VIDEO_LOSS), "5:0 stop") << "it ended meanwhile";
    EXPECT_EQ(settle(), "1:0 stop") << "the device does not know it any more";
    EXPECT_EQ(settle(), "");
    EXPECT_EQ(take("a", kOff), "4:0 stop");
}

TEST_F(Book, SourcesWithoutEndTakeNoMemoryWithoutEnd)
{
    for (int i = 0; i < 20000; ++i)
        take("quiet" + std::to_string(i), kOff, true);
    EXPECT_LE(book.keys(), AlarmBook::kMaxKeys);
    for (int i = 0; i < 20000; ++i)
        take("loud" + std::to_string(i), kOn);
    EXPECT_LE(book.keys(), AlarmBook::kMaxKeys);
    EXPECT_EQ(take("one more", kOn, false, 0, LUMO_ALARM_VIDEO_LOSS), "5:0 pulse") << "said, if not remembered";
    EXPECT_EQ(take("loud0", kOff), "") << "the others still last";
}
