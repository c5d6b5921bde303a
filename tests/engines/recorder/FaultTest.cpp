// Each fault does what it says while it is on, and nothing is left of it afterwards.
#include "HttpClient.h"
#include "RecorderProcess.h"
#include "RtspReader.h"

#include <gtest/gtest.h>

extern "C" {
#include <libavutil/error.h>
}

namespace
{

void fault(const RecorderProcess& recorder, const std::string& json)
{
    ASSERT_EQ(httpPost(recorder.http("/api/fault"), json).status, 200) << json;
}

int64_t newestLeft(const RecorderProcess& recorder, int channel)
{
    return httpGet(recorder.http("/api/latest?channel=" + std::to_string(channel) + "&stream=1"))
        .json()["leftUs"]
        .asInt64();
}

// Reads until no picture comes for a second: what was on the way has then arrived.
bool runsDry(RtspReader& reader)
{
    for (int i = 0; i < 100; ++i) {
        if (!reader.next(1000)) {
            return true;
        }
    }
    return false;
}

} // namespace

TEST(Fault, FreezeStopsOneChannelAndOnlyThat)
{
    RecorderProcess recorder;
    RtspReader other(recorder.rtsp(1, 1), "tcp");
    ASSERT_TRUE(other.next());
    {
        RtspReader frozen(recorder.rtsp(0, 1), "tcp");
        ASSERT_TRUE(frozen.next());
        fault(recorder, R"({"channel":0,"freeze":true})");
        EXPECT_TRUE(runsDry(frozen));
    }
    const int64_t stood = newestLeft(recorder, 0), moved = newestLeft(recorder, 1);
    // Pictures that left before may still lie in the socket, so this takes as many as it needs.
    for (int i = 0; i < 50 && newestLeft(recorder, 1) == moved; ++i)
        ASSERT_EQ(other.take(30).size(), 30u);
    EXPECT_GT(newestLeft(recorder, 1), moved);
    EXPECT_EQ(newestLeft(recorder, 0), stood);
    fault(recorder, R"({"channel":0,"freeze":false})");
    RtspReader again(recorder.rtsp(0, 1), "tcp");
    EXPECT_EQ(again.take(10).size(), 10u);
}

TEST(Fault, AFrozenConnectionGoesOnWhereItStood)
{
    RecorderProcess recorder;
    RtspReader watcher(recorder.rtsp(0, 1), "tcp");
    ASSERT_EQ(watcher.take(5).size(), 5u);
    fault(recorder, R"({"channel":0,"freeze":true})");
    const int64_t stood = newestLeft(recorder, 0);
    EXPECT_EQ(newestLeft(recorder, 0), stood);
    fault(recorder, R"({"clear":true})");
    const auto more = watcher.take(60);
    ASSERT_EQ(more.size(), 60u) << "the same connection delivers again";
    for (size_t i = 1; i < more.size(); ++i) {
        ASSERT_EQ(more[i].code.frame, (more[i - 1].code.frame + 1) % 125);
    }
}

TEST(Fault, WhoJoinsAFrozenChannelGetsOnePicture)
{
    RecorderProcess recorder;
    fault(recorder, R"({"channel":0,"freeze":true})");
    RtspReader reader(recorder.rtsp(0, 1), "tcp");
    ASSERT_TRUE(reader.opened());
    EXPECT_TRUE(reader.next());
    EXPECT_FALSE(reader.next(1000));
}

TEST(Fault, DropEndsTheChannelsConnectionsAndOnlyThose)
{
    RecorderProcess recorder;
    RtspReader tcp(recorder.rtsp(0, 1), "tcp"), other(recorder.rtsp(1, 1), "tcp");
    ASSERT_TRUE(tcp.next() && other.next());
    const HttpReply reply = httpPost(recorder.http("/api/fault"), R"({"channel":0,"drop":true})");
    EXPECT_EQ(reply.json()["dropped"].asInt(), 1);
    EXPECT_TRUE(runsDry(tcp));
    EXPECT_NE(tcp.error(), AVERROR_EXIT) << "the connection's end was seen, not a time-out";
    EXPECT_EQ(other.take(30).size(), 30u);
    RtspReader again(recorder.rtsp(0, 1), "tcp");
    EXPECT_EQ(again.take(5).size(), 5u);
}

TEST(Fault, DropEndsStreamsOverUdpToo)
{
    RecorderProcess recorder;
    RtspReader udp(recorder.rtsp(0, 1), "udp");
    ASSERT_TRUE(udp.next());
    EXPECT_EQ(httpPost(recorder.http("/api/fault"), R"({"channel":0,"drop":true})").json()["dropped"].asInt(), 1);
    EXPECT_TRUE(runsDry(udp));
}

TEST(Fault, RefusedPasswordMeetsOnvifAndRtsp)
{
    RecorderProcess recorder;
    const Login login;
    const auto url = recorder.http("/onvif/device_service");
    fault(recorder, R"({"refusePassword":true})");
    EXPECT_EQ(soapCall(url, kDeviceInformation, &login).status, 400);
    EXPECT_EQ(soapCall(url, kDeviceInformation, nullptr, {"X-Lumo-Token: lumo-token"}).status, 400);
    EXPECT_EQ(RtspReader(recorder.rtsp(0, 1), "tcp").error(), AVERROR_HTTP_UNAUTHORIZED);
    fault(recorder, R"({"refusePassword":false})");
    EXPECT_EQ(soapCall(url, kDeviceInformation, &login).status, 200);
    EXPECT_TRUE(RtspReader(recorder.rtsp(0, 1), "tcp").opened());
}

TEST(Fault, ASilentRecorderAcceptsAndAnswersNothing)
{
    RecorderProcess recorder;
    RtspReader playing(recorder.rtsp(0, 1), "tcp");
    ASSERT_TRUE(playing.next());
    const Login login;
    const auto url = recorder.http("/onvif/device_service");
    fault(recorder, R"({"stopAnswering":true})");
    EXPECT_EQ(soapCall(url, kDeviceInformation, &login, {}, 700).status, 0);
    EXPECT_EQ(httpGet(recorder.http("/"), 700).status, 0);
    EXPECT_TRUE(runsDry(playing));
    EXPECT_TRUE(httpGet(recorder.http("/api/state")).json()["stopAnswering"].asBool()) << "test calls still work";
    fault(recorder, R"({"stopAnswering":false})");
    EXPECT_EQ(soapCall(url, kDeviceInformation, &login).status, 200);
    RtspReader again(recorder.rtsp(0, 1), "tcp");
    EXPECT_EQ(again.take(5).size(), 5u);
}

TEST(Fault, ClearTakesAllBack)
{
    RecorderProcess recorder;
    fault(recorder, R"({"refusePassword":true})");
    fault(recorder, R"({"channel":1,"freeze":true})");
    fault(recorder, R"({"stopAnswering":true})");
    fault(recorder, R"({"clear":true})");
    const Json::Value state = httpGet(recorder.http("/api/state")).json();
    EXPECT_FALSE(state["refusePassword"].asBool());
    EXPECT_FALSE(state["stopAnswering"].asBool());
    for (const auto& stream : state["streams"]) {
        EXPECT_FALSE(stream["frozen"].asBool());
    }
    RtspReader reader(recorder.rtsp(1, 1), "tcp");
    EXPECT_EQ(reader.take(5).size(), 5u);
}

TEST(Fault, ASilentRecorderCanStillBeEnded)
{
    RecorderProcess recorder;
    fault(recorder, R"({"stopAnswering":true})");
    httpGet(recorder.http("/"), 300);
    // The destructor ends it and waits; a hang here is the failure.
}
