// The surface in another program's window: painted over the page at the right place, moving along, hiding with the
// tab, living on when the browser goes.
#include "embedding/PlainBrowser.h"
#include "support/LogCapture.h"
#include "surface/PlayWidget.h"

#include <QAbstractEventDispatcher>
#include <QApplication>
#include <QFrame>
#include <QScreen>
#include <QTest>
#include <QWindow>
#include <gtest/gtest.h>
#include <memory>

using namespace platform;

namespace
{
constexpr char kPageTitle[] = "Web Viewer 7";
constexpr char kWindowTitle[] = "Web Viewer 7 - Chromium";
const PluginRegion kRegion{40, 60, 320, 240};
const QColor kCell(0, 0, 0);

/// Counts an object's timer events from now on.
class TimerWatch : public QObject
{
public:
    explicit TimerWatch(QObject& watched) { watched.installEventFilter(this); }
    int count = 0;

private:
    bool eventFilter(QObject*, QEvent* event) override
    {
        count += event->type() == QEvent::Timer;
        return false;
    }
};

class SurfaceInBrowser : public testing::Test
{
protected:
    SurfaceInBrowser() : browser(std::make_unique<PlainBrowser>())
    {
        hWindow = browser->open(kWindowTitle, QRect(200, 150, 640, 480));
        browser->activate(hWindow);
        EXPECT_TRUE(until([this] { return foregroundWindow() == hWindow; }));
    }
    ~SurfaceInBrowser() override { PlayWidget::ReleaseInstance(); }

    static PlayWidget& surface() { return *PlayWidget::Instance(); }
    static bool until(const std::function<bool()>& holds) { return QTest::qWaitFor(holds, 10000); }

    void login()
    {
        const WindowHandle hClient = surface().ErgodicAllChild(hWindow, 2, 0);
        surface().BindBrowser(hWindow, hClient, kPageTitle, 2);
        surface().SetPageIndex(0);
        surface().ChangeSplit(0);
    }

    void showAt(const PluginRegion& rc) { surface().onWidgetStatuChange(2, rc); }

    /// One cell fills the surface, black inside its border.
    bool standsAt(QPoint ptScreen, const PluginRegion& rc)
    {
        const QImage screen = browser->screenshot();
        const QRect rcSurface(ptScreen + QPoint(rc.left, rc.top), QSize(rc.width, rc.height));
        const auto black = [&](QPoint pt) { return screen.pixelColor(pt) == kCell; };
        const auto page = [&](QPoint pt) { return screen.pixelColor(pt) == PlainBrowser::colour; };
        return black(rcSurface.center()) && black(rcSurface.topLeft() + QPoint(3, 3)) &&
               black(rcSurface.bottomRight() - QPoint(3, 3)) && page(rcSurface.topLeft() - QPoint(2, 2)) &&
               page(rcSurface.bottomRight() + QPoint(3, 3));
    }

    bool standsInPage() { return standsAt(browser->origin(hWindow), kRegion); }
    bool isGoneFromPage()
    {
        const QPoint pt = browser->origin(hWindow) + QPoint(kRegion.left + 100, kRegion.top + 100);
        return browser->screenshot().pixelColor(pt) == PlainBrowser::colour;
    }

    std::unique_ptr<PlainBrowser> browser;
    WindowHandle hWindow = 0;
    LogCapture log;
};
} // namespace

TEST_F(SurfaceInBrowser, TheTopLevelWindowIsReportedAsTheRenderWindow)
{
    EXPECT_EQ(surface().ErgodicAllChild(hWindow, 2, 0), hWindow);
    EXPECT_EQ(log.of("PlayWidget::ErgodicAllChild"),
              QStringList(QString("class name:Chrome_RenderWidgetHostHWND,class handle:%1 wndName:%2 BrowseType:2")
                              .arg(hWindow)
                              .arg(kWindowTitle)));
    EXPECT_EQ(surface().ErgodicAllChild(hWindow, 0, 0), 0u);
    EXPECT_EQ(parentOf(hWindow), 0u);
}

TEST_F(SurfaceInBrowser, PaintsOverThePageAtItsRectangle)
{
    login();
    showAt(kRegion);
    EXPECT_TRUE(until([this] { return standsInPage(); }));
    EXPECT_EQ(parentOf(surface().winId()), hWindow);
}

// Found by reading: the looks at the browser put it back to the page's own numbers, which the protocol cuts to 16 bits.
TEST_F(SurfaceInBrowser, ARectangleFarBeyondTheScreenIsHeldBackForGood)
{
    login();
    showAt({40000, 10, 6000, 100});
    ASSERT_TRUE(until([] { return surface().isVisible(); }));
    const TimerWatch ticks(surface());
    ASSERT_TRUE(until([&] { return ticks.count >= 3; }));
    const QSize largest = (2 * QApplication::primaryScreen()->size()).expandedTo(QSize(4096, 4096));
    EXPECT_EQ(clientSize(surface().winId()), QSize(largest.width(), 100));
    EXPECT_EQ(mapPoint(surface().winId(), hWindow, {}), QPoint(32767, 10));
}

TEST_F(SurfaceInBrowser, MovesWithTheBrowserAndWithThePage)
{
    login();
    showAt(kRegion);
    ASSERT_TRUE(until([this] { return standsInPage(); }));
    const QPoint before = browser->origin(hWindow);
    browser->move(hWindow, QPoint(420, 330));
    ASSERT_TRUE(until([&] { return browser->origin(hWindow) != before && standsInPage(); }));
    const PluginRegion other{100, 20, 200, 400};
    surface().onWidgetStatuChange(4, other);
    EXPECT_TRUE(until([&] { return standsAt(browser->origin(hWindow), other); }));
}

TEST_F(SurfaceInBrowser, AnotherTabsTitleHidesAndThePagesTitleShowsAgain)
{
    login();
    showAt(kRegion);
    ASSERT_TRUE(until([this] { return standsInPage(); }));
    browser->setTitle(hWindow, "News - Chromium");
    ASSERT_TRUE(until([this] { return isGoneFromPage(); }));
    EXPECT_FALSE(surface().isVisible());
    browser->setTitle(hWindow, kWindowTitle);
    EXPECT_TRUE(until([this] { return standsInPage(); }));
}

TEST_F(SurfaceInBrowser, AMinimisedBrowserIsNotVisibleAndComesBackWithTheSurface)
{
    login();
    showAt(kRegion);
    ASSERT_TRUE(until([this] { return standsInPage(); }));
    browser->minimise(hWindow);
    ASSERT_TRUE(until([this] { return !isVisible(hWindow) && !surface().isVisible(); }));
    browser->restore(hWindow);
    EXPECT_TRUE(until([this] { return standsInPage(); }));
}

TEST_F(SurfaceInBrowser, FollowsATabTornOutIntoAnotherWindow)
{
    login();
    showAt(kRegion);
    ASSERT_TRUE(until([this] { return standsInPage(); }));
    const WindowHandle hOther = browser->open(kWindowTitle, QRect(500, 400, 500, 400));
    browser->setTitle(hWindow, "News - Chromium");
    ASSERT_TRUE(until([&] { return parentOf(surface().winId()) == hOther; }));
    EXPECT_TRUE(until([&] { return standsAt(browser->origin(hOther), kRegion); }));
    EXPECT_TRUE(isGoneFromPage() || browser->origin(hOther) == browser->origin(hWindow));
}

TEST_F(SurfaceInBrowser, FullScreenCoversTheScreenAndEscapeReturnsWithTheCellsHandlesKept)
{
    login();
    showAt(kRegion);
    ASSERT_TRUE(until([this] { return standsInPage(); }));
    const WId own = surface().winId();
    const auto frames = surface().findChildren<QFrame*>("CPlayWnd");
    std::vector<WId> handles;
    for (QFrame* frame : frames)
        handles.push_back(frame->internalWinId());

    surface().onFullScreen();
    const QRect screen = QApplication::primaryScreen()->geometry();
    ASSERT_TRUE(until([&] {
        const QImage shot = browser->screenshot();
        return shot.pixelColor(screen.center()) == kCell && shot.pixelColor(5, 5) == kCell &&
               shot.pixelColor(screen.right() - 5, screen.bottom() - 5) == kCell;
    }));
    ASSERT_TRUE(until([&] { return foregroundWindow() == own; }));

    QTest::keyClick(&surface(), Qt::Key_Escape);
    EXPECT_TRUE(until([this] { return standsInPage(); }));
    EXPECT_EQ(parentOf(surface().winId()), hWindow);
    EXPECT_EQ(surface().winId(), own);
    for (int i = 0; i < frames.size(); ++i)
        EXPECT_EQ(frames[i]->internalWinId(), handles[i]) << i;
}

TEST_F(SurfaceInBrowser, AParentThatDiesTakesTheWindowButNotTheProcess)
{
    login();
    showAt(kRegion);
    ASSERT_TRUE(until([this] { return standsInPage(); }));
    const WindowHandle own = surface().winId();
    browser->close(hWindow);
    ASSERT_TRUE(until([=] { return !isWindow(own); }));
    log.clear();
    for (const int nStatus : {2, 4, 1})
        surface().onWidgetStatuChange(nStatus, kRegion);
    EXPECT_EQ(log.of("PlayWidget::onWidgetStatuChange"),
              QStringList({"m_playWidget is invalid window", "m_playWidget is invalid window",
                           "m_playWidget is invalid window"}));
    EXPECT_EQ(surface().GetCurWnd(), 0);
    surface().ChangeSplit(1);
}

TEST_F(SurfaceInBrowser, AfterTheParentsEndTheNextLoginShowsPicturesAgain)
{
    login();
    showAt(kRegion);
    ASSERT_TRUE(until([this] { return standsInPage(); }));
    const WindowHandle own = surface().winId();
    browser = std::make_unique<PlainBrowser>(); // the whole old browser goes, as in a crash
    ASSERT_TRUE(until([=] { return !isWindow(own); }));
    PlayWidget::ReleaseInstance();

    hWindow = browser->open(kWindowTitle, QRect(100, 100, 640, 480));
    login();
    showAt(kRegion);
    EXPECT_TRUE(until([this] { return standsInPage(); }));
}

TEST_F(SurfaceInBrowser, AParentThatDiesDuringFullScreenLeavesAWindowThatCanGo)
{
    login();
    showAt(kRegion);
    ASSERT_TRUE(until([this] { return standsInPage(); }));
    surface().onFullScreen();
    ASSERT_TRUE(until([this] { return parentOf(surface().winId()) == 0; }));
    browser->close(hWindow);
    ASSERT_TRUE(until([this] { return !isWindow(hWindow); }));
    surface().onExitFullscreen();
    EXPECT_TRUE(isWindow(surface().winId()));
    surface().onWidgetStatuChange(1, PluginRegion());
    EXPECT_EQ(log.of("PlayWidget::onWidgetStatuChange").last(), "m_hCurBrowseWnd is invalid window");
}

TEST_F(SurfaceInBrowser, ALogoutLeavesThePageAsItWas)
{
    login();
    showAt(kRegion);
    ASSERT_TRUE(until([this] { return standsInPage(); }));
    PlayWidget::ReleaseInstance();
    EXPECT_TRUE(until([this] { return isGoneFromPage(); }));
    EXPECT_TRUE(isWindow(hWindow));
}
