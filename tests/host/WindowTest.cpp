// The browser's window is found from the page's connection and handed to the process. The browser is this test.
#include <unistd.h>

#include <gtest/gtest.h>

#include <QCoreApplication>
#include <QJsonDocument>
#include <QJsonObject>

#include "HostRunner.h"
#include "TestWindow.h"
#include "WebClient.h"

using namespace lumo::test;

namespace
{

class HostWindow : public testing::Test
{
protected:
    /// The process's fourth argument for a page with this title.
    std::string windowFor(const std::string& title, bool v6 = false)
    {
        WebPage page(host_.port(), {"/?title=" + title, {}, {}, v6});
        const QJsonObject answer = QJsonDocument::fromJson(QByteArray::fromStdString(page.ask("args"))).object();
        return answer["args"].toVariant().toStringList().value(4).toStdString();
    }

    static std::string hex(uint32_t window) { return QString::number(window, 16).toStdString(); }

    const int64_t own_ = QCoreApplication::applicationPid();
    TestScreen screen_;
    HostRunner host_{{}, {"DISPLAY=" + screen_.display()}};
};

} // namespace

TEST_F(HostWindow, TheTitleChoosesAmongTheBrowsersWindows)
{
    const uint32_t first = screen_.makeWindow(own_, "Viewer 17 - Browser");
    const uint32_t second = screen_.makeWindow(own_, "Viewer 23 - Browser");
    screen_.makeWindow(1, "Viewer 17, but of another program");
    EXPECT_EQ(windowFor("Viewer%2017"), hex(first));
    EXPECT_EQ(windowFor("Viewer+23"), hex(second));
}

TEST_F(HostWindow, AWindowOfAParentProcessIsFound)
{
    const uint32_t window = screen_.makeWindow(getppid(), "Browser");
    EXPECT_EQ(windowFor("Viewer"), hex(window));
}

TEST_F(HostWindow, TheNearestProcessComesFirst)
{
    screen_.makeWindow(getppid(), "Terminal");
    const uint32_t window = screen_.makeWindow(own_, "Browser");
    EXPECT_EQ(windowFor(""), hex(window));
}

TEST_F(HostWindow, TheActiveWindowIsTakenWithoutATitle)
{
    const uint32_t first = screen_.makeWindow(own_, "One");
    const uint32_t second = screen_.makeWindow(own_, "Two");
    EXPECT_EQ(windowFor(""), "");
    screen_.focus(first);
    EXPECT_EQ(windowFor(""), hex(first));
    screen_.setActive(second);
    EXPECT_EQ(windowFor(""), hex(second));
}

TEST_F(HostWindow, TheWindowManagersListIsBelieved)
{
    const uint32_t frame = screen_.makeWindow(0, "");
    const uint32_t client = screen_.makeWindow(own_, "Viewer in a frame", frame);
    EXPECT_EQ(windowFor("Viewer"), hex(client)); // no list: the tree is walked
    const uint32_t listed = screen_.makeWindow(own_, "Viewer listed");
    screen_.setClientList({listed});
    EXPECT_EQ(windowFor("Viewer"), hex(listed));
}

TEST_F(HostWindow, ATitleThatComesALittleLaterIsWaitedFor)
{
    screen_.makeWindow(own_, "One");
    const uint32_t second = screen_.makeWindow(own_, "Two");
    WebPage page(host_.port(), {"/?title=Viewer", {}, {}, false});
    page.send("args");
    screen_.setTitle(second, "Viewer - Browser");
    const QJsonObject answer = QJsonDocument::fromJson(QByteArray::fromStdString(page.receive())).object();
    EXPECT_EQ(answer["args"].toVariant().toStringList().value(4).toStdString(), hex(second));
}

TEST_F(HostWindow, OtherProgramsWindowsAreNeverTaken)
{
    screen_.makeWindow(1, "Viewer");
    screen_.makeWindow(0, "Viewer");
    EXPECT_EQ(windowFor("Viewer"), "");
}
