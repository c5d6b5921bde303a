// What strangers send does not harm who is served.
#include "HttpClient.h"
#include "RecorderProcess.h"
#include "RtspReader.h"

#include <gtest/gtest.h>

#include <arpa/inet.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <random>

namespace
{

class RawSocket
{
public:
    explicit RawSocket(int port) : m_fd(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0))
    {
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_port = htons(static_cast<uint16_t>(port));
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        m_connected = connect(m_fd, reinterpret_cast<sockaddr*>(&address), sizeof(address)) == 0;
    }
    ~RawSocket() { close(m_fd); }
    RawSocket(const RawSocket&) = delete;

    bool connected() const { return m_connected; }
    void send(const std::string& bytes) { (void)!::send(m_fd, bytes.data(), bytes.size(), MSG_NOSIGNAL); }
    std::string answer(int timeoutMs)
    {
        pollfd waiting{m_fd, POLLIN, 0};
        char buffer[4096];
        const ssize_t got = poll(&waiting, 1, timeoutMs) == 1 ? recv(m_fd, buffer, sizeof(buffer), 0) : 0;
        return got > 0 ? std::string(buffer, static_cast<size_t>(got)) : "";
    }

private:
    int m_fd;
    bool m_connected = false;
};

std::vector<std::string> garbage()
{
    std::mt19937 random(7);
    std::string noise(20000, '\0');
    for (char& c : noise) {
        c = static_cast<char>(random());
    }
    return {noise,
            std::string(100000, 'A'),
            "\r\n\r\n\r\n",
            "GET\r\n\r\n",
            "POST /onvif/device_service HTTP/1.1\r\nHost: x\r\nContent-Length: -5\r\n\r\n",
            "POST /api/fault HTTP/1.1\r\nHost: x\r\nContent-Length: 3\r\n\r\n{\"c",
            "DESCRIBE rtsp://x/live/0/0 RTSP/1.0\r\nCSeq: 99999999999999999999\r\nContent-Length: 4294967295\r\n\r\n",
            "SETUP /live/0/0/stream=0 RTSP/1.0\r\nCSeq: 1\r\nTransport: RTP/AVP/TCP;interleaved=-1--9\r\n\r\n",
            "PLAY rtsp://127.0.0.1/live/0/0 RTSP/1.0\r\nCSeq: 2\r\nSession: none\r\n\r\n",
            "$\x01\xff\xff" + std::string(70000, '\x80'),
            "OPTIONS * RTSP/9.9\r\nCSeq: x\r\n\r\n",
            "DESCRIBE rtsp://127.0.0.1/live/0/0 RTSP/1.0\r\nCSeq: 1\r\nAuthorization: Digest username=\r\n\r\n",
            "DESCRIBE rtsp://127.0.0.1/live/0/0 RTSP/1.0\r\nCSeq: 1\r\nAuthorization: Basic \xff\xff\r\n\r\n"};
}

void expectServing(const RecorderProcess& recorder)
{
    ASSERT_TRUE(recorder.alive());
    const Login login;
    EXPECT_EQ(soapCall(recorder.http("/onvif/device_service"), kDeviceInformation, &login).status, 200);
    RtspReader reader(recorder.rtsp(0, 1), "tcp");
    EXPECT_EQ(reader.take(5).size(), 5u);
}

} // namespace

TEST(Robustness, GarbageOnEitherPortHarmsNobody)
{
    RecorderProcess recorder;
    RtspReader playing(recorder.rtsp(1, 1), "tcp");
    ASSERT_TRUE(playing.next());
    for (const int port : {recorder.httpPort(), recorder.rtspPort()}) {
        for (const std::string& bytes : garbage()) {
            RawSocket socket(port);
            ASSERT_TRUE(socket.connected());
            socket.send(bytes);
            socket.answer(50);
            ASSERT_TRUE(recorder.alive()) << bytes.substr(0, 60);
        }
    }
    EXPECT_EQ(playing.take(50).size(), 50u);
    expectServing(recorder);
}

TEST(Robustness, HundredsOfIdleSocketsLeaveRoomForOneMore)
{
    RecorderProcess recorder;
    std::vector<std::unique_ptr<RawSocket>> sockets;
    for (int i = 0; i < 300; ++i) {
        sockets.push_back(std::make_unique<RawSocket>(i % 2 ? recorder.httpPort() : recorder.rtspPort()));
        ASSERT_TRUE(sockets.back()->connected()) << i;
    }
    expectServing(recorder);
}

TEST(Robustness, RtspAnswersAStrangerWithADigestChallenge)
{
    RecorderProcess recorder;
    RawSocket socket(recorder.rtspPort());
    socket.send("DESCRIBE rtsp://127.0.0.1/live/0/0 RTSP/1.0\r\nCSeq: 7\r\n\r\n");
    const std::string answer = socket.answer(10000);
    EXPECT_EQ(answer.rfind("RTSP/1.0 401", 0), 0u) << answer;
    EXPECT_NE(answer.find("WWW-Authenticate: Digest"), std::string::npos) << answer;
    EXPECT_NE(answer.find("realm=\"Lumo Recorder\""), std::string::npos) << answer;
    EXPECT_NE(answer.find("nonce="), std::string::npos) << answer;
}

TEST(Robustness, ClientsThatComeAndGoLeaveNothingBehind)
{
    RecorderProcess recorder;
    for (int i = 0; i < 15; ++i) {
        RtspReader reader(recorder.rtsp(i % 2, 1), i % 3 ? "tcp" : "udp");
        ASSERT_TRUE(reader.next()) << i;
    }
    // The last one's connection is taken down by its thread; wait for that fact.
    for (int i = 0; i < 100 && httpGet(recorder.http("/api/state")).json()["connections"].asInt() > 0; ++i) {
        httpGet(recorder.http("/api/state"));
    }
    EXPECT_EQ(httpGet(recorder.http("/api/state")).json()["connections"].asInt(), 0);
    expectServing(recorder);
}
