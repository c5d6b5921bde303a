// Live streams against a device that plays a script: a login, a peer, and a viewer of what comes.
#pragma once

#include "Viewer.h"

#include <atomic>
#include <string>
#include <vector>

namespace lumo::net::test
{

class Live : public NetTest
{
protected:
    /// A login at the peer's plain RTSP address.
    int begun(const std::string& tail = "", const std::string& user = "", const std::string& password = "")
    {
        begin();
        const int handle = login(peer.url(tail), 0, user, password);
        EXPECT_GT(handle, 0) << error;
        return handle;
    }
    static bool inOrderFromKeyFrames(const std::vector<SeenFrame>& frames)
    {
        int expected = -1;
        for (const auto& f : frames) {
            if (!f.sound || (f.number != expected && !f.video.key))
                return false;
            expected = f.number + 1;
        }
        return !frames.empty() && frames.front().video.key;
    }
    std::atomic<bool> m_never{false}; // scripts read until the other side hangs up
    RtspPeer peer;
    Viewer viewer;
};

} // namespace lumo::net::test
