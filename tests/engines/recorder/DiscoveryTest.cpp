// WS-Discovery on the loopback interface.
#include "Discovery.h"
#include "RecorderProcess.h"

#include <gtest/gtest.h>

#include <arpa/inet.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <chrono>

using namespace lumo::recorder;

namespace
{

std::string probe(const std::string& types = "", const std::string& scopes = "")
{
    return "<s:Envelope xmlns:s=\"http://www.w3.org/2003/05/soap-envelope\""
           " xmlns:a=\"http://schemas.xmlsoap.org/ws/2004/08/addressing\""
           " xmlns:d=\"http://schemas.xmlsoap.org/ws/2005/04/discovery\"><s:Header><a:MessageID>uuid:test-1</"
           "a:MessageID>"
           "<a:To>urn:schemas-xmlsoap-org:ws:2005:04:discovery</a:To>"
           "<a:Action>http://schemas.xmlsoap.org/ws/2005/04/discovery/Probe</a:Action></s:Header><s:Body><d:Probe>" +
           (types.empty() ? "" : "<d:Types>" + types + "</d:Types>") +
           (scopes.empty() ? "" : "<d:Scopes>" + scopes + "</d:Scopes>") + "</d:Probe></s:Body></s:Envelope>";
}

// Sends a probe to `address` and collects answers until each of `wanted` was found in one, for ten seconds at most.
bool allAnswer(const char* address, const std::vector<std::string>& wanted)
{
    const int fd = socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    in_addr loopback{htonl(INADDR_LOOPBACK)};
    setsockopt(fd, IPPROTO_IP, IP_MULTICAST_IF, &loopback, sizeof(loopback));
    sockaddr_in to{};
    to.sin_family = AF_INET;
    to.sin_port = htons(3702);
    inet_pton(AF_INET, address, &to.sin_addr);
    const std::string question = probe("dn:NetworkVideoTransmitter");
    std::vector<bool> found(wanted.size(), false);
    const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(10);
    size_t missing = wanted.size();
    while (missing > 0 && std::chrono::steady_clock::now() < end) {
        sendto(fd, question.data(), question.size(), 0, reinterpret_cast<sockaddr*>(&to), sizeof(to));
        pollfd waiting{fd, POLLIN, 0};
        while (missing > 0 && poll(&waiting, 1, 1000) == 1) {
            char buffer[16384];
            const ssize_t got = recv(fd, buffer, sizeof(buffer), 0);
            const std::string answer(buffer, got > 0 ? static_cast<size_t>(got) : 0);
            for (size_t i = 0; i < wanted.size(); ++i) {
                if (!found[i] && answer.find(wanted[i]) != std::string::npos &&
                    answer.find("uuid:test-1") != std::string::npos) {
                    found[i] = true;
                    --missing;
                }
            }
        }
    }
    close(fd);
    return missing == 0;
}

std::string unique(const char* name)
{
    return std::string(name) + std::to_string(getpid());
}

} // namespace

TEST(Discovery, SeveralRecordersAnswerOneProbeEachWithItsAddress)
{
    RecorderProcess one({"--serial", unique("ONE")}), two({"--serial", unique("TWO")});
    EXPECT_TRUE(allAnswer("239.255.255.250", {"onvif://www.onvif.org/serial/" + one.serial(),
                                              "onvif://www.onvif.org/serial/" + two.serial(),
                                              one.http("/onvif/device_service"), two.http("/onvif/device_service")}));
}

TEST(Discovery, AProbeSentToLoopbackItselfIsAnswered)
{
    RecorderProcess recorder({"--serial", unique("UNI")});
    EXPECT_TRUE(allAnswer("127.0.0.1", {"ProbeMatches"}));
}

TEST(Discovery, AnswersOnlyWhatAsksForSuchADevice)
{
    Options options;
    options.serial = "LUMO9";
    EXPECT_NE(answerProbe(probe(), options, 80), "");
    EXPECT_NE(answerProbe(probe("dn:NetworkVideoTransmitter"), options, 80), "");
    EXPECT_NE(answerProbe(probe("tds:Device"), options, 80), "");
    EXPECT_EQ(answerProbe(probe("dn:Printer"), options, 80), "");
    EXPECT_NE(answerProbe(probe("", "onvif://www.onvif.org/serial/LUMO9"), options, 80), "");
    EXPECT_NE(answerProbe(probe("", "onvif://www.onvif.org/serial"), options, 80), "");
    EXPECT_EQ(answerProbe(probe("", "onvif://www.onvif.org/serial/LUMO"), options, 80), "");
    EXPECT_EQ(answerProbe(probe("", "onvif://www.onvif.org/serial/OTHER"), options, 80), "");
    EXPECT_EQ(answerProbe("no xml", options, 80), "");
    EXPECT_EQ(answerProbe("<Envelope><Body><Hello/></Body></Envelope>", options, 80), "");
}

TEST(Discovery, AnswerIsRelatedToTheProbe)
{
    const std::string answer = answerProbe(probe(), Options(), 8080);
    EXPECT_NE(answer.find("<a:RelatesTo>uuid:test-1</a:RelatesTo>"), std::string::npos) << answer;
    EXPECT_NE(answer.find("<d:XAddrs>http://127.0.0.1:8080/onvif/device_service</d:XAddrs>"), std::string::npos)
        << answer;
}
