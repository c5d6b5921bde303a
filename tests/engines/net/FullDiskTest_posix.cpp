// A disk that fills up during a download: a small one made for the test. Who may not mount one runs the test again in
// a namespace of its own, where that is allowed.
#include "Child.h"
#include "ReplayPeer.h"
#include "Watcher.h"

#include <cstdlib>
#include <filesystem>
#include <sys/mount.h>
#include <sys/wait.h>
#include <unistd.h>

using namespace lumo::net;
using namespace lumo::net::test;

namespace
{

class FullDisk : public NetTest
{
};

/// A mounted file system of a few bytes, gone with this object.
class SmallDisk
{
public:
    explicit SmallDisk(const std::string& at) : m_at(at)
    {
        std::filesystem::create_directories(at);
        m_mounted = ::mount("small", at.c_str(), "tmpfs", 0, "size=16k") == 0;
    }
    ~SmallDisk()
    {
        if (m_mounted)
            ::umount2(m_at.c_str(), MNT_DETACH);
    }
    bool mounted() const { return m_mounted; }

private:
    std::string m_at;
    bool m_mounted = false;
};

} // namespace

TEST_F(FullDisk, DownloadThatFillsItEndsOnceAndLeavesNothing)
{
    TestFolder folder;
    const SmallDisk disk(folder.path("small"));
    if (!disk.mounted()) {
        if (std::getenv("LUMO_IN_NAMESPACE"))
            GTEST_SKIP() << "not run: no file system can be mounted here";
        const std::string self = std::filesystem::read_symlink("/proc/self/exe").string();
        const std::string command = "LUMO_IN_NAMESPACE=1 unshare --user --map-root-user --mount '" + self +
                                    "' --gtest_filter=FullDisk.* > '" + folder.path("log") + "' 2>&1";
        const int status = std::system(command.c_str());
        const Bytes log = contentOf(folder.path("log"));
        const std::string text(log.begin(), log.end());
        if (text.find("SKIPPED") != std::string::npos || text.find("unshare:") != std::string::npos)
            GTEST_SKIP() << "not run: no file system can be mounted here";
        EXPECT_EQ(WEXITSTATUS(status), 0) << text;
        return;
    }
    OnvifDevicePeer onvif;
    ReplayPeer peer;
    peer.padding = 2000; // 250 pictures do not fit
    offerReplay(onvif, peer);
    begin();
    const int l = login("127.0.0.1", onvif.port());
    ASSERT_GT(l, 0);
    PositionLog positions;
    const RecordFileInfo info = byName("rec_0/VIDEO001/20250329T090000Z-20250329T090010Z.h265x");
    const auto download = [&](const std::string& path) {
        return LUMONET_StartFileDownload(l, &info, path.c_str(), &PositionLog::onPosition, positions.user(), 0);
    };
    testing::internal::CaptureStderr();
    const int h = download(folder.path("small/x.h265x"));
    const bool ended = h > 0 && positions.waitForEnd();
    const std::string told = testing::internal::GetCapturedStderr();
    ASSERT_TRUE(ended);
    EXPECT_NE(told.find("LumoNet: download to " + folder.path("small/x.h265x") + " failed: No space left on device\n"),
              std::string::npos)
        << told;
    EXPECT_EQ(folder.all(), (std::vector<std::string>{"small"}));
    EXPECT_EQ(LUMONET_StopFileDownload(h), 1);
    // And the next command works.
    const size_t before = positions.entries().size();
    const int next = download(folder.path("y.h265x"));
    ASSERT_GT(next, 0);
    ASSERT_TRUE(positions.waitForCount(before + 2));
    ASSERT_TRUE(positions.waitForEnd());
    EXPECT_EQ(framesOf(contentOf(folder.path("y.h265x"))).size(), 250u);
    LUMONET_StopFileDownload(next);
}
