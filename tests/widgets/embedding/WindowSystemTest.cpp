// What the X11 back end tells about windows of another program.
#include "embedding/PlainBrowser.h"
#include "platform/Pen.h"

#include <QGuiApplication>
#include <QScreen>
#include <QTest>
#include <QWidget>
#include <gtest/gtest.h>

using namespace platform;

namespace
{
class WindowSystem : public testing::Test
{
protected:
    PlainBrowser browser;
    WindowHandle hWindow = browser.open(QString::fromUtf8("B\u00fcro - Page"), QRect(100, 100, 300, 200));

    static bool until(const std::function<bool()>& holds) { return QTest::qWaitFor(holds, 5000); }
};

constexpr WindowHandle kNobody = 0x1fffff;
} // namespace

TEST_F(WindowSystem, AWindowThatIsNoneAnswersLikeNo)
{
    for (const WindowHandle hWnd : {WindowHandle(0), kNobody, WindowHandle(0x100000000)}) {
        EXPECT_FALSE(isWindow(hWnd));
        EXPECT_FALSE(isVisible(hWnd));
        EXPECT_EQ(parentOf(hWnd), 0u);
        EXPECT_EQ(firstChildOf(hWnd), 0u);
        EXPECT_EQ(nextSiblingOf(hWnd), 0u);
        EXPECT_EQ(previousInZOrder(hWnd), 0u);
        EXPECT_TRUE(classNameOf(hWnd, 128).isEmpty());
        EXPECT_TRUE(titleBytesOf(hWnd, 128).isEmpty());
        EXPECT_TRUE(titleOf(hWnd, 128).isEmpty());
        EXPECT_EQ(mapPoint(hWnd, 0, QPoint(5, 5)), QPoint());
        EXPECT_FALSE(windowRect(hWnd).isValid());
        EXPECT_EQ(ownerOf(hWnd), 0u);
        EXPECT_EQ(windowContext(hWnd), 0u);
    }
}

TEST_F(WindowSystem, ChangesAskedOfNoWindowLeaveTheServerAnswering)
{
    moveWindow(kNobody, 1, 2, 3, 4);
    invalidate(kNobody);
    setParent(kNobody, hWindow);
    setOwner(kNobody, hWindow);
    insertAfter(kNobody, hWindow);
    setForegroundWindow(kNobody);
    bringToTop(kNobody);
    prepareFullScreen(kNobody);
    EXPECT_TRUE(isWindow(hWindow));
}

TEST_F(WindowSystem, PlacesBeyondTheProtocolsRangeAndSizesFarBeyondTheScreenAreHeldBack)
{
    QWidget widget;
    changeWindowFlags(widget, Qt::Tool | Qt::FramelessWindowHint | Qt::X11BypassWindowManagerHint);
    const auto hOwn = static_cast<WindowHandle>(widget.winId());
    moveWindow(hOwn, 70000, -2147483647 - 1, 2147483647, 65536);
    const QSize largest = (2 * QGuiApplication::primaryScreen()->size()).expandedTo(QSize(4096, 4096));
    EXPECT_EQ(windowRect(hOwn), QRect(QPoint(32767, -32767), largest));
    EXPECT_EQ(widget.geometry(), QRect(QPoint(32767, -32767), largest));
}

TEST_F(WindowSystem, TitlesComeAsBytesAndAsCharactersAndAreCutToTheirBuffers)
{
    EXPECT_EQ(titleOf(hWindow, 256), QString::fromUtf8("B\u00fcro - Page"));
    EXPECT_EQ(titleBytesOf(hWindow, 256), QByteArray("B\u00fcro - Page"));
    EXPECT_EQ(titleOf(hWindow, 5), QString::fromUtf8("B\u00fcro"));
    EXPECT_EQ(titleBytesOf(hWindow, 5), QByteArray("B\u00fcr"));
}

TEST_F(WindowSystem, BrowsersBearTheRenderWindowsClassAndOthersTheirOwn)
{
    for (const char* szClass : {"Chromium", "Google-chrome", "Microsoft-edge", "Brave-browser", "firefox"})
        EXPECT_EQ(classNameOf(browser.open("x", QRect(0, 0, 50, 50), szClass), 128), "Chrome_RenderWidgetHostHWND")
            << szClass;
    EXPECT_EQ(classNameOf(browser.open("x", QRect(0, 0, 50, 50), "XTerm"), 128), "XTerm");
}

TEST_F(WindowSystem, AFrameIsNobodysParent)
{
    // The window manager puts its frame around the window in its own time.
    ASSERT_TRUE(until([this] { return windowRect(hWindow).height() > 200; }));
    EXPECT_EQ(parentOf(hWindow), 0u);
    const QRect rcFrame = windowRect(hWindow);
    EXPECT_EQ(clientSize(hWindow), QSize(300, 200));
    EXPECT_TRUE(rcFrame.contains(browser.origin(hWindow)));
    EXPECT_EQ(mapPoint(hWindow, 0, QPoint(3, 4)), browser.origin(hWindow) + QPoint(3, 4));
}

TEST_F(WindowSystem, ATabIsFollowedOnlyWithinTheSameProgramAndByTheWholeTitle)
{
    const WindowHandle hOther = browser.open("Page two", QRect(200, 200, 300, 200));
    ASSERT_TRUE(until([=] { return followClient(hWindow, "two") == hOther; }));
    EXPECT_EQ(followClient(hWindow, "Page"), hWindow);
    EXPECT_EQ(followClient(hWindow, "three"), hWindow);
    EXPECT_EQ(followClient(kNobody, "two"), kNobody);
}

TEST_F(WindowSystem, TheForegroundIsTheActiveWindow)
{
    const WindowHandle hOther = browser.open("other", QRect(200, 200, 300, 200));
    setForegroundWindow(hWindow);
    EXPECT_TRUE(until([this] { return foregroundWindow() == hWindow; }));
    setForegroundWindow(hOther);
    EXPECT_TRUE(until([=] { return foregroundWindow() == hOther; }));
}

TEST_F(WindowSystem, APenDrawsOnAForeignWindow)
{
    const PenHandle hPen = createPen(3, 0x0000ff);
    const DrawContext hContext = windowContext(hWindow);
    ASSERT_NE(hContext, 0u);
    EXPECT_EQ(selectPen(hContext, hPen), 0u);
    moveTo(hContext, 10, 50);
    lineTo(hContext, 290, 50);
    lineTo(hContext, 290, 150);
    EXPECT_EQ(selectPen(hContext, 0), hPen);
    releaseContext(hContext);
    deletePen(hPen);
    EXPECT_TRUE(until([this] {
        const QImage screen = browser.screenshot();
        const QPoint pt = browser.origin(hWindow);
        return screen.pixelColor(pt + QPoint(150, 50)) == QColor(255, 0, 0) &&
               screen.pixelColor(pt + QPoint(290, 100)) == QColor(255, 0, 0) &&
               screen.pixelColor(pt + QPoint(150, 100)) == PlainBrowser::colour;
    }));
}

TEST_F(WindowSystem, AContextOutlivesItsWindow)
{
    const DrawContext hContext = windowContext(hWindow);
    browser.close(hWindow);
    moveTo(hContext, 0, 0);
    lineTo(hContext, 10, 10);
    releaseContext(hContext);
    EXPECT_FALSE(isWindow(hWindow));
}

TEST_F(WindowSystem, TheScreenTellsItsDpiAndThereIsNoWindowsVersion)
{
    EXPECT_EQ(screenDpi(), 96);
    EXPECT_EQ(windowsVersion(), 0);
}
