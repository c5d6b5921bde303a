// What the process holds on to while a file goes out and after it: Linux shows its open files.
#include "PlaybackFixture.h"

#include <atomic>
#include <filesystem>
#include <fstream>

using namespace lumo::net;
using namespace lumo::net::test;

namespace
{

bool isHeldOpen(const std::string& path)
{
    std::error_code gone; // a file that was closed while the list was read
    for (const auto& entry : std::filesystem::directory_iterator("/proc/self/fd"))
        if (std::filesystem::read_symlink(entry.path(), gone) == path)
            return true;
    return false;
}

class UploadFiles : public NetTest
{
};

} // namespace

TEST_F(UploadFiles, AreClosedAfterTheCallbackOfATransferThatNobodyCloses)
{
    TestFolder folder;
    const std::string path = folder.path("file.bin");
    std::ofstream(path) << "content";
    std::atomic<bool> held{false};
    std::atomic<int> ended{0};
    OnvifDevicePeer device;
    device.commandPath = "/cmd";
    device.onHttp = [&](const PeerRequest&) {
        held = isHeldOpen(path);
        return httpReply(200, "{\"Ret\":100}");
    };
    begin();
    const int l = login("127.0.0.1", device.port());
    ASSERT_GT(l, 0) << error;
    const auto onEnd = [](long, long, long, long, intptr_t user) { ++*reinterpret_cast<std::atomic<int>*>(user); };
    const int handle = LUMONET_SendFileDataToDevice(l, path.c_str(), onEnd, reinterpret_cast<intptr_t>(&ended));
    ASSERT_GT(handle, 0);
    ASSERT_TRUE(device.waitFor([&] { return ended == 1; }));
    EXPECT_TRUE(held) << "it is read while it goes out";
    EXPECT_TRUE(device.waitFor([&] { return !isHeldOpen(path); })) << "though the login goes on";
    EXPECT_EQ(LUMONET_CloseSendFile(handle, 1, 0, 0), 0);
    EXPECT_EQ(LUMONET_Logout(l), 1);
    EXPECT_EQ(ended, 1);
}
