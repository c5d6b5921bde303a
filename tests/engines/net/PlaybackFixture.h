// Playback against a device that plays a script: a login, a viewer, and spans in seconds from the recording's begin.
#pragma once

#include "DeviceClock.h"
#include "ReplayPeer.h"
#include "Watcher.h"

#include <algorithm>
#include <chrono>

namespace lumo::net::test
{

class PlaybackTest : public NetTest
{
protected:
    void SetUp() override
    {
        NetTest::SetUp();
        offerReplay(onvif, peer);
    }
    void TearDown() override
    {
        viewer.release();
        NetTest::TearDown();
    }
    int begun()
    {
        begin();
        m_login = login("127.0.0.1", onvif.port());
        EXPECT_GT(m_login, 0) << error;
        return m_login;
    }
    /// Plays [from, to) of the recording, in seconds from its begin.
    int playSpan(int from, int to)
    {
        const auto at = [](int seconds) {
            char text[40];
            std::snprintf(text, sizeof text, "2025-03-29 09:%02d:%02d", seconds / 60, seconds % 60);
            return std::string(text);
        };
        const RecordTimeInfo info = byTime(at(from), at(to));
        return LUMONET_PlayBackByTimeEx(m_login, &info, &Viewer::onData, viewer.user(), &PositionLog::onPosition,
                                        positions.user());
    }
    static bool shown(const SeenFrame& f) { return (f.video.flags & kFlagDecodeOnly) == 0; }
    static int firstShown(const std::vector<SeenFrame>& frames)
    {
        const auto found = std::find_if(frames.begin(), frames.end(), shown);
        return found == frames.end() ? -1 : found->number;
    }
    static std::vector<SeenFrame> sinceLastJump(std::vector<SeenFrame> frames)
    {
        size_t begin = 0;
        for (size_t i = 1; i < frames.size(); ++i)
            if (frames[i].number != frames[i - 1].number + 1)
                begin = i;
        frames.erase(frames.begin(), frames.begin() + ptrdiff_t(begin));
        return frames;
    }
    static bool inOrder(const std::vector<SeenFrame>& frames)
    {
        for (size_t i = 1; i < frames.size(); ++i)
            if (frames[i].number != frames[i - 1].number + 1)
                return false;
        return !frames.empty() && frames.front().video.key;
    }
    template <typename F> static int64_t tookMs(F&& f)
    {
        const auto before = std::chrono::steady_clock::now();
        f();
        return std::chrono::duration_cast<std::chrono::milliseconds>(std::chrono::steady_clock::now() - before).count();
    }
    PeerRequest lastPlay() const
    {
        PeerRequest last;
        for (const auto& r : peer.requests())
            if (r.method == "PLAY")
                last = r;
        return last;
    }

    OnvifDevicePeer onvif;
    ReplayPeer peer;
    Viewer viewer;
    PositionLog positions{&viewer};
    int m_login = 0;
};

} // namespace lumo::net::test
