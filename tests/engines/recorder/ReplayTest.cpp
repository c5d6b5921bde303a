// Replay through independent clients: FFmpeg's, whose pictures are read back, GStreamer's, and a plain socket.
#include "DeviceZone.h"
#include "HttpClient.h"
#include "RecorderProcess.h"
#include "RtspReader.h"

#include <glib.h>
#include <gtest/gtest.h>

#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cstdlib>

using namespace lumo::recorder;

namespace
{

constexpr const char* kTenSeconds = "ratecontrol=no&begin=20250329T100003Z&end=20250329T100013Z";

/// One RTSP connection, request by request.
class RawClient
{
public:
    explicit RawClient(int port)
    {
        m_socket = socket(AF_INET, SOCK_STREAM, 0);
        sockaddr_in to{};
        to.sin_family = AF_INET;
        to.sin_port = htons(static_cast<uint16_t>(port));
        to.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        const timeval limit{10, 0};
        setsockopt(m_socket, SOL_SOCKET, SO_RCVTIMEO, &limit, sizeof(limit));
        EXPECT_EQ(connect(m_socket, reinterpret_cast<sockaddr*>(&to), sizeof(to)), 0);
        m_base = "rtsp://127.0.0.1:" + std::to_string(port) + "/replay/";
    }
    ~RawClient() { close(m_socket); }

    /// The answer's head; data between is passed over. tail: behind /replay/.
    std::string ask(const std::string& method, const std::string& tail, const std::string& headers = "")
    {
        std::string head = exchange(method, tail, headers);
        const auto nonce = head.find("nonce=\"");
        if (head.find(" 401 ") != std::string::npos && nonce != std::string::npos && m_nonce.empty()) {
            m_nonce = head.substr(nonce + 7, head.find('"', nonce + 7) - nonce - 7);
            head = exchange(method, tail, headers);
        }
        return head;
    }
    /// Packets of the first track until the other side says goodbye or sends no more.
    int countPackets()
    {
        int count = 0;
        for (;;) {
            const auto item = readItem();
            if (item.empty() || item[0] != '$' || item[1] == 1) {
                return count;
            }
            ++count;
        }
    }
    /// True once so many whole pictures of the first track are in (RFC 6184: the marker ends each).
    bool readPictures(int pictures)
    {
        while (pictures > 0) {
            const auto item = readItem();
            if (item.empty()) {
                return false;
            }
            pictures -= item[0] == '$' && item[1] == 0 && (item[5] & 0x80) != 0;
        }
        return true;
    }
    static std::string header(const std::string& head, const std::string& name)
    {
        const auto at = head.find("\r\n" + name + ": ");
        return at == std::string::npos
                   ? ""
                   : head.substr(at + name.size() + 4, head.find("\r\n", at + 2) - at - name.size() - 4);
    }

private:
    static std::string md5(const std::string& text)
    {
        gchar* sum = g_compute_checksum_for_string(G_CHECKSUM_MD5, text.c_str(), -1);
        std::string result = sum;
        g_free(sum);
        return result;
    }
    std::string exchange(const std::string& method, const std::string& tail, const std::string& headers)
    {
        std::string text = method + " " + m_base + tail + " RTSP/1.0\r\nCSeq: " + std::to_string(++m_sequence) + "\r\n";
        if (!m_nonce.empty()) {
            const std::string secret = md5("admin:Lumo Recorder:lumo");
            text += "Authorization: Digest username=\"admin\", realm=\"Lumo Recorder\", nonce=\"" + m_nonce +
                    "\", uri=\"" + m_base + tail + "\", response=\"" +
                    md5(secret + ":" + m_nonce + ":" + md5(method + ":" + m_base + tail)) + "\"\r\n";
        }
        text += headers + "\r\n";
        EXPECT_EQ(send(m_socket, text.data(), text.size(), MSG_NOSIGNAL), static_cast<ssize_t>(text.size()));
        std::string item;
        do {
            item = readItem();
        } while (!item.empty() && item[0] == '$');
        return item;
    }
    bool fill()
    {
        char buffer[65536];
        const ssize_t got = recv(m_socket, buffer, sizeof(buffer), 0);
        if (got > 0) {
            m_in.append(buffer, static_cast<size_t>(got));
        }
        return got > 0;
    }
    // A packet or a message, body included; empty when nothing comes.
    std::string readItem()
    {
        for (;;) {
            size_t size = 0;
            if (m_in.size() >= 4 && m_in[0] == '$') {
                size = 4 + (static_cast<size_t>(static_cast<uint8_t>(m_in[2])) << 8 | static_cast<uint8_t>(m_in[3]));
            } else if (const auto end = m_in.find("\r\n\r\n"); end != std::string::npos && m_in[0] != '$') {
                size =
                    end + 4 + static_cast<size_t>(std::atoi(header(m_in.substr(0, end + 2), "Content-Length").c_str()));
            }
            if (size > 0 && m_in.size() >= size) {
                const std::string item = m_in.substr(0, size);
                m_in.erase(0, size);
                return item;
            }
            if (!fill()) {
                return "";
            }
        }
    }

    int m_socket = -1, m_sequence = 0;
    std::string m_base, m_nonce, m_in;
};

class ReplayTest : public testing::Test
{
protected:
    RecorderProcess recorder{{"--recorded", "40", "--utc-offset", "0"}};
};

constexpr const char* kOverTcp = "Transport: RTP/AVP/TCP;unicast;interleaved=0-1\r\n";

bool answers(const std::string& head, int status)
{
    return head.rfind("RTSP/1.0 " + std::to_string(status) + " ", 0) == 0;
}

} // namespace

TEST_F(ReplayTest, EveryPictureOfTheSpanCarriesItsDateAndNumber)
{
    RtspReader reader(recorder.replay(1, kTenSeconds), "tcp");
    ASSERT_TRUE(reader.opened());
    EXPECT_EQ(reader.codec(), "h264");
    const auto pictures = reader.take(1000);
    ASSERT_EQ(pictures.size(), 275u) << "ten seconds, and one to the key picture before";
    EXPECT_EQ(reader.width(), 640);
    EXPECT_EQ(reader.height(), 360);
    const int64_t begin = (civilSeconds(2025, 3, 29, 10, 0, 0) - civilSeconds(2000, 1, 1, 0, 0, 0)) * 100;
    for (size_t i = 0; i < pictures.size(); ++i) {
        const int number = 50 + static_cast<int>(i);
        ASSERT_EQ(pictures[i].code, (lumo::PictureCode{1, number}));
        ASSERT_EQ(pictures[i].time, begin + number * 4);
        ASSERT_EQ(pictures[i].key, number % 50 == 0);
    }
}

TEST_F(ReplayTest, WithoutAskingForMoreItIsPacedFromTheFirstPictureOfAll)
{
    RtspReader reader(recorder.replay(0, ""), "tcp");
    ASSERT_TRUE(reader.opened());
    EXPECT_TRUE(reader.hasSound());
    reader.take(5);
    const auto pictures = reader.take(51);
    ASSERT_EQ(pictures.size(), 51u);
    EXPECT_NEAR(static_cast<double>(pictures.back().receivedUs - pictures.front().receivedUs) / 1e6, 2.0, 0.4);
    EXPECT_LT(pictures.back().code.frame, 120);
}

TEST_F(ReplayTest, TwoDaysFollowEachOtherAcrossTheGaps)
{
    RtspReader reader(recorder.replay(0, "ratecontrol=no&begin=20250329T100019Z&end=20250330T103001Z"), "tcp");
    ASSERT_TRUE(reader.opened());
    const auto pictures = reader.take(1000);
    ASSERT_EQ(pictures.size(), 50u + 250u + 25u);
    EXPECT_EQ(lumo::pictureTimeText(*pictures[49].time), "2025-03-29 10:00:19.96");
    EXPECT_EQ(lumo::pictureTimeText(*pictures[50].time), "2025-03-30 10:00:00.00");
    EXPECT_EQ(pictures[50].code.frame, 0) << "each stretch counts anew";
    EXPECT_EQ(lumo::pictureTimeText(*pictures[300].time), "2025-03-30 10:30:00.00");
}

TEST_F(ReplayTest, WrongPasswordAndUnknownChannelAreRefused)
{
    EXPECT_FALSE(RtspReader(recorder.replay(0, "", "admin:wrong"), "tcp").opened());
    EXPECT_FALSE(RtspReader(recorder.replay(2, ""), "tcp").opened()) << "there are two channels";
    EXPECT_TRUE(RtspReader(recorder.replay(0, "", "token:lumo-token"), "tcp").opened());
}

// As an ONVIF client, and as a plain one that turns the description's range into its own.
TEST_F(ReplayTest, ClientOfAnotherHandPlaysIt)
{
    if (std::system("gst-launch-1.0 --version > /dev/null 2>&1") != 0) {
        GTEST_SKIP() << "no gst-launch-1.0";
    }
    const std::string out = testing::TempDir() + "/replay-" + std::to_string(getpid()) + ".h264";
    for (const char* mode : {"onvif-mode=true", ""}) {
        const std::string command =
            "timeout 60 gst-launch-1.0 -q rtspsrc location='rtsp://127.0.0.1:" + std::to_string(recorder.replayPort()) +
            "/replay/1?begin=20250329T100000Z&end=20250329T100004Z' user-id=admin user-pw=lumo protocols=tcp " + mode +
            " ! rtph264depay ! video/x-h264,stream-format=byte-stream,alignment=au ! filesink location=" + out +
            " > /dev/null 2>&1";
        // Its exit code says nothing: it may ask for a pause behind its own TEARDOWN, and find nobody.
        EXPECT_NE(std::system(command.c_str()), -1);
        RtspReader reader(out, "tcp"); // a file to FFmpeg
        ASSERT_TRUE(reader.opened()) << mode;
        // As an ONVIF client this one loses the first packets, and with them what the first group needs.
        EXPECT_GE(reader.take(1000).size(), *mode ? 50u : 95u) << mode;
        unlink(out.c_str());
    }
}

TEST_F(ReplayTest, RequestsInTheWrongOrderOrForWhatItCannotAreRefused)
{
    RawClient client(recorder.replayPort());
    EXPECT_TRUE(answers(client.ask("OPTIONS", "0"), 200));
    EXPECT_TRUE(answers(client.ask("PLAY", "0"), 455));
    EXPECT_TRUE(answers(client.ask("DESCRIBE", "9"), 404));
    EXPECT_TRUE(answers(client.ask("DESCRIBE", "1"), 200));
    EXPECT_TRUE(answers(client.ask("SETUP", "1/video", "Transport: RTP/AVP;unicast;client_port=5000-5001\r\n"), 461));
    EXPECT_TRUE(answers(client.ask("SETUP", "1/video", std::string(kOverTcp) + "Require: something\r\n"), 551));
    EXPECT_TRUE(answers(client.ask("SETUP", "1/video", std::string(kOverTcp) + "Require: onvif-replay\r\n"), 200));
    EXPECT_TRUE(answers(client.ask("PLAY", "1", "Session: 1\r\n"), 454));
    for (const char* range : {"clock=20250329T120000Z-20250329T130000Z", "clock=20250329T100010Z-20250329T100010Z",
                              "clock=yesterday-", "smpte=0-"}) {
        EXPECT_TRUE(answers(client.ask("PLAY", "1", std::string("Range: ") + range + "\r\n"), 457)) << range;
    }
    EXPECT_TRUE(answers(client.ask("PLAY", "1", "Range: clock=20250329T100000Z-\r\nScale: -1\r\n"), 457));
    EXPECT_TRUE(answers(client.ask("TEARDOWN", "1"), 200));
}

TEST_F(ReplayTest, PlayAgainIsASeekOnTheSameSessionAndPauseHoldsIt)
{
    RawClient client(recorder.replayPort());
    ASSERT_TRUE(answers(client.ask("SETUP", "1/video", kOverTcp), 200));
    const std::string first =
        client.ask("PLAY", "1", "Require: onvif-replay\r\nRange: clock=20250329T100000Z-20250329T100020Z\r\n");
    ASSERT_TRUE(answers(first, 200)) << first;
    EXPECT_EQ(RawClient::header(first, "Rate-Control"), "yes");
    const std::string seek =
        client.ask("PLAY", "1", "Range: clock=20250329T100011Z-20250329T100012Z\r\nRate-Control: no\r\n");
    ASSERT_TRUE(answers(seek, 200));
    EXPECT_EQ(RawClient::header(seek, "Range"), "clock=20250329T100010Z-20250329T100012Z") << "from its key picture";
    EXPECT_GT(client.countPackets(), 50);
    const std::string slow =
        client.ask("PLAY", "1", "Range: clock=20250329T100000Z-20250329T100020Z\r\nScale: 0.5\r\n");
    EXPECT_EQ(RawClient::header(slow, "Scale"), "0.5");
    EXPECT_TRUE(answers(client.ask("PAUSE", "1"), 200));
    EXPECT_TRUE(answers(client.ask("GET_PARAMETER", "1"), 200));
    const std::string on = client.ask("PLAY", "1");
    EXPECT_EQ(RawClient::header(on, "Range").substr(0, 20), "clock=20250329T10000") << "where it stood: " << on;
}

// There is a key picture every two seconds. In real time the second before would last sixteen.
TEST_F(ReplayTest, PicturesBeforeTheAskedTimeAreNotPaced)
{
    RawClient client(recorder.replayPort());
    EXPECT_TRUE(answers(client.ask("SETUP", "1/video", kOverTcp), 200));
    const gint64 begun = g_get_monotonic_time();
    EXPECT_TRUE(answers(client.ask("PLAY", "1", "Range: clock=20250329T100003Z-\r\nScale: 0.0625\r\n"), 200));
    EXPECT_TRUE(client.readPictures(26));
    EXPECT_LT(g_get_monotonic_time() - begun, 8 * G_USEC_PER_SEC);
}

TEST_F(ReplayTest, KeyPicturesAlone)
{
    RawClient client(recorder.replayPort());
    ASSERT_TRUE(answers(client.ask("SETUP", "1/video", kOverTcp), 200));
    ASSERT_TRUE(answers(
        client.ask("PLAY", "1", "Range: clock=20250329T100000Z-20250329T100001Z\r\nRate-Control: no\r\n"), 200));
    const int all = client.countPackets();
    ASSERT_TRUE(answers(client.ask("PLAY", "1",
                                   "Range: clock=20250329T100000Z-20250329T100001Z\r\nRate-Control: no\r\n"
                                   "Frames: intra\r\n"),
                        200));
    const int keys = client.countPackets();
    EXPECT_GT(keys, 0);
    EXPECT_LE(keys, all - 24) << "at least a packet for each of the others";
}

TEST_F(ReplayTest, CutInTheMiddleItEndsAndNobodyElseIsServed)
{
    ASSERT_EQ(httpPost(recorder.http("/api/fault"), "{\"replay\":\"cut\",\"after\":30}").status, 200);
    EXPECT_LE(RtspReader(recorder.replay(1, kTenSeconds), "tcp").take(1000).size(), 30u);
    ASSERT_EQ(httpPost(recorder.http("/api/fault"), "{\"clear\":true}").status, 200);
    EXPECT_EQ(RtspReader(recorder.replay(1, kTenSeconds), "tcp").take(1000).size(), 275u);
    EXPECT_EQ(httpPost(recorder.http("/api/fault"), "{\"replay\":\"burn\"}").status, 400);
}
