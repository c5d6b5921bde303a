// Alarms end to end: subscriptions to a device that the test plays, and the messages that become of its events.
#include "EventPeer.h"

using namespace lumo::net;
using namespace lumo::net::test;

namespace
{

class Alarms : public NetTest
{
protected:
    void SetUp() override
    {
        NetTest::SetUp();
        defaults().timings.alarmPullMs = 500;
        defaults().timings.alarmGatherMs = 1;
        defaults().timings.alarmIdleMs = 20;
        defaults().timings.alarmFarewellMs = 2000;
        LUMONET_SetMessageCallback(&Messages::onMessage, &messages);
    }
    void TearDown() override
    {
        messages.release();
        NetTest::TearDown();
        LUMONET_SetMessageCallback(nullptr, nullptr);
        EXPECT_EQ(messages.odd, 0);
    }
    int enter() { return login("127.0.0.1", peer.device.port()); }
    /// A login whose messages are open.
    int listen()
    {
        begin();
        const int l = enter();
        EXPECT_GT(l, 0) << error;
        EXPECT_EQ(LUMONET_OpenMessageChannel(l), 1) << LUMONET_GetLastError();
        return l;
    }
    int asked(const std::string& action) const { return peer.device.count(action); }
    bool waitForAsked(const std::string& action, int times)
    {
        return peer.device.waitFor([&] { return asked(action) >= times; });
    }
    void replyInstead(const std::string& action, const std::string& reply)
    {
        peer.device.set([&] { peer.insteadOf[action] = reply; });
    }
    void replyAsEver()
    {
        peer.device.set([&] { peer.insteadOf.clear(); });
    }

    /// Listens to another device, which tells the time where nothing must happen.
    void startClock()
    {
        const int l = login("127.0.0.1", clock.device.port());
        EXPECT_EQ(LUMONET_OpenMessageChannel(l), 1) << LUMONET_GetLastError();
    }
    /// So many questions to it later; at one that is wrongly asked again, too, there would have been as many.
    bool timePasses(int questions = 10)
    {
        const int before = clock.device.count("PullMessages");
        return clock.device.waitFor([&] { return clock.device.count("PullMessages") >= before + questions; });
    }

    Messages messages;
    EventPeer peer, clock;
};

std::string fault(const std::string& subcode)
{
    return soapReply(500, "<s:Fault><s:Code><s:Value>s:Sender</s:Value><s:Subcode><s:Value>ter:" + subcode +
                              "</s:Value></s:Subcode></s:Code></s:Fault>");
}

} // namespace

TEST_F(Alarms, EachKindArrivesWithItsChannelAndItsStatus)
{
    const int l = listen();
    peer.motion(1, true);
    ASSERT_TRUE(messages.waitForText("4:1 start"));
    peer.motion(1, false);
    peer.say({"tns1:VideoSource/GlobalSceneChange/ImagingService", "s0"});
    peer.say({"tns1:VideoSource/SignalLoss", "s1"});
    peer.say({"tns1:Device/Trigger/DigitalInput", "in_b", "LogicalState"});
    peer.say({"tns1:Device/HardwareFailure/StorageFailure", "disk", "Failed"});
    peer.say({"tns1:Device/x:Network/Lost", "eth0", "Lost"});
    peer.say({"tns1:RuleEngine/ObjectDetection/Object", "s0", "ClassTypes", "Human Face"});
    peer.say({"tns1:RuleEngine/LineDetector/Crossed", "s0", "ObjectId", "7"});
    EXPECT_TRUE(messages.waitForText("4:1 start, 4:1 stop, 6:0 start, 5:1 start, 1:1 start, 11:0 start, 13:0 start, "
                                     "39:0 start, 40:0 start, 25:0 pulse"))
        << messages.text();
    EXPECT_EQ(messages.all()[0].login, l);
}

TEST_F(Alarms, NothingIsAskedAndNothingComesBeforeTheChannelIsOpened)
{
    begin();
    const int l = enter();
    peer.motion(0, true);
    EXPECT_EQ(asked("CreatePullPointSubscription"), 0);
    EXPECT_EQ(LUMONET_OpenMessageChannel(l), 1);
    EXPECT_TRUE(messages.waitForCount(1));
}

TEST_F(Alarms, OpeningTwiceSubscribesOnce)
{
    const int l = listen();
    EXPECT_EQ(LUMONET_OpenMessageChannel(l), 1);
    peer.motion(0, true);
    ASSERT_TRUE(messages.waitForCount(1));
    EXPECT_EQ(asked("CreatePullPointSubscription"), 1);
}

TEST_F(Alarms, ADeviceWithoutEventsAndABareAddressAreUnsupportedAtOnce)
{
    OnvifDevicePeer plain;
    RtspPeer media;
    begin();
    for (const int l : {login("127.0.0.1", plain.port()), login(media.url())}) {
        ASSERT_GT(l, 0);
        EXPECT_EQ(LUMONET_OpenMessageChannel(l), 0);
        EXPECT_EQ(LUMONET_GetLastError(), LUMONET_ERR_UNSUPPORTED);
    }
    EXPECT_EQ(plain.count("CreatePullPointSubscription"), 0);
}

TEST_F(Alarms, ADeviceThatKnowsTheWordOnlyIsAskedOnce)
{
    replyInstead("CreatePullPointSubscription", fault("ActionNotSupported"));
    listen();
    ASSERT_TRUE(waitForAsked("CreatePullPointSubscription", 1));
    startClock();
    ASSERT_TRUE(timePasses());
    EXPECT_EQ(asked("CreatePullPointSubscription"), 1);
}

TEST_F(Alarms, RequestsGoToThePlaceThatTheDeviceNamedWithItsHeader)
{
    listen();
    ASSERT_TRUE(waitForAsked("PullMessages", 2));
    for (const auto& r : peer.device.requests()) {
        if (r.method != "PullMessages")
            continue;
        EXPECT_NE(r.text.find("POST /events/1 "), std::string::npos) << r.text;
        EXPECT_NE(r.body.find("&lt;1&gt;</z:Id>"), std::string::npos) << r.body;
        EXPECT_NE(r.body.find("PullPointSubscription/PullMessagesRequest</Action>"), std::string::npos);
        EXPECT_NE(r.body.find("UsernameToken"), std::string::npos);
    }
}

TEST_F(Alarms, WhatIsOnAlreadyStartsAndWhatIsOffIsNotSaid)
{
    peer.atFirst = {{"tns1:VideoSource/MotionAlarm", "s0", "State", "false", "Initialized"},
                    {"tns1:VideoSource/MotionAlarm", "s1", "State", "true", "Initialized"}};
    listen();
    EXPECT_TRUE(messages.waitForText("4:1 start"));
}

TEST_F(Alarms, ASubscriptionIsRenewedAtHalfOfItsTime)
{
    peer.lifetime = "2026-01-01T00:00:02Z"; // the shortest that is believed
    listen();
    EXPECT_TRUE(waitForAsked("Renew", 2));
    EXPECT_EQ(asked("CreatePullPointSubscription"), 1);
    for (const auto& r : peer.device.requests()) {
        if (r.method == "Renew") {
            EXPECT_NE(r.body.find("<TerminationTime>PT60S</TerminationTime>"), std::string::npos) << r.body;
        }
    }
}

TEST_F(Alarms, ADeviceThatKnowsNoRenewIsPulledOn)
{
    peer.lifetime = "2026-01-01T00:00:02Z";
    replyInstead("Renew", fault("ActionNotSupported"));
    listen();
    ASSERT_TRUE(waitForAsked("Renew", 1));
    peer.motion(0, true);
    EXPECT_TRUE(messages.waitForCount(1));
    EXPECT_EQ(asked("CreatePullPointSubscription"), 1);
}

TEST_F(Alarms, ASubscriptionThatTheDeviceForgotIsMadeAnewAndNoStopIsLost)
{
    listen();
    peer.motion(0, true);
    peer.motion(1, true);
    peer.say({"tns1:VideoSource/SignalLoss", "s0"});
    ASSERT_TRUE(messages.waitForText("4:0 start, 4:1 start, 5:0 start"));
    peer.device.set([&] {
        peer.atFirst = {{"tns1:VideoSource/MotionAlarm", "s0", "State", "true", "Initialized"},
                        {"tns1:VideoSource/MotionAlarm", "s1", "State", "false", "Initialized"}};
    });
    peer.forget();
    EXPECT_TRUE(messages.waitForText("4:0 start, 4:1 start, 5:0 start, 4:1 stop, 5:0 stop")) << messages.text();
    peer.motion(0, false);
    EXPECT_TRUE(messages.waitForCount(6));
    EXPECT_EQ(messageText(messages.all().back().alarm), "4:0 stop");
}

TEST_F(Alarms, WhatADeviceThatNeverPausesForgotStopsToo)
{
    peer.busy = true;
    listen();
    peer.motion(0, true);
    peer.motion(1, true);
    ASSERT_TRUE(messages.waitForText("4:0 start, 4:1 start")) << messages.text();
    peer.device.set([&] { peer.atFirst = {{"tns1:VideoSource/MotionAlarm", "s1", "State", "true", "Initialized"}}; });
    peer.forget();
    EXPECT_TRUE(messages.waitForText("4:0 start, 4:1 start, 4:0 stop")) << messages.text();
    peer.motion(1, false);
    EXPECT_TRUE(messages.waitForText("4:0 start, 4:1 start, 4:0 stop, 4:1 stop")) << messages.text();
}

TEST_F(Alarms, AnAlarmThatANewSubscriptionTellsLateGoesOnWithoutAStop)
{
    defaults().timings.alarmIdleMs = 1;
    listen();
    peer.motion(0, true);
    peer.motion(1, true);
    ASSERT_TRUE(messages.waitForText("4:0 start, 4:1 start")) << messages.text();
    peer.most = 1;
    peer.device.set([&] {
        peer.atFirst.assign(10, {"tns1:VideoSource/MotionAlarm", "s0", "State", "true", "Initialized"});
        peer.atFirst.push_back({"tns1:VideoSource/MotionAlarm", "s1", "State", "true", "Initialized"});
    });
    peer.forget();
    peer.motion(0, false); // behind all of them
    EXPECT_TRUE(messages.waitForText("4:0 start, 4:1 start, 4:0 stop")) << messages.text();
}

TEST_F(Alarms, ADeviceThatGoesAwayIsAskedAgainAfterGrowingPauses)
{
    defaults().timings.requestMs = 1000;
    defaults().timings.retryMs = {10, 200, 200};
    defaults().timings.retriesPerStep = 2;
    listen();
    peer.motion(0, true);
    ASSERT_TRUE(messages.waitForCount(1));
    replyInstead("PullMessages", "hang");
    replyInstead("GetDigitalInputs", "hang");
    peer.device.deaf = true;
    // The one that is under way, then questions for the time: two soon, the next ones later.
    ASSERT_TRUE(waitForAsked("GetSystemDateAndTime", 5));
    peer.device.deaf = false;
    replyAsEver();
    peer.motion(0, false);
    EXPECT_TRUE(messages.waitForText("4:0 start, 4:0 stop")) << messages.text();
}

TEST_F(Alarms, RefusedBrokenAndHugeAnswersAreTriedAgain)
{
    listen();
    const std::string head = "HTTP/1.1 200 OK\r\nContent-Length: ";
    for (const std::string& reply :
         {fault("Busy"), soapReply(200, "<n:PullMessagesResponse"), head + "5\r\n\r\nhello", httpReply(404, ""),
          soapReply(200, "<n:SomethingElse/>"), pullAnswer(std::string(5 << 20, 'x'))}) {
        const int before = asked("CreatePullPointSubscription"), count = int(messages.count());
        replyInstead("PullMessages", reply);
        ASSERT_TRUE(waitForAsked("CreatePullPointSubscription", before + 2)) << reply.substr(0, 60);
        replyAsEver();
        peer.motion(0, count % 2 == 0);
        EXPECT_TRUE(messages.waitForCount(size_t(count) + 1)) << reply.substr(0, 60);
    }
    EXPECT_EQ(messages.text(), "4:0 start, 4:0 stop, 4:0 start, 4:0 stop, 4:0 start, 4:0 stop");
}

TEST_F(Alarms, SubscriptionsThatFailOrNameNoPlaceAreTriedAgain)
{
    for (const std::string& reply : {fault("TooMany"), soapReply(200, "<n:Nothing/>"), httpReply(503, "")}) {
        replyInstead("CreatePullPointSubscription", reply);
        listen();
        const int before = asked("CreatePullPointSubscription");
        EXPECT_TRUE(waitForAsked("CreatePullPointSubscription", before + 2)) << reply;
        replyAsEver();
        const size_t count = messages.count();
        peer.motion(0, count % 2 == 0);
        EXPECT_TRUE(messages.waitForCount(count + 1)) << reply;
        LUMONET_Cleanup();
    }
}

TEST_F(Alarms, ARefusedPasswordIsNotSentAgain)
{
    listen();
    ASSERT_TRUE(waitForAsked("PullMessages", 1));
    peer.device.set([&] { peer.device.password = "changed"; });
    // The one that is refused, and none after it.
    startClock();
    ASSERT_TRUE(timePasses());
    const int pulls = asked("PullMessages");
    ASSERT_TRUE(timePasses());
    EXPECT_EQ(asked("PullMessages"), pulls);
    EXPECT_EQ(asked("CreatePullPointSubscription"), 1);
    EXPECT_EQ(asked("Unsubscribe"), 0);
}

TEST_F(Alarms, LogoutUnsubscribesAndEndsTheQuestionUnderWay)
{
    peer.holdMs = kLongMs;
    const int l = listen();
    ASSERT_TRUE(waitForAsked("PullMessages", 1));
    const auto begun = std::chrono::steady_clock::now();
    EXPECT_EQ(LUMONET_Logout(l), 1);
    EXPECT_LT(std::chrono::steady_clock::now() - begun, std::chrono::milliseconds(kLongMs / 2));
    EXPECT_EQ(asked("Unsubscribe"), 1);
    const size_t count = messages.count();
    peer.motion(0, true);
    EXPECT_EQ(messages.count(), count);
}

TEST_F(Alarms, LogoutOfADeviceThatDoesNotAnswerWaitsNoLongerThanTheFarewell)
{
    defaults().timings.alarmFarewellMs = 50;
    peer.holdMs = kLongMs;
    const int l = listen();
    ASSERT_TRUE(waitForAsked("PullMessages", 1));
    peer.device.deaf = true;
    const auto begun = std::chrono::steady_clock::now();
    EXPECT_EQ(LUMONET_Logout(l), 1);
    EXPECT_LT(std::chrono::steady_clock::now() - begun, std::chrono::milliseconds(kLongMs / 2));
}

TEST_F(Alarms, ALogoutWaitsForARunningCallbackAndNoneComesAfterIt)
{
    const int l = listen();
    startClock();
    messages.hold();
    peer.motion(0, true);
    peer.motion(0, false);
    ASSERT_TRUE(messages.waitForCount(1));
    std::atomic<bool> out{false};
    std::thread leaving([&] {
        EXPECT_EQ(LUMONET_Logout(l), 1);
        EXPECT_FALSE(messages.inside);
        out = true;
    });
    EXPECT_TRUE(timePasses());
    EXPECT_FALSE(out) << "it waits for the callback";
    messages.release();
    leaving.join();
    EXPECT_EQ(messages.count(), 1u);
}

TEST_F(Alarms, AnotherCallbackWaitsForTheRunningOne)
{
    listen();
    startClock();
    messages.hold();
    peer.motion(0, true);
    ASSERT_TRUE(messages.waitForCount(1));
    std::thread release([&] {
        EXPECT_TRUE(timePasses());
        messages.release();
    });
    Messages others;
    LUMONET_SetMessageCallback(&Messages::onMessage, &others);
    EXPECT_FALSE(messages.inside);
    release.join();
    peer.motion(0, false);
    EXPECT_TRUE(others.waitForText("4:0 stop"));
    EXPECT_EQ(messages.count(), 1u);
    LUMONET_SetMessageCallback(nullptr, nullptr); // before the others go
}

TEST_F(Alarms, ACallbackMayLogOutItsOwnLogin)
{
    begin();
    const int l = enter();
    std::atomic<int> result{-1};
    messages.onCall = [&] { result = LUMONET_Logout(l); };
    ASSERT_EQ(LUMONET_OpenMessageChannel(l), 1);
    peer.motion(0, true);
    ASSERT_TRUE(messages.waitForCount(1));
    EXPECT_EQ(result, 1);
    EXPECT_EQ(LUMONET_OpenMessageChannel(l), 0);
    EXPECT_EQ(LUMONET_GetLastError(), LUMONET_ERR_NOT_LOGGED_IN);
}

TEST_F(Alarms, ACallbackMayTakeItselfOff)
{
    messages.onCall = [] { LUMONET_SetMessageCallback(nullptr, nullptr); };
    listen();
    peer.motion(0, true);
    ASSERT_TRUE(messages.waitForCount(1));
    const int pulls = asked("PullMessages");
    peer.motion(0, false);
    EXPECT_TRUE(waitForAsked("PullMessages", pulls + 2));
    EXPECT_EQ(messages.count(), 1u);
}

TEST_F(Alarms, TheyGoOnWhenTheDeviceWasLostAndIsBack)
{
    defaults().timings.watchPeriodMs = 20;
    defaults().timings.watchRequestMs = 50;
    defaults().timings.requestMs = 200;
    const int l = listen();
    peer.motion(0, true);
    ASSERT_TRUE(messages.waitForCount(1));
    peer.device.deaf = true;
    ASSERT_TRUE(peer.device.waitFor([&] { return disconnects == 1; }));
    EXPECT_EQ(LUMONET_OpenMessageChannel(l), 0);
    EXPECT_EQ(LUMONET_GetLastError(), LUMONET_ERR_TIMEOUT) << "calls for it fail at once";
    peer.device.deaf = false;
    peer.motion(0, false);
    EXPECT_TRUE(messages.waitForText("4:0 start, 4:0 stop"));
}

TEST_F(Alarms, TwoLoginsAreToldApart)
{
    EventPeer other;
    const int l = listen();
    const int second = login("127.0.0.1", other.device.port());
    ASSERT_EQ(LUMONET_OpenMessageChannel(second), 1);
    other.motion(1, true);
    ASSERT_TRUE(messages.waitForCount(1));
    EXPECT_EQ(messages.all()[0].login, second);
    peer.motion(0, true);
    ASSERT_TRUE(messages.waitForCount(2));
    EXPECT_EQ(messages.all()[1].login, l);
    LUMONET_Cleanup();
}

TEST_F(Alarms, OfAFloodNoStartAndNoStopIsLost)
{
    constexpr int kTimes = 10000;
    listen();
    for (int i = 0; i < kTimes; ++i) {
        peer.motion(0, i % 2 == 0);
        peer.say({"tns1:RuleEngine/LineDetector/Crossed", "s0", "ObjectId", std::to_string(i)});
        peer.motion(0, i % 2 == 0); // the same again
    }
    ASSERT_TRUE(messages.waitForCount(kTimes));
    ASSERT_TRUE(peer.device.waitFor([&] { return peer.kept() == 0; }));
    peer.say({"tns1:VideoSource/SignalLoss", "s1"}); // behind all
    const auto last = [&] {
        const auto all = messages.all();
        return !all.empty() && all.back().alarm.nEvent == LUMO_ALARM_VIDEO_LOSS;
    };
    ASSERT_TRUE(peer.device.waitFor(last));
    int motions = 0, pulses = 0;
    for (const auto& m : messages.all()) {
        if (m.alarm.nEvent == LUMO_ALARM_VIDEO_MOTION)
            EXPECT_EQ(m.alarm.nStatus, motions++ % 2) << "starts and stops in turn";
        pulses += m.alarm.nStatus == LUMO_ALARM_STATUS_PULSE;
    }
    EXPECT_EQ(motions, kTimes);
    EXPECT_LT(pulses, kTimes / 10) << "what strikes again and again is one";
}

TEST_F(Alarms, ACallbackThatIsSlowHoldsTheDeviceBackAndLosesNothing)
{
    listen();
    messages.hold();
    peer.motion(0, true);
    ASSERT_TRUE(messages.waitForCount(1));
    const int pulls = asked("PullMessages");
    for (int i = 1; i <= 1000; ++i)
        peer.motion(0, i % 2 == 0);
    EXPECT_LE(asked("PullMessages"), pulls) << "nothing is asked for while the last answer is not taken";
    EXPECT_GE(peer.kept(), 800u) << "they wait at the device";
    messages.release();
    EXPECT_TRUE(messages.waitForCount(1001));
}
