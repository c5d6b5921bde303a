// A simulated recorder beside the test, where that was built.
#pragma once

#include "Child.h"
#include "Text.h"
#include "Viewer.h"

#include <algorithm>
#include <cstdlib>
#include <filesystem>

namespace lumo::net::test
{

inline constexpr int kStartMs = 120000; // it encodes its scenes first

inline std::string recorderPath()
{
    const char* told = std::getenv("LUMO_RECORDER");
    return told ? told : LUMO_RECORDER;
}

class Recorder : public NetTest
{
protected:
    void SetUp() override
    {
        if (!Child::exists(recorderPath()))
            GTEST_SKIP() << "no recorder at " << recorderPath();
        NetTest::SetUp();
        Timings& t = defaults().timings;
        t = Timings();
        t.openMs = t.requestMs = kLongMs; // scenes are encoded when first asked for
        t.retryMs = {20, 20, 20};
        m_serial = "NET" + std::to_string(std::rand()) + std::to_string(IoNow());
    }

    void start(const std::string& codec, const std::string& sub = "160x96", const std::vector<std::string>& more = {})
    {
        const auto cache = std::filesystem::temp_directory_path() / "lumo-net-tests-clips";
        std::vector<std::string> command{
            recorderPath(), "--http-port", "0",           "--rtsp-port", "0",       "--channels", "2",
            "--main",       "320x192",     "--sub",       sub,           "--codec", codec,        "--serial",
            m_serial,       "--cache",     cache.string()};
        command.insert(command.end(), more.begin(), more.end());
        m_child = std::make_unique<Child>(command);
        const std::string line = m_child->firstLine(kStartMs);
        m_http = numberIn(line, "\"http\":");
        m_rtsp = numberIn(line, "\"rtsp\":");
        ASSERT_GT(m_http, 0) << line;
        begin();
    }
    int enter(const std::string& tail = "") { return login("127.0.0.1" + tail, m_http); }

    /// The recorder's own HTTP call for tests.
    bool fault(const std::string& json) { return post("/api/fault", json); }
    bool post(const std::string& path, const std::string& json)
    {
        return ask("POST", path, json).find(" 200 ") != std::string::npos;
    }
    /// The whole answer; empty when there is none.
    std::string ask(const std::string& method, const std::string& path, const std::string& json = "")
    {
        Socket socket;
        PollSet poll;
        if (!socket.startConnect(resolveAddress("127.0.0.1", uint16_t(m_http))))
            return "";
        const size_t slot = poll.add(socket.handle(), false, true);
        poll.wait(kLongMs);
        const std::string text = method + " " + path + " HTTP/1.1\r\nHost: 127.0.0.1:" + std::to_string(m_http) +
                                 "\r\nContent-Type: application/json\r\nConnection: close\r\nContent-Length: " +
                                 std::to_string(json.size()) + "\r\n\r\n" + json;
        socket.send(text.data(), text.size());
        poll.set(slot, true, false);
        std::string answer;
        char part[4096];
        while (poll.wait(kLongMs)) { // it closes the connection behind its answer
            const IoResult r = socket.receive(part, sizeof part);
            if (r.state != Io::Done || r.size == 0)
                break;
            answer.append(part, r.size);
        }
        return answer;
    }

    static int numberIn(const std::string& text, const std::string& key)
    {
        const size_t at = text.find(key);
        return at == std::string::npos ? 0 : int(toNumber(std::string_view(text).substr(at + key.size()), 0));
    }
    static long long IoNow() { return std::chrono::steady_clock::now().time_since_epoch().count() % 1000000007; }
    static size_t videos(const std::vector<SeenFrame>& frames)
    {
        return size_t(
            std::count_if(frames.begin(), frames.end(), [](const SeenFrame& f) { return f.type != LUMO_FRAME_AUDIO; }));
    }
    static bool allSound(const std::vector<SeenFrame>& frames)
    {
        return std::all_of(frames.begin(), frames.end(), [](const SeenFrame& f) { return f.sound; });
    }

    /// Plays and waits for pictures; the first one must be a key frame of that size.
    void expectPictures(int login, int channel, int stream, VideoCodec codec, int width, int height)
    {
        Viewer v;
        const int h = play(login, v, channel, stream);
        ASSERT_GT(h, 0) << LUMONET_GetLastError();
        ASSERT_TRUE(v.waitFor([](const auto& f) { return videos(f) >= 12; }));
        EXPECT_EQ(LUMONET_StopRealPlay(h, 0), 1);
        const auto frames = v.frames();
        EXPECT_TRUE(allSound(frames));
        for (const auto& f : frames) {
            if (f.type == LUMO_FRAME_AUDIO)
                continue;
            EXPECT_EQ(f.type, LUMO_FRAME_VIDEO_I);
            EXPECT_EQ(f.video.codec, codec);
            EXPECT_EQ(f.width, width);
            EXPECT_EQ(f.height, height);
            break;
        }
    }

    std::string m_serial;
    int m_http = 0, m_rtsp = 0;
    std::unique_ptr<Child> m_child;
};

} // namespace lumo::net::test
