// What a single picture back costs: the frames that it takes out of the recording, and so decodes.
#include "FileReader.h"
#include "FileSource.h"
#include "PlaySession.h"
#include "Recordings.h"

#include <cmath>

using lumo::MediaSource;

namespace
{

constexpr int kFrames = 100;
constexpr int kGroup = 25; // pictures from key frame to key frame

/// A file that counts what is taken out of it.
class CountedFile final : public MediaSource
{
public:
    CountedFile(const std::string& path, std::atomic<int>& taken)
        : m_file(path, lumo::openFileReader(path)), m_taken(taken)
    {
        m_file.onNews([this] {
            if (m_news)
                m_news();
        });
    }
    Got next(lumo::Packet& packet) override
    {
        const Got got = m_file.next(packet);
        m_taken += got == Got::Frame && packet.video;
        return got;
    }
    std::optional<lumo::Packet> soundAhead(int64_t untilMs) override { return m_file.soundAhead(untilMs); }
    void complete(lumo::Picture& picture) override { m_file.complete(picture); }
    std::optional<int64_t> keyFor(int64_t order) override { return m_file.keyFor(order); }
    int64_t orderOf(int64_t serial) override { return m_file.orderOf(serial); }
    bool rewind(int64_t serial) override { return m_file.rewind(serial); }
    std::optional<int64_t> orderAt(double fraction) override { return m_file.orderAt(fraction); }
    double fractionOf(const lumo::Picture& picture) override { return m_file.fractionOf(picture); }
    int64_t beginMs() const override { return m_file.beginMs(); }
    void stop() override { m_file.stop(); }

private:
    lumo::FileSource m_file;
    std::atomic<int>& m_taken;
};

class StepCostTest : public ScreenTest
{
protected:
    /// Steps back from the last picture to the first, in a file whose pictures are shown in another order or not.
    void stepsBack(int bFrames)
    {
        clip::Spec spec;
        spec.frames = kFrames;
        spec.keyEvery = kGroup;
        spec.bFrames = bFrames;
        const std::string path = m_folder / "clip.h265x";
        recordings::writeFile(path, recordings::joined(clip::numbered(spec)));
        std::atomic<int> taken{0};
        lumo::PortSettings settings;
        lumo::SoundSlot sound;
        lumo::PlaySession session({}, std::make_unique<CountedFile>(path, taken), settings, sound);
        const auto stands = [&](int number) {
            return eventually([&] { return std::lround(session.position() * kFrames) == number; });
        };
        session.pause(true);
        session.seek(1.0);
        ASSERT_TRUE(stands(kFrames - 1));
        int most = 0;
        for (int number = kFrames - 2; number >= 0; --number) {
            taken = 0;
            session.step(-1);
            ASSERT_TRUE(stands(number));
            // A group, and the few behind it that the decoder's threads hold when its end is seen: never a second one.
            EXPECT_LT(taken, 2 * kGroup) << "back to picture " << number;
            most = std::max(most, taken.load());
        }
        EXPECT_GT(most, 0) << "something had to be decoded again";
    }
    TempFolder m_folder;
};

} // namespace

TEST_F(StepCostTest, PictureBackDecodesNoSecondGroup)
{
    stepsBack(0);
}

TEST_F(StepCostTest, PictureBackDecodesNoSecondGroupInAnotherOrder)
{
    stepsBack(2);
}
