// Anything pushed into a port: harmless when nobody listens, bounded and survivable when somebody does.
#include "Player.h"

#include <fstream>
#include <random>

using namespace clip;

namespace
{

class InputTest : public ScreenTest
{
protected:
    std::mt19937 m_random{4711};

    Bytes noise(size_t size)
    {
        Bytes bytes(size);
        for (auto& b : bytes)
            b = uint8_t(m_random());
        return bytes;
    }
    static long residentKb()
    {
        std::ifstream status("/proc/self/status");
        for (std::string word; status >> word;)
            if (word == "VmRSS:") {
                long kb = 0;
                status >> kb;
                return kb;
            }
        return 0;
    }
    static bool drained(const Player& player)
    {
        return eventually([&] { return LUMODEC_GetSourceBufferRemain(player.port()) == 0; });
    }
    /// After whatever was done to it, the port shows the next sound picture.
    static testing::AssertionResult stillWorks(Player& player, const TestWindow& window)
    {
        return stillWorksWith(player, window, kGreen, {0, 255, 0})
                   ? testing::AssertionSuccess()
                   : testing::AssertionFailure() << "no picture any more";
    }
    static bool stillWorksWith(Player& player, const TestWindow& window, Yuv color, Rgb seen)
    {
        const auto key = solid({}, color).front().frame;
        return eventually([&] {
            player.feed(key);
            return window.shot().at(30, 20).near(seen, 10);
        });
    }
};

TEST_F(InputTest, PortThatIsClosedStoppedOrWasNeverOpenedIgnoresInput)
{
    const auto key = solid({}, kRed).front().frame;
    const auto push = [&](int port) { return LUMODEC_InputData(port, key.data(), int(key.size())); };
    const int port = Player::freePort();
    EXPECT_EQ(push(port), 0);
    const uint8_t header = 0;
    LUMODEC_OpenStream(port, &header, 1, 2048000);
    EXPECT_EQ(push(port), 0);
    EXPECT_EQ(LUMODEC_GetSourceBufferRemain(port), 0);
    LUMODEC_Play(port, 0);
    EXPECT_EQ(push(port), 1);
    LUMODEC_Stop(port);
    EXPECT_EQ(push(port), 0);
    LUMODEC_CloseStream(port);
    EXPECT_EQ(push(port), 0);
}

TEST_F(InputTest, FramesMayComeInPiecesOfAnySize)
{
    TestWindow window(320, 240);
    Spec spec;
    spec.frames = 10;
    Bytes all;
    for (const auto& unit : numbered(spec))
        all.insert(all.end(), unit.frame.begin(), unit.frame.end());
    for (const size_t piece : {size_t(1), size_t(7), size_t(1000), all.size()}) {
        Player player(window.id());
        for (size_t at = 0; at < all.size(); at += piece)
            LUMODEC_InputData(player.port(), all.data() + at, int(std::min(piece, all.size() - at)));
        EXPECT_TRUE(eventually([&] { return window.shot().number() == 9; })) << piece;
    }
}

TEST_F(InputTest, BareAnnexBIsTaken)
{
    for (const auto codec : {lumo::VideoCodec::H264, lumo::VideoCodec::H265}) {
        TestWindow window(320, 240);
        Spec spec;
        spec.codec = codec;
        spec.frames = 10;
        Bytes all;
        for (const auto& unit : numbered(spec))
            all.insert(all.end(), unit.payload.begin(), unit.payload.end());
        for (const size_t piece : {size_t(100), size_t(4096), all.size()}) {
            Player player(window.id());
            for (size_t at = 0; at < all.size(); at += piece)
                LUMODEC_InputData(player.port(), all.data() + at, int(std::min(piece, all.size() - at)));
            // The last picture is only known to be whole when the next begins.
            EXPECT_TRUE(eventually([&] { return window.shot().number() == 8; })) << window.shot().number();
        }
    }
}

TEST_F(InputTest, NoiseIsSurvivedAndDoesNotGrow)
{
    TestWindow window(64, 48);
    Player player(window.id());
    for (int i = 0; i < 50; ++i)
        player.feed(noise(20000));
    const long before = residentKb();
    for (int i = 0; i < 2000; ++i)
        player.feed(noise(20000));
    EXPECT_LT(residentKb() - before, 24 * 1024);
    EXPECT_TRUE(stillWorks(player, window));
}

TEST_F(InputTest, NoiseBehindSoundHeadersIsSurvivedAndDoesNotGrow)
{
    TestWindow window(64, 48);
    Player player(window.id());
    for (int i = 0; i < 400; ++i)
        player.feed(wrap(i % 10 == 0, lumo::VideoCodec(1 + i % 3), m_random(), noise(3000)));
    ASSERT_TRUE(drained(player));
    const long before = residentKb();
    for (int i = 0; i < 3000; ++i)
        player.feed(wrap(i % 10 == 0, lumo::VideoCodec(1 + i % 3), m_random(), noise(3000)));
    ASSERT_TRUE(drained(player));
    EXPECT_LT(residentKb() - before, 24 * 1024);
    EXPECT_TRUE(stillWorks(player, window));
}

TEST_F(InputTest, FlippedBitsInASoundStreamAreSurvived)
{
    TestWindow window(64, 48);
    Player player(window.id());
    for (const auto codec : {lumo::VideoCodec::H264, lumo::VideoCodec::H265, lumo::VideoCodec::Mjpeg}) {
        Spec spec;
        spec.codec = codec;
        spec.frames = 50;
        spec.keyEvery = 10;
        for (auto& unit : numbered(spec)) {
            for (int flips = 0; flips < 4; ++flips)
                unit.frame[m_random() % unit.frame.size()] ^= uint8_t(1 << m_random() % 8);
            player.feed(unit.frame);
        }
        EXPECT_TRUE(stillWorksWith(player, window, kRed, {255, 0, 0}));
        EXPECT_TRUE(stillWorks(player, window));
    }
}

TEST_F(InputTest, TruncatedFramesAreSurvived)
{
    TestWindow window(64, 48);
    Player player(window.id());
    Spec spec;
    spec.frames = 20;
    for (auto& unit : numbered(spec)) {
        unit.frame.resize(1 + m_random() % unit.frame.size());
        player.feed(unit.frame);
    }
    EXPECT_TRUE(stillWorks(player, window));
}

TEST_F(InputTest, HeaderThatClaimsMegabytesDoesNotSwallowTheStream)
{
    TestWindow window(64, 48);
    Player player(window.id());
    auto claim = wrap(true, lumo::VideoCodec::H264, 1, Bytes(100, 1));
    claim[12] = 0;
    claim[13] = 0;
    claim[14] = 0x7F; // 8.3 million bytes to come
    player.feed(claim);
    player.feed(solid({}, kGreen).front().frame);
    EXPECT_TRUE(shows(window, 30, 20, {0, 255, 0}));
}

TEST_F(InputTest, EmptyPayloadsAndSingleBytesAreSurvived)
{
    TestWindow window(64, 48);
    Player player(window.id());
    for (const auto codec : {lumo::VideoCodec::H264, lumo::VideoCodec::H265, lumo::VideoCodec::Mjpeg})
        for (size_t size = 0; size < 12; ++size)
            player.feed(wrap(true, codec, 5, Bytes(size, 0)));
    Bytes audio;
    lumo::appendAudioFrame(audio, {}, nullptr, 0);
    lumo::appendAudioFrame(audio, {lumo::AudioCodec::Aac, 8000, 0}, nullptr, 0);
    player.feed(audio);
    for (int b = 0; b < 256; ++b)
        player.feed(Bytes(1, uint8_t(b)));
    EXPECT_TRUE(stillWorks(player, window));
}

TEST_F(InputTest, AbsurdPictureSizesAreRefused)
{
    // A sound SPS of a 16384 by 16384 picture, baseline profile, and a slice that follows it.
    TestWindow window(64, 48);
    Player player(window.id());
    class Bits
    {
    public:
        void put(uint32_t value, int count)
        {
            for (int i = count - 1; i >= 0; --i)
                m_bits.push_back(value >> i & 1);
        }
        void ue(uint32_t value)
        {
            int length = 0;
            while ((value + 1) >> (length + 1))
                ++length;
            put(0, length);
            put(value + 1, length + 1);
        }
        Bytes bytes()
        {
            m_bits.push_back(1);
            Bytes out((m_bits.size() + 7) / 8, 0);
            for (size_t i = 0; i < m_bits.size(); ++i)
                out[i / 8] |= uint8_t(m_bits[i] << (7 - i % 8));
            return out;
        }

    private:
        std::vector<bool> m_bits;
    } sps;
    sps.put(66, 8);
    sps.put(0, 8);
    sps.put(62, 8);
    for (const uint32_t v : {0u, 0u, 2u, 1u})
        sps.ue(v);
    sps.put(0, 1);
    sps.ue(1023); // in macroblocks, less one
    sps.ue(1023);
    sps.put(0b1100, 4);
    Bytes payload = {0, 0, 0, 1, 0x67};
    for (const uint8_t b : sps.bytes())
        payload.push_back(b);
    const Bytes tail = {0, 0, 0, 1, 0x68, 0xCE, 0x38, 0x80, 0, 0, 0, 1, 0x65, 0x88, 0x84, 0x21, 0xA0};
    payload.insert(payload.end(), tail.begin(), tail.end());
    const long before = residentKb();
    for (int i = 0; i < 20; ++i)
        player.feed(wrap(true, lumo::VideoCodec::H264, 1, payload));
    ASSERT_TRUE(drained(player));
    EXPECT_TRUE(stillWorks(player, window));
    EXPECT_LT(residentKb() - before, 32 * 1024);
}

TEST_F(InputTest, TimesThatJumpDoNotStopThePicture)
{
    TestWindow window(320, 240);
    Player player(window.id());
    Spec spec;
    spec.frames = 30;
    int i = 0;
    for (const auto& unit : numbered(spec)) {
        const uint64_t times[] = {0, 1, UINT64_MAX, 1'700'000'000'000, uint64_t(1) << 63, 5000};
        player.feed(wrap(unit.key, lumo::VideoCodec::H264, times[i % 6], unit.payload));
        ASSERT_TRUE(eventually([&] { return window.shot().number() == i; })) << i;
        ++i;
    }
    EXPECT_EQ(LUMODEC_GetCurrentFrameTime(player.port()), 5);
}

} // namespace
