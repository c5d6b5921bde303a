// The test calls tell the truth about when frames left.
#include "HttpClient.h"
#include "RecorderProcess.h"
#include "RtspReader.h"

#include <gtest/gtest.h>

#include <algorithm>

namespace
{

HttpReply frameCall(const RecorderProcess& recorder, int channel, int stream, int frame)
{
    return httpGet(recorder.http("/api/frame?channel=" + std::to_string(channel) + "&stream=" + std::to_string(stream) +
                                 "&frame=" + std::to_string(frame)));
}

void expectHonest(const std::string& transport)
{
    // MJPEG: this client hands out a picture of the other codecs only when the next one begins.
    RecorderProcess recorder({"--codec", "mjpeg"});
    RtspReader reader(recorder.rtsp(1, 0), transport);
    ASSERT_TRUE(reader.opened());
    std::vector<int64_t> ages;
    for (int i = 0; i < 50; ++i) {
        const auto picture = reader.next();
        ASSERT_TRUE(picture);
        const Json::Value left = frameCall(recorder, 1, 0, picture->code.frame).json();
        ASSERT_EQ(left["frame"].asInt(), picture->code.frame);
        ASSERT_EQ(left["channel"].asInt(), 1);
        const int64_t age = picture->receivedUs - left["leftUs"].asInt64();
        EXPECT_GE(age, 0) << "frame " << picture->code.frame << " came before it left";
        ages.push_back(age);
    }
    ASSERT_EQ(ages.size(), 50u);
    std::sort(ages.begin(), ages.end());
    EXPECT_LT(ages[25], 30000) << "the median frame was on the way for most of a frame time";
}

} // namespace

TEST(TestApi, AFrameLeftBeforeItWasReceivedOverTcp)
{
    expectHonest("tcp");
}
TEST(TestApi, AFrameLeftBeforeItWasReceivedOverUdp)
{
    expectHonest("udp");
}

TEST(TestApi, AFrameThatNeverLeftIsNotFound)
{
    RecorderProcess recorder;
    EXPECT_EQ(frameCall(recorder, 0, 0, 5).status, 404);
    EXPECT_EQ(httpGet(recorder.http("/api/latest?channel=0&stream=0")).status, 404);
}

TEST(TestApi, LatestIsTheNewestAndTheLoopCounts)
{
    RecorderProcess recorder;
    RtspReader reader(recorder.rtsp(0, 1), "tcp");
    const auto first = reader.next();
    ASSERT_TRUE(first);
    const Json::Value before = frameCall(recorder, 0, 1, first->code.frame).json();
    reader.take(130); // once round
    const Json::Value after = frameCall(recorder, 0, 1, first->code.frame).json();
    EXPECT_EQ(after["loop"].asInt64(), before["loop"].asInt64() + 1);
    EXPECT_GT(after["leftUs"].asInt64(), before["leftUs"].asInt64());
    const Json::Value latest = httpGet(recorder.http("/api/latest?channel=0&stream=1")).json();
    EXPECT_GE(latest["leftUs"].asInt64(), after["leftUs"].asInt64());
}

TEST(TestApi, StateTellsWhoPlays)
{
    RecorderProcess recorder({"--codec", "mixed"});
    RtspReader reader(recorder.rtsp(1, 1), "tcp");
    ASSERT_TRUE(reader.next());
    const Json::Value state = httpGet(recorder.http("/api/state")).json();
    ASSERT_EQ(state["streams"].size(), 4u);
    EXPECT_EQ(state["connections"].asInt(), 1);
    for (const Json::Value& stream : state["streams"]) {
        EXPECT_EQ(stream["playing"].asBool(), stream["channel"].asInt() == 1 && stream["stream"].asInt() == 1);
        EXPECT_EQ(stream["codec"].asString(), stream["channel"].asInt() == 0 ? "H264" : "H265");
        EXPECT_EQ(stream["loopFrames"].asInt(), 125);
    }
}

TEST(TestApi, NonsenseIsRefused)
{
    RecorderProcess recorder;
    for (const char* path : {"/api/frame", "/api/frame?channel=0", "/api/frame?channel=7&stream=0&frame=1",
                             "/api/frame?channel=0&stream=2&frame=1", "/api/frame?channel=x&stream=0&frame=1"}) {
        EXPECT_EQ(httpGet(recorder.http(path)).status, 400) << path;
    }
    EXPECT_EQ(frameCall(recorder, 0, 0, 999999).status, 404);
    EXPECT_EQ(httpGet(recorder.http("/api/unknown")).status, 404);
    EXPECT_EQ(httpGet(recorder.http("/api/fault")).status, 405);
    for (const char* body : {"", "[]", "{}", "{\"channel\":0}", "{\"channel\":99,\"freeze\":true}",
                             "{\"channel\":0,\"freeze\":1}", "{\"channel\":0,\"drop\":false}", "not json"}) {
        EXPECT_EQ(httpPost(recorder.http("/api/fault"), body).status, 400) << body;
    }
    EXPECT_TRUE(recorder.alive());
}
