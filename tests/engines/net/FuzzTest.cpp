// Every parser takes any bytes. Seeds are sound inputs, changed at random but the same way in each run; a sanitizer
// build is what makes these runs tell. LUMO_FUZZ_ROUNDS asks for more than the short default.
#include "AlarmBook.h"
#include "Bytes.h"
#include "Depacketizer.h"
#include "Digest.h"
#include "Discovery.h"
#include "EventPeer.h"
#include "Onvif.h"
#include "RecordedName.h"
#include "RtspMessage.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <random>

using namespace lumo::net;
using namespace lumo::net::test;

namespace
{

int rounds()
{
    const char* text = std::getenv("LUMO_FUZZ_ROUNDS");
    return text ? std::atoi(text) : 3000;
}

class Mutator
{
public:
    explicit Mutator(unsigned seed) : m_random(seed) {}
    size_t below(size_t n) { return n == 0 ? 0 : m_random() % n; }
    Bytes change(Bytes b)
    {
        for (size_t n = 1 + below(6); n > 0; --n) {
            switch (below(5)) {
            case 0:
                if (!b.empty())
                    b[below(b.size())] = uint8_t(m_random());
                break;
            case 1:
                b.resize(below(b.size() + 1));
                break;
            case 2:
                b.insert(b.begin() + ptrdiff_t(below(b.size() + 1)), uint8_t(below(4) ? 0xFF : m_random()));
                break;
            case 3:
                if (!b.empty())
                    b[below(b.size())] ^= uint8_t(1u << below(8));
                break;
            default:
                if (const size_t at = below(b.size() + 1); at < b.size())
                    b.insert(b.end(), b.begin() + ptrdiff_t(at), b.end());
                break;
            }
            if (b.size() > 4096)
                b.resize(4096);
        }
        return b;
    }

private:
    std::mt19937 m_random;
};

Bytes bytesOf(std::string_view s)
{
    return Bytes(s.begin(), s.end());
}
std::string_view textOf(const Bytes& b)
{
    return {reinterpret_cast<const char*>(b.data()), b.size()};
}

template <typename F> void fuzz(const std::vector<Bytes>& seeds, F&& f)
{
    Mutator mutator(1);
    for (int i = 0; i < rounds(); ++i)
        f(mutator.change(seeds[size_t(i) % seeds.size()]));
}

void fuzzDepacketizer(const std::string& sdp, const std::vector<Bytes>& seeds)
{
    const Sdp parsed = parseSdp(sdp);
    size_t frames = 0;
    bool inBounds = true;
    auto d = makeDepacketizer(parsed.media.at(0), [&](const MediaFrame& f) {
        ++frames;
        inBounds = inBounds && f.size > 0 && f.size <= Depacketizer::kMaxFrame && (!f.video || f.data);
    });
    Mutator mutator(2);
    for (int i = 0; i < rounds(); ++i) {
        const Bytes payload =
            i % 8 ? mutator.change(seeds[size_t(i) % seeds.size()]) : seeds[size_t(i / 8) % seeds.size()];
        RtpPacket p;
        p.timestamp = uint32_t(i / 3);
        p.marker = mutator.below(3) == 0;
        p.payload = payload.data();
        p.size = payload.size();
        d->push(p, mutator.below(50) == 0);
    }
    EXPECT_TRUE(inBounds);
    EXPECT_GT(frames, 0u) << "the seeds themselves should make frames";
}

} // namespace

TEST(Fuzz, NamesZonesAndTimesOfRecordings)
{
    fuzz({bytesOf("rec_0/VIDEO001/20250329T090000Z-20250329T091500Z.h265x"), bytesOf("rec_0/20250329T090000Z.jpg")},
         [](const Bytes& b) {
             const auto name = parseRecordedName(textOf(b));
             EXPECT_TRUE(!name || (!name->recording.empty() && name->beginMs <= name->endMs));
         });
    fuzz({bytesOf("CET-1CEST,M3.5.0,M10.5.0/3"), bytesOf("<+0530>-5:30"), bytesOf("AAA0BBB-2,J60/0,J300/0")},
         [](const Bytes& b) {
             const auto zone = PosixZone::parse(textOf(b));
             for (const int64_t at : {0LL, 1743238800LL, 4102444800LL})
                 EXPECT_LE(zone ? std::abs(zone->offsetAt(at)) : 0, 27 * 3600);
         });
    fuzz({bytesOf("2025-03-29T09:00:00.5+01:00"), bytesOf("2025-03-29T09:00:00Z")}, [](const Bytes& b) {
        int64_t ms = 0;
        parseIsoTime(textOf(b), ms);
    });
}

TEST(Fuzz, SearchResultsAndReplayPackets)
{
    fuzz({bytesOf("<e><SearchState>Searching</SearchState><RecordingInformation><RecordingToken>r</RecordingToken>"
                  "<Source><SourceId>s</SourceId></Source><EarliestRecording>2025-03-29T09:00:00Z</EarliestRecording>"
                  "</RecordingInformation></e>")},
         [](const Bytes& b) {
             bool completed = false;
             for (const auto& r : parseRecordings(textOf(b), completed))
                 EXPECT_FALSE(r.token.empty());
         });
    fuzz({hex("90e00001000000000000 1234abac0003eb920000800000008000000065888401")}, [](const Bytes& b) {
        if (const auto packet = parseRtp(b.data(), b.size()))
            replayTimeOf(*packet);
    });
}

TEST(Fuzz, ParameterSets)
{
    fuzz({kSps1080, kSps265, hex("6742c01ed900a02fea6c0440000003004000000f03c58b92")}, [](const Bytes& b) {
        parseH264Sps(b.data(), b.size());
        parseH265Sps(b.data(), b.size());
    });
}

TEST(Fuzz, RtpPackets)
{
    Mutator mutator(3);
    size_t delivered = 0;
    ReorderBuffer order(50, [&](const RtpPacket&, bool) { ++delivered; });
    for (int i = 0; i < rounds(); ++i) {
        const Bytes b = mutator.change(rtp(uint16_t(i), uint32_t(i), false, {1, 2, 3}));
        hasRtcpBye(b.data(), b.size());
        if (const auto p = parseRtp(b.data(), b.size()))
            order.push(*p, i);
        ASSERT_LE(order.held(), 128u);
    }
    EXPECT_GT(delivered, 0u);
}

TEST(Fuzz, RtspItems)
{
    fuzz({bytesOf("RTSP/1.0 200 OK\r\nCSeq: 1\r\nContent-Length: 5\r\nWWW-Authenticate: Digest realm=\"r\", "
                  "nonce=\"n\"\r\n\r\nhello"),
          bytesOf(std::string_view("$\0\0\4abcd$\1\0\1x", 13)), bytesOf("OPTIONS * RTSP/1.0\r\nCSeq: 2\r\n\r\n")},
         [](const Bytes& b) {
             for (size_t at = 0; at < b.size();) {
                 const RtspItem item = nextRtspItem(b.data() + at, b.size() - at);
                 if (item.kind == RtspItem::Kind::NeedMore || item.kind == RtspItem::Kind::Bad)
                     break;
                 ASSERT_GT(item.used, 0u);
                 ASSERT_LE(item.used, b.size() - at);
                 bestChallenge(item.message.headersNamed("WWW-Authenticate"));
                 at += item.used;
             }
         });
}

TEST(Fuzz, AddressesAndDescriptions)
{
    fuzz({bytesOf("rtsp://u:p%40@[::1]:8554/a?transport=udp&x"), bytesOf("rtsp://10.0.0.1/live/0/0"),
          bytesOf("m=video 0 RTP/AVP 96\r\na=rtpmap:96 H264/90000\r\na=fmtp:96 sprop-parameter-sets=Z2QAKKzZ,aOvj\r\n"),
          bytesOf(
              "m=audio 0 RTP/AVP 97\r\na=rtpmap:97 MPEG4-GENERIC/16000/1\r\na=fmtp:97 mode=AAC-hbr;config=1408\r\n")},
         [](const Bytes& b) {
             parseRtspUrl(textOf(b));
             withHost(std::string(textOf(b)), "h");
             for (const auto& media : parseSdp(textOf(b)).media)
                 makeDepacketizer(media, [](const MediaFrame&) {});
         });
}

TEST(Fuzz, OnvifTexts)
{
    fuzz(
        {bytesOf("<e><b><r><SystemDateAndTime><TimeZone><TZ>CET-1</TZ></TimeZone><UTCDateTime><Time><Hour>1</Hour>"
                 "<Minute>2</Minute><Second>3</Second></Time><Date><Year>2026</Year><Month>1</Month><Day>1</Day></Date>"
                 "</UTCDateTime></SystemDateAndTime></r></b></e>"),
         bytesOf(
             "<Profiles token=\"a\"><VideoSourceConfiguration><SourceToken>s</SourceToken></VideoSourceConfiguration>"
             "<VideoEncoderConfiguration><Resolution><Width>1</Width><Height>2</Height></Resolution>"
             "</VideoEncoderConfiguration></Profiles>"),
         bytesOf("<e:Envelope><e:Body><e:Fault><Value>x</Value></e:Fault></e:Body></e:Envelope>"),
         bytesOf("<d:ProbeMatch><d:Scopes>a/b c/d</d:Scopes><d:XAddrs>http://h:80/x</d:XAddrs></d:ProbeMatch>")},
        [](const Bytes& b) {
            DeviceClock clock;
            if (parseClock(textOf(b), 0, clock))
                shownTimeMs(clock, 1767225600000);
            parseChannels(textOf(b), textOf(b));
            errorOfFault(textOf(b));
            parseProbeMatches(textOf(b), "h");
            int y, m, d;
            findDate(textOf(b), y, m, d);
        });
}

TEST(Fuzz, EventMessages)
{
    const AlarmSources sources{{{"s0", 0}}, {{"in_a", 0}}};
    const auto bodyOf = [](const std::string& messages) {
        const std::string reply = pullAnswer(messages);
        return reply.substr(reply.find('<'));
    };
    AlarmBook book;
    int64_t now = 0;
    fuzz({bytesOf(bodyOf(eventXml({"tns1:VideoSource/MotionAlarm", "s0"}) +
                         eventXml({"tns1:RuleEngine/LineDetector/Crossed", "s0", "ObjectId", "7"}))),
          bytesOf(bodyOf(eventXml({"tns1:RuleEngine/ObjectDetection/Object", "s0", "ClassTypes", "Human Face"}))),
          bytesOf("<PullMessagesResponse>" + eventXml({"tns1:Device/Trigger/DigitalInput", "in_a", "State", "0"}) +
                  "</PullMessagesResponse>")},
         [&](const Bytes& b) {
             int events = 0;
             std::vector<AlarmNotice> notices;
             parseEvents(textOf(b), sources, events, notices);
             std::vector<LumoAlarmMessage> messages;
             for (const AlarmNotice& notice : notices) {
                 EXPECT_GT(notice.event, 0);
                 EXPECT_TRUE(notice.channel == 0 || notice.channel == -1);
                 book.take(notice, ++now, messages);
             }
             EXPECT_LE(messages.size(), notices.size());
             EXPECT_LE(book.keys(), AlarmBook::kMaxKeys);
         });
    fuzz({bytesOf("VideoSource/MotionAlarm"), bytesOf("tns1:RuleEngine/x:Own/PeopleDetect")},
         [](const Bytes& b) { EXPECT_GE(eventOfTopic(textOf(b)), 0); });
    fuzz({bytesOf("<R xmlns:z='z'><SubscriptionReference><Address>http://h:1/s</Address><ReferenceParameters><z:Id>1"
                  "</z:Id></ReferenceParameters></SubscriptionReference><CurrentTime>2020-01-01T00:00:00Z</CurrentTime>"
                  "<TerminationTime>2020-01-01T00:00:30Z</TerminationTime></R>")},
         [](const Bytes& b) {
             OnvifPullPoint point;
             if (parsePullPoint(textOf(b), 60000, point)) {
                 EXPECT_TRUE(point.path.starts_with('/'));
                 EXPECT_GE(point.lifeMs, 2000);
                 EXPECT_LE(point.lifeMs, 60000);
             }
         });
}

TEST(Fuzz, H264Packets)
{
    fuzzDepacketizer("m=video 0 RTP/AVP 96\r\na=rtpmap:96 H264/90000\r\n",
                     {kSps1080, kPps, kIdr, kSlice, {0x7C, 0x85, 1, 2}, {0x7C, 0x45, 1, 2}, {24, 0, 2, 0x65, 0x88}});
}

TEST(Fuzz, H265Packets)
{
    fuzzDepacketizer(
        "m=video 0 RTP/AVP 96\r\na=rtpmap:96 H265/90000\r\n",
        {kVps265, kSps265, kPps265, kIdr265, kSlice265, {0x62, 1, 0x93, 1}, {0x60, 1, 0, 3, 0x26, 1, 0xAF}});
}

TEST(Fuzz, JpegPackets)
{
    fuzzDepacketizer("m=video 0 RTP/AVP 26\r\n",
                     {{0, 0, 0, 0, 1, 50, 80, 45, 1, 2},
                      {0, 0, 0, 2, 1, 50, 80, 45, 1, 2},
                      joined({{0, 0, 0, 0, 65, 255, 80, 45, 0, 4, 0xFF, 0xFF, 0, 0, 0, 128}, Bytes(128, 9), {1}})});
}

TEST(Fuzz, AudioPackets)
{
    fuzzDepacketizer("m=audio 0 RTP/AVP 0\r\n", {{1, 2, 3}});
    fuzzDepacketizer(
        "m=audio 0 RTP/AVP 97\r\na=rtpmap:97 MPEG4-GENERIC/16000/1\r\na=fmtp:97 mode=AAC-hbr;config=1408\r\n",
        {hex("0020 0018 0010 0102030405"), hex("0010 0028 010203")});
}
