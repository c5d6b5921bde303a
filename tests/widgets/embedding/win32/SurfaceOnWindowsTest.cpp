// The surface over another program's windows, looked at through the system's own calls. The way of embedding follows
// from the version of Windows, so each test says what holds for both; the run is made once for each.
#include "embedding/win32/TestBrowser.h"
#include "support/LogCapture.h"
#include "surface/PlayWidget.h"

#include <QAbstractEventDispatcher>
#include <QApplication>
#include <QScreen>
#include <QTest>
#include <gtest/gtest.h>

#include <windows.h>

using platform::WindowHandle;

namespace
{

constexpr char kPageTitle[] = "Web Viewer 7";
constexpr char kWindowTitle[] = "Web Viewer 7 - Browser";
constexpr int kWindows7 = 0x90;
constexpr int kChromium = 2;
constexpr int kExplorer = 0;
constexpr int kStatusHide = 1, kStatusShow = 2, kStatusMove = 4;
const PluginRegion kRegion{40, 60, 320, 240};

HWND hwnd(WindowHandle hWnd)
{
    return reinterpret_cast<HWND>(hWnd);
}

WindowHandle handle(HWND hWnd)
{
    return reinterpret_cast<WindowHandle>(hWnd);
}

QRect screenRect(HWND hWnd)
{
    RECT rc = {};
    GetWindowRect(hWnd, &rc);
    return QRect(rc.left, rc.top, rc.right - rc.left, rc.bottom - rc.top);
}

QPoint clientCorner(WindowHandle hWnd)
{
    POINT pt = {};
    ClientToScreen(hwnd(hWnd), &pt);
    return QPoint(pt.x, pt.y);
}

class SurfaceOnWindows : public testing::Test
{
protected:
    SurfaceOnWindows() { main = browser.openChrome("main", QRect(120, 90, 816, 638), kWindowTitle); }
    ~SurfaceOnWindows() override { PlayWidget::ReleaseInstance(); }

    static PlayWidget& surface() { return *PlayWidget::Instance(); }
    static HWND own() { return hwnd(surface().winId()); }
    static bool owned() { return platform::windowsVersion() > kWindows7; } // EmbedType 1
    static bool until(const std::function<bool()>& holds) { return QTest::qWaitFor(holds, 20000); }

    void login() { login(surface().ErgodicAllChild(main.hTop, kChromium, 0), kChromium); }
    void login(WindowHandle hClient, int nBrowseType)
    {
        surface().BindBrowser(main.hTop, hClient, kPageTitle, nBrowseType);
        surface().SetPageIndex(0);
        surface().ChangeSplit(0);
    }
    void loginAndShow()
    {
        login();
        status(kStatusShow, kRegion);
        ASSERT_TRUE(until([this] { return standsOver(main.hRender, kRegion); })) << seen();
    }
    static void status(int nStatus, const PluginRegion& rc) { surface().onWidgetStatuChange(nStatus, rc); }

    static bool standsOver(WindowHandle hClient, const PluginRegion& rc)
    {
        const QRect expected(clientCorner(hClient) + QPoint(rc.left, rc.top), QSize(rc.width, rc.height));
        return IsWindowVisible(own()) && screenRect(own()) == expected;
    }
    static bool isHidden() { return !IsWindowVisible(own()); }
    static std::string seen()
    {
        const QRect rc = screenRect(own());
        return QString("it is %1 at %2,%3 %4x%5")
            .arg(IsWindowVisible(own()) ? "shown" : "hidden")
            .arg(rc.x())
            .arg(rc.y())
            .arg(rc.width())
            .arg(rc.height())
            .toStdString();
    }
    static int timersRunning()
    {
        int nCount = 0;
        for (const auto& timer : QAbstractEventDispatcher::instance()->registeredTimers(&surface()))
            nCount += timer.interval == 100 && timer.timerType == Qt::CoarseTimer;
        return nCount;
    }
    /// So many rounds of the timers, without a fact to wait for.
    static void someTicks() { QTest::qWait(350); }
    /// Parent for one way of embedding, owner for the other.
    static WindowHandle belongsTo()
    {
        return owned() ? handle(GetWindow(own(), GW_OWNER)) : handle(GetAncestor(own(), GA_PARENT));
    }

    TestBrowser browser;
    TestBrowser::Window main;
    LogCapture log;
};

} // namespace

TEST_F(SurfaceOnWindows, TheVersionOfWindowsDecidesHowItIsEmbedded)
{
    surface();
    EXPECT_EQ(log.of("PlayWidget::PlayWidget"),
              QStringList(QString("WinVersion=%1 EmbedType=%2").arg(platform::windowsVersion()).arg(owned() ? 1 : 0)));
    const QString strExpected = qEnvironmentVariable("LUMO_EMBED_TYPE");
    if (!strExpected.isEmpty()) {
        EXPECT_EQ(strExpected, QString::number(owned() ? 1 : 0)) << "the run was meant for the other one";
    }
}

TEST_F(SurfaceOnWindows, FindsTheRenderWindowAmongOtherChildrenAndSiblings)
{
    EXPECT_EQ(surface().ErgodicAllChild(main.hTop, kChromium, 0), main.hRender);
    EXPECT_EQ(surface().ErgodicAllChild(main.hTop, kExplorer, 0), 0u);
    const auto explorer = browser.openExplorer("old", QRect(0, 0, 500, 400), "Old - Explorer");
    EXPECT_EQ(surface().ErgodicAllChild(explorer.hTop, kExplorer, 0), explorer.hRender) << "three levels down";
}

TEST_F(SurfaceOnWindows, TheWalkNeverLooksAtSiblingsOfTheWindowItStartsOn)
{
    // The bar stands beside the render window.
    EXPECT_EQ(surface().ErgodicAllChild(main.hToolbar, kChromium, 0), 0u);
    for (const QString& line : log.of("PlayWidget::ErgodicAllChild"))
        EXPECT_FALSE(line.contains("Chrome_RenderWidgetHostHWND")) << line.toStdString();
}

TEST_F(SurfaceOnWindows, StandsOverItsRectangleWithParentOwnerAndStyleOfItsWayOfEmbedding)
{
    loginAndShow();
    // Qt takes the owner away as it shows the window; the next look at the browser gives it back.
    EXPECT_TRUE(until([this] { return belongsTo() == main.hTop; }));
    EXPECT_TRUE(GetWindowLongPtrW(own(), GWL_STYLE) & WS_CHILD);
    EXPECT_FALSE(GetWindowLongPtrW(own(), GWL_STYLE) & (WS_CAPTION & ~WS_BORDER));
    if (owned()) {
        EXPECT_EQ(GetAncestor(own(), GA_PARENT), GetDesktopWindow());
    } else {
        EXPECT_EQ(GetAncestor(own(), GA_ROOT), hwnd(main.hTop));
    }
}

TEST_F(SurfaceOnWindows, StandsAboveTheBrowserAndBelowWhatIsAboveThat)
{
    loginAndShow();
    if (!owned()) {
        // Among its siblings the surface is what is seen at its place.
        const QPoint middle = screenRect(own()).center();
        const HWND at = WindowFromPoint({middle.x(), middle.y()});
        EXPECT_TRUE(at == own() || IsChild(own(), at));
        return;
    }
    bool bAbove = false;
    for (HWND w = GetWindow(hwnd(main.hTop), GW_HWNDPREV); w; w = GetWindow(w, GW_HWNDPREV))
        bAbove = bAbove || w == own();
    EXPECT_TRUE(bAbove);
}

TEST_F(SurfaceOnWindows, FollowsTheBrowserThatMovesAndKeepsItsSize)
{
    loginAndShow();
    browser.tell("move main 300,200");
    EXPECT_TRUE(until([this] { return standsOver(main.hRender, kRegion); })) << seen();
    EXPECT_GT(clientCorner(main.hTop).x(), 250);
}

TEST_F(SurfaceOnWindows, ABrowserThatIsResizedLeavesItWhereThePageSaid)
{
    loginAndShow();
    browser.tell("resize main 640x520");
    someTicks();
    EXPECT_TRUE(standsOver(main.hRender, kRegion)) << seen();
    status(kStatusMove, {10, 20, 200, 150});
    EXPECT_TRUE(until([this] { return standsOver(main.hRender, {10, 20, 200, 150}); })) << seen();
}

TEST_F(SurfaceOnWindows, Status2WithWidth0StaysHiddenAndBothWarn)
{
    login();
    log.clear();
    status(kStatusShow, {40, 60, 0, 240});
    someTicks();
    EXPECT_TRUE(isHidden());
    EXPECT_TRUE(log.warningsOf("PlayWidget::ReqShowPlugin")
                    .contains("can't show window reason:ShowPlugin:1,BrowseClientVisible:0,PosValid:0"));
    EXPECT_TRUE(log.warningsOf("PlayWidget::MovePlayWidget").contains("wnd can't move,reason:ShowPlugin:1,PosValid:0"));
}

TEST_F(SurfaceOnWindows, Status2StartsNoMoveTimerOnWindows7AndOneLaterHoweverOften)
{
    login();
    EXPECT_EQ(timersRunning(), 1); // tracking
    status(kStatusShow, kRegion);
    status(kStatusShow, kRegion);
    EXPECT_EQ(timersRunning(), owned() ? 2 : 1);
}

TEST_F(SurfaceOnWindows, Status4WithLeftBelow0HidesAndValidValuesShowAgainWithoutStatus2)
{
    loginAndShow();
    status(kStatusMove, {-1, 60, 320, 240});
    EXPECT_TRUE(isHidden());
    status(kStatusMove, {50, 70, 300, 200});
    EXPECT_TRUE(until([this] { return standsOver(main.hRender, {50, 70, 300, 200}); })) << seen();
}

TEST_F(SurfaceOnWindows, Status4AfterStatus1StaysHiddenAndWarnsThatThePageDoesNotWantIt)
{
    loginAndShow();
    status(kStatusHide, kRegion);
    log.clear();
    status(kStatusMove, kRegion);
    someTicks();
    EXPECT_TRUE(isHidden());
    EXPECT_EQ(log.warningsOf("PlayWidget::ReqShowPlugin").value(0),
              "can't show window reason:ShowPlugin:0,BrowseClientVisible:1,PosValid:1");
}

TEST_F(SurfaceOnWindows, AnotherTabsTitleHidesAndThePagesReturnShowsItAtItsRectangle)
{
    loginAndShow();
    browser.tell("title main News - Browser");
    EXPECT_TRUE(until([] { return isHidden(); }));
    browser.tell(QString("title main ") + kWindowTitle);
    EXPECT_TRUE(until([this] { return standsOver(main.hRender, kRegion); })) << seen();
}

TEST_F(SurfaceOnWindows, ATabWhoseRenderWindowIsHiddenHidesIt)
{
    loginAndShow();
    browser.tell("tab main off");
    EXPECT_TRUE(until([] { return isHidden(); }));
    browser.tell("tab main on");
    EXPECT_TRUE(until([this] { return standsOver(main.hRender, kRegion); })) << seen();
}

TEST_F(SurfaceOnWindows, AMinimisedBrowserBringsItBackWhenItIsRestored)
{
    loginAndShow();
    browser.tell("minimise main");
    EXPECT_TRUE(IsIconic(hwnd(main.hTop)));
    someTicks();
    browser.tell("restore main");
    EXPECT_TRUE(until([this] { return standsOver(main.hRender, kRegion); })) << seen();
}

TEST_F(SurfaceOnWindows, ATabTornIntoAnotherWindowTakesItAlong)
{
    loginAndShow();
    const auto other = browser.openChrome("other", QRect(400, 250, 700, 560), kWindowTitle);
    browser.tell("title main News - Browser");
    browser.tell("tear main other");
    EXPECT_TRUE(until([&] { return belongsTo() == other.hTop; }));
    EXPECT_TRUE(until([this] { return standsOver(main.hRender, kRegion); })) << seen();
    EXPECT_FALSE(log.of("PlayWidget::timerEvent").filter("now parent handle:").isEmpty());
}

TEST_F(SurfaceOnWindows, BoundWithoutAClientNoTitleHidesIt)
{
    login(0, kChromium);
    status(kStatusShow, kRegion);
    ASSERT_TRUE(until([] { return !isHidden(); }));
    browser.tell("title main News - Browser");
    someTicks();
    EXPECT_FALSE(isHidden());
}

TEST_F(SurfaceOnWindows, EscapeOutsideFullScreenLogsAndDoesNothingMore)
{
    loginAndShow();
    log.clear();
    QTest::keyRelease(&surface(), Qt::Key_Escape);
    EXPECT_EQ(log.of("PlayWidget::keyReleaseEvent"), QStringList({"keyReleaseEvent", "keyReleaseEvent release"}));
    EXPECT_TRUE(log.of("PlayWidget::onExitFullscreen").isEmpty());
    EXPECT_TRUE(standsOver(main.hRender, kRegion)) << seen();
}

TEST_F(SurfaceOnWindows, FullScreenCoversTheScreenAndEscapeReturnsItToTheBrowser)
{
    loginAndShow();
    surface().onFullScreen();
    const QRect screen = QApplication::primaryScreen()->geometry();
    EXPECT_TRUE(until([&] { return IsWindowVisible(own()) && screenRect(own()).size() == screen.size(); })) << seen();
    QTest::keyRelease(&surface(), Qt::Key_Escape);
    EXPECT_TRUE(until([this] { return belongsTo() == main.hTop; }));
    EXPECT_TRUE(until([this] { return standsOver(main.hRender, kRegion); })) << seen();
}

TEST_F(SurfaceOnWindows, SetPageIndex3IsKeptAndShowsNothing)
{
    loginAndShow();
    EXPECT_EQ(surface().SetPageIndex(3), 0);
    EXPECT_EQ(surface().GetPageIndex(), 3);
    EXPECT_EQ(surface().GetCurWnd(), -1);
}

TEST_F(SurfaceOnWindows, ABrowserThatClosesIsReportedByALogLineAndHarmsNothing)
{
    loginAndShow();
    browser.tell("close main");
    ASSERT_TRUE(until([this] { return !IsWindow(hwnd(main.hTop)); }));
    log.clear();
    status(kStatusShow, kRegion);
    const QStringList lines = log.of("PlayWidget::onWidgetStatuChange");
    ASSERT_EQ(lines.size(), 1);
    EXPECT_TRUE(lines[0] == "m_hCurBrowseWnd is invalid window" || lines[0] == "m_playWidget is invalid window");
    someTicks();
}
