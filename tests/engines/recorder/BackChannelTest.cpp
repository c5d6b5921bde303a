// The way to a channel's loudspeaker, walked by GStreamer's own RTSP client.
#include "Eventually.h"
#include "HttpClient.h"
#include "RecorderProcess.h"

#include <gst/app/gstappsink.h>
#include <gst/gst.h>
#include <gtest/gtest.h>

#include <atomic>

namespace
{

/// rtspsrc with its back channel on, and 20 ms packets of a tone for it.
class Caller
{
public:
    explicit Caller(const std::string& url)
    {
        gst_init(nullptr, nullptr);
        m_pipeline = gst_parse_launch("rtspsrc name=source backchannel=onvif protocols=tcp latency=0 "
                                      "audiotestsrc is-live=true freq=1000 samplesperbuffer=160 "
                                      "! audio/x-raw,rate=8000,channels=1 ! alawenc "
                                      "! rtppcmapay pt=8 min-ptime=20000000 max-ptime=20000000 "
                                      "! appsink name=speech sync=false",
                                      nullptr);
        m_source = gst_bin_get_by_name(GST_BIN(m_pipeline), "source");
        g_object_set(m_source, "location", url.c_str(), nullptr);
        g_signal_connect(m_source, "select-stream",
                         G_CALLBACK(+[](GstElement*, guint number, GstCaps* caps, gpointer p) {
                             auto* self = static_cast<Caller*>(p);
                             if (gst_structure_has_field(gst_caps_get_structure(caps, 0), "a-sendonly")) {
                                 self->loudspeaker = static_cast<int>(number);
                             } else {
                                 ++self->others;
                             }
                             return TRUE;
                         }),
                         this);
        g_signal_connect(m_source, "pad-added", G_CALLBACK(+[](GstElement*, GstPad* pad, gpointer p) {
                             auto* self = static_cast<Caller*>(p);
                             GstElement* sink = gst_element_factory_make("fakesink", nullptr);
                             gst_bin_add(GST_BIN(self->m_pipeline), sink);
                             gst_element_sync_state_with_parent(sink);
                             GstPad* to = gst_element_get_static_pad(sink, "sink");
                             gst_pad_link(pad, to);
                             gst_object_unref(to);
                             ++self->microphones;
                         }),
                         this);
        gst_element_set_state(m_pipeline, GST_STATE_PLAYING);
    }
    ~Caller()
    {
        gst_element_set_state(m_pipeline, GST_STATE_NULL);
        gst_object_unref(m_source);
        gst_object_unref(m_pipeline);
    }
    /// Sends so many packets; how many the client took.
    int speak(int packets)
    {
        GstElement* speech = gst_bin_get_by_name(GST_BIN(m_pipeline), "speech");
        int taken = 0;
        for (int i = 0; i < packets; ++i) {
            GstSample* sample = gst_app_sink_pull_sample(GST_APP_SINK(speech));
            GstFlowReturn result = GST_FLOW_ERROR;
            if (sample) { // the client takes it over
                g_signal_emit_by_name(m_source, "push-backchannel-sample", static_cast<guint>(loudspeaker.load()),
                                      sample, &result);
            }
            taken += result == GST_FLOW_OK;
        }
        gst_object_unref(speech);
        return taken;
    }
    std::atomic<int> loudspeaker{-1}, others{0}, microphones{0};

private:
    GstElement* m_pipeline = nullptr;
    GstElement* m_source = nullptr;
};

} // namespace

TEST(BackChannel, AnIndependentClientIsHeard)
{
    RecorderProcess recorder;
    const std::string talk = recorder.http("/api/talk?channel=1");
    {
        Caller caller(recorder.rtsp(1, 0));
        ASSERT_TRUE(eventually([&] { return caller.loudspeaker >= 0 && caller.microphones > 0; }));
        EXPECT_EQ(caller.others, 1) << "the sound of the talk";
        ASSERT_TRUE(eventually([&] { return httpGet(talk).json()["talking"].asInt() == 1; }));
        EXPECT_EQ(caller.speak(50), 50);
        EXPECT_TRUE(eventually([&] { return httpGet(talk).json()["packets"].asInt() >= 49; }));
    }
    EXPECT_TRUE(eventually([&] { return httpGet(talk).json()["talking"].asInt() == 0; }));
    const Json::Value note = httpGet(talk).json();
    EXPECT_EQ(note["oddPackets"].asInt(), 0);
    EXPECT_EQ(httpGet(recorder.http("/api/talk/heard?channel=1")).body.size(), note["bytes"].asUInt64());
    EXPECT_EQ(httpGet(recorder.http("/api/talk?channel=0")).json()["packets"].asInt(), 0);
}

TEST(BackChannel, TwoWhoTalkAtOnceAreBothHeard)
{
    RecorderProcess recorder;
    const std::string talk = recorder.http("/api/talk?channel=1");
    Caller first(recorder.rtsp(1, 0)), second(recorder.rtsp(1, 0));
    for (Caller* caller : {&first, &second}) {
        ASSERT_TRUE(eventually([&] { return caller->loudspeaker >= 0 && caller->microphones > 0; }));
    }
    ASSERT_TRUE(eventually([&] { return httpGet(talk).json()["talking"].asInt() == 2; }));
    EXPECT_EQ(first.speak(20), 20);
    EXPECT_TRUE(eventually([&] { return httpGet(talk).json()["packets"].asInt() >= 19; }));
    EXPECT_EQ(second.speak(20), 20);
    EXPECT_TRUE(eventually([&] { return httpGet(talk).json()["packets"].asInt() >= 38; }));
    EXPECT_EQ(first.speak(20), 20) << "nobody's speech ends another's";
    EXPECT_TRUE(eventually([&] { return httpGet(talk).json()["packets"].asInt() >= 57; }));
}
