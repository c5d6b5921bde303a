// Waiting for sockets: what a connection comes to is told, however it ends.
#include "Socket.h"

#include <gtest/gtest.h>

using namespace lumo::net;

namespace
{

constexpr int kLongMs = 20000;

class SocketTest : public testing::Test
{
protected:
    static void SetUpTestSuite() { initSockets(); }
    /// What became of a connection, once that is told.
    static bool connects(const Address& to)
    {
        Socket socket;
        EXPECT_TRUE(socket.startConnect(to));
        PollSet set;
        const size_t slot = set.add(socket.handle(), false, true);
        EXPECT_TRUE(set.wait(kLongMs));
        EXPECT_TRUE(set.writable(slot));
        return socket.connected();
    }
};

TEST_F(SocketTest, ARefusedConnectionIsToldWhileWaitingForIt)
{
    Socket listener;
    ASSERT_TRUE(listener.listen(resolveAddress("127.0.0.1", 0)));
    const Address nobody = listener.localAddress();
    listener.close();
    EXPECT_FALSE(connects(nobody));
}

TEST_F(SocketTest, AConnectionThatStandsIsTold)
{
    Socket listener;
    ASSERT_TRUE(listener.listen(resolveAddress("127.0.0.1", 0)));
    EXPECT_TRUE(connects(listener.localAddress()));
}

TEST_F(SocketTest, AWaitForNothingEndsWithItsTime)
{
    Socket socket;
    ASSERT_TRUE(socket.bindDatagram(resolveAddress("127.0.0.1", 0)));
    PollSet set;
    const size_t slot = set.add(socket.handle(), true, false);
    EXPECT_FALSE(set.wait(50));
    EXPECT_FALSE(set.readable(slot));
}

} // namespace
