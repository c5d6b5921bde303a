// The surface over another program's windows, looked at through the system's own calls. The way of embedding follows
// from the version of Windows, so each test says what holds for both; the run is made once for each.
#include "embedding/win32/TestBrowser.h"
#include "live/ColorSetWidget.h"
#include "live/RealPlayWidget.h"
#include "playback/PlaybackWidget.h"
#include "support/LogCapture.h"
#include "surface/PlayWidget.h"

#include <QAbstractEventDispatcher>
#include <QApplication>
#include <QScreen>
#include <QTest>
#include <QTimerEvent>
#include <gtest/gtest.h>
#include <set>

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

/// Looks at each tick of one of the surface's timers before the surface does.
class Ticks : public QObject
{
public:
    Ticks(QObject& surface, int nTimer, std::function<void()> look) : m_nTimer(nTimer), m_look(std::move(look))
    {
        surface.installEventFilter(this);
    }

private:
    bool eventFilter(QObject*, QEvent* pEvent) override
    {
        if (pEvent->type() == QEvent::Timer && static_cast<QTimerEvent*>(pEvent)->timerId() == m_nTimer)
            m_look();
        return false;
    }

    const int m_nTimer;
    const std::function<void()> m_look;
};

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
    static HWND windowAt(QPoint pt) { return WindowFromPoint({pt.x(), pt.y()}); }
    /// As the user sees it: nothing covers it there.
    static bool isSeenAt(QPoint pt)
    {
        const HWND hAt = windowAt(pt);
        return hAt == own() || IsChild(own(), hAt);
    }
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
    static QList<int> timersRunning()
    {
        QList<int> timers;
        for (const auto& timer : QAbstractEventDispatcher::instance()->registeredTimers(&surface()))
            if (timer.interval == 100 && timer.timerType == Qt::CoarseTimer)
                timers << timer.timerId;
        return timers;
    }
    /// As its user presses a key, with the keyboard's messages.
    static void pressEscape()
    {
        const auto lScan = static_cast<LPARAM>(MapVirtualKeyW(VK_ESCAPE, MAPVK_VK_TO_VSC)) << 16;
        PostMessageW(own(), WM_KEYDOWN, VK_ESCAPE, lScan | 1);
        PostMessageW(own(), WM_KEYUP, VK_ESCAPE, lScan | static_cast<LPARAM>(0xC0000001));
    }
    /// So many rounds of the timers, without a fact to wait for.
    static void someTicks() { QTest::qWait(350); }
    /// Parent for one way of embedding, owner for the other.
    static WindowHandle belongsTo()
    {
        return owned() ? handle(GetWindow(own(), GW_OWNER)) : handle(GetAncestor(own(), GA_PARENT));
    }

    static QStringList pagesShown()
    {
        QStringList shown;
        const auto add = [&](const QWidget* pPage, const char* szName) {
            if (pPage && pPage->isVisible())
                shown << szName;
        };
        add(surface().findChild<CRealPlayWidget*>(), "live");
        add(surface().findChild<CPlaybackWidget*>(), "playback");
        add(surface().findChild<CColorSetWidget*>(), "colour");
        return shown;
    }

    /// The highest two bits of the style: a child that is no window of its own for the system.
    static bool hasChildStyle() { return (GetWindowLongPtrW(own(), GWL_STYLE) >> 30 & 3) == 1; }
    static bool standsSomewhereAbove(HWND hAbove, HWND hBelow)
    {
        HWND w = GetWindow(hBelow, GW_HWNDPREV);
        while (w && w != hAbove)
            w = GetWindow(w, GW_HWNDPREV);
        return w != nullptr;
    }
    /// All native windows within the surface: into some of them a decoder paints.
    static std::set<HWND> windowsWithin()
    {
        std::set<HWND> found;
        const auto take = [](HWND w, LPARAM l) -> BOOL {
            reinterpret_cast<std::set<HWND>*>(l)->insert(w);
            return TRUE;
        };
        EnumChildWindows(own(), take, reinterpret_cast<LPARAM>(&found));
        return found;
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
    ASSERT_FALSE(strExpected.isEmpty()) << "LUMO_EMBED_TYPE tells which one the run is meant for";
    EXPECT_EQ(strExpected, QString::number(owned() ? 1 : 0)) << "the run was meant for the other one";
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
    // The browser with such a render window stands beside it, and comes next.
    const auto explorer = browser.openExplorer("old", QRect(200, 150, 500, 400), "Old - Explorer");
    ASSERT_TRUE(standsSomewhereAbove(hwnd(explorer.hTop), hwnd(main.hTop)));
    EXPECT_EQ(surface().ErgodicAllChild(explorer.hTop, kChromium, 0), 0u);
    EXPECT_FALSE(log.of("PlayWidget::ErgodicAllChild").isEmpty());
    for (const QString& line : log.of("PlayWidget::ErgodicAllChild"))
        EXPECT_FALSE(line.contains("Chrome_RenderWidgetHostHWND")) << line.toStdString();
}

TEST_F(SurfaceOnWindows, StandsOverItsRectangleWithParentOwnerAndStyleOfItsWayOfEmbedding)
{
    loginAndShow();
    // Qt takes the owner away as it shows the window; the next look at the browser gives it back.
    EXPECT_TRUE(until([this] { return belongsTo() == main.hTop; }));
    EXPECT_TRUE(hasChildStyle());
    EXPECT_FALSE(GetWindowLongPtrW(own(), GWL_STYLE) & (WS_CAPTION & ~WS_BORDER));
    if (owned()) {
        EXPECT_EQ(GetAncestor(own(), GA_PARENT), GetDesktopWindow());
    } else {
        EXPECT_EQ(GetAncestor(own(), GA_ROOT), hwnd(main.hTop));
    }
}

TEST_F(SurfaceOnWindows, BindingGivesItParentOrOwnerStyleAndPlaceBeforeItIsSeen)
{
    const auto other = browser.openChrome("other", QRect(500, 300, 400, 300), "Other");
    browser.tell("front other");
    login();
    EXPECT_EQ(belongsTo(), main.hTop);
    EXPECT_TRUE(hasChildStyle());
    EXPECT_TRUE(isHidden());
    if (owned()) {
        EXPECT_EQ(GetWindow(own(), GW_HWNDNEXT), hwnd(main.hTop)) << "directly above the browser";
        EXPECT_TRUE(standsSomewhereAbove(hwnd(other.hTop), own()));
    } else {
        EXPECT_EQ(GetWindow(hwnd(main.hTop), GW_CHILD), own()) << "above the browser's own children";
    }
}

TEST_F(SurfaceOnWindows, StandsAboveTheBrowserAndBelowWhatIsAboveThat)
{
    loginAndShow();
    const QPoint middle = screenRect(own()).center();
    EXPECT_TRUE(until([=] { return isSeenAt(middle); })) << "not above the browser";
    if (owned()) {
        EXPECT_TRUE(standsSomewhereAbove(own(), hwnd(main.hTop)));
    }
    const auto other = browser.openChrome("other", QRect(middle - QPoint(200, 150), QSize(400, 300)), "Other");
    browser.tell("front other");
    const auto isOther = [&] { return GetAncestor(windowAt(middle), GA_ROOT) == hwnd(other.hTop); };
    EXPECT_TRUE(until(isOther));
    const PluginRegion rcMoved{50, 70, 300, 220};
    status(kStatusMove, rcMoved);
    EXPECT_TRUE(until([&] { return standsOver(main.hRender, rcMoved); })) << seen();
    someTicks();
    EXPECT_TRUE(isOther()) << "it came above";
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
    EXPECT_EQ(timersRunning().size(), 1); // tracking
    status(kStatusShow, kRegion);
    status(kStatusShow, kRegion);
    EXPECT_EQ(timersRunning().size(), owned() ? 2 : 1);
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

TEST_F(SurfaceOnWindows, AnotherTabsTitleHidesWithTheNextLookAtTheBrowser)
{
    login();
    ASSERT_EQ(timersRunning().size(), 1);
    const int nTracking = timersRunning()[0];
    status(kStatusShow, kRegion);
    ASSERT_TRUE(until([this] { return standsOver(main.hRender, kRegion); })) << seen();
    bool bTold = false;
    int nLooks = 0; // that found it shown, since the browser has the new title
    const Ticks ticks(surface(), nTracking, [&] { nLooks += bTold && !isHidden(); });
    browser.tell("title main News - Browser");
    bTold = true;
    EXPECT_TRUE(until([] { return isHidden(); }));
    EXPECT_LE(nLooks, 1);
}

TEST_F(SurfaceOnWindows, ThePagesReturnAfterAnotherTabShowsItAndMovesItToItsRectangle)
{
    login();
    ASSERT_EQ(timersRunning().size(), 1);
    const int nTracking = timersRunning()[0];
    status(kStatusShow, kRegion);
    ASSERT_TRUE(until([this] { return standsOver(main.hRender, kRegion); })) << seen();
    browser.tell("title main News - Browser");
    ASSERT_TRUE(until([] { return isHidden(); }));
    MoveWindow(own(), 3, 5, 50, 40, FALSE);
    ASSERT_EQ(screenRect(own()).size(), QSize(50, 40)) << seen();
    std::string strFirst; // as it was when the look after that which showed it came; each look may move it
    const Ticks ticks(surface(), nTracking, [&] {
        if (strFirst.empty() && !isHidden())
            strFirst = standsOver(main.hRender, kRegion) ? "in its place" : seen();
    });
    browser.tell(QString("title main ") + kWindowTitle);
    EXPECT_TRUE(until([&] { return !strFirst.empty(); })) << seen();
    EXPECT_EQ(strFirst, "in its place");
    EXPECT_TRUE(standsOver(main.hRender, kRegion)) << seen();
}

TEST_F(SurfaceOnWindows, ATitleOutsideAsciiIsReadByteByByteAndNeverMatches)
{
    // One byte in the code page, but none of those that are characters by themselves.
    const QString strTitle = QString::fromUtf8("100 \xe2\x82\xac");
    ASSERT_EQ(strTitle.toLocal8Bit(), "100 \x80");
    browser.tell("title main " + strTitle + " - Browser");
    surface().BindBrowser(main.hTop, main.hRender, "100", kChromium);
    surface().SetPageIndex(0);
    status(kStatusShow, kRegion);
    ASSERT_TRUE(until([this] { return standsOver(main.hRender, kRegion); })) << seen();
    surface().BindBrowser(main.hTop, main.hRender, strTitle, kChromium);
    EXPECT_TRUE(until([] { return isHidden(); }));
}

TEST_F(SurfaceOnWindows, BoundToAWindowWithAnotherTitleItGoesToTheForegroundWindowThatHasIt)
{
    browser.tell("title main News - Browser");
    login();
    status(kStatusShow, kRegion);
    someTicks();
    EXPECT_TRUE(isHidden());
    EXPECT_TRUE(log.of("PlayWidget::timerEvent").contains("m_strWndName.indexOf(m_strBrowserTitle)"));
    const auto other = browser.openChrome("other", QRect(400, 250, 700, 560), kWindowTitle);
    browser.tell("front other");
    EXPECT_TRUE(until([&] { return standsOver(other.hRender, kRegion); })) << seen();
    EXPECT_TRUE(until([&] { return belongsTo() == other.hTop; }));
}

TEST_F(SurfaceOnWindows, ATabWhoseRenderWindowIsHiddenHidesIt)
{
    loginAndShow();
    browser.tell("tab main off");
    EXPECT_TRUE(until([] { return isHidden(); }));
    browser.tell("tab main on");
    EXPECT_TRUE(until([this] { return standsOver(main.hRender, kRegion); })) << seen();
}

TEST_F(SurfaceOnWindows, AMinimisedBrowserTakesItOutOfSightAndBringsItBackWhenItIsRestored)
{
    loginAndShow();
    const QPoint middle = screenRect(own()).center();
    ASSERT_TRUE(until([=] { return isSeenAt(middle); }));
    browser.tell("minimise main");
    EXPECT_TRUE(IsIconic(hwnd(main.hTop)));
    const auto isOutOfSight = [=] { return !isSeenAt(middle) && !isSeenAt(screenRect(own()).center()); };
    EXPECT_TRUE(until(isOutOfSight)) << seen();
    someTicks();
    EXPECT_TRUE(isOutOfSight()) << seen();
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

TEST_F(SurfaceOnWindows, ATabThatLeavesAClosingWindowKeepsItsSurface)
{
    loginAndShow();
    const HWND hOwn = own();
    const auto other = browser.openChrome("other", QRect(400, 250, 700, 560), kWindowTitle);
    browser.tell("leave main other");
    ASSERT_FALSE(IsWindow(hwnd(main.hTop)));
    EXPECT_TRUE(until([&] { return belongsTo() == other.hTop; }));
    EXPECT_TRUE(until([this] { return standsOver(main.hRender, kRegion); })) << seen();
    EXPECT_EQ(own(), hOwn);
    EXPECT_TRUE(IsWindow(hOwn)) << "the closing window has taken it along";
}

TEST_F(SurfaceOnWindows, BoundWithoutAClientItsRectangleCountsFromTheTopLevelWindow)
{
    login(0, 1);
    status(kStatusShow, kRegion);
    const HWND hTop = hwnd(main.hTop);
    RECT area = {};
    GetClientRect(hTop, &area);
    const QRect frame = screenRect(hTop);
    const QPoint corner = owned() ? frame.topLeft() + QPoint((frame.width() - static_cast<int>(area.right)) / 2,
                                                             (frame.height() - static_cast<int>(area.bottom)) / 2)
                                  : clientCorner(main.hTop);
    const QRect expected(corner + QPoint(kRegion.left, kRegion.top), QSize(kRegion.width, kRegion.height));
    EXPECT_TRUE(until([&] { return IsWindowVisible(own()) && screenRect(own()) == expected; }))
        << seen() << ", not " << expected.x() << "," << expected.y();
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
    pressEscape();
    const QStringList expected{"keyReleaseEvent", "keyReleaseEvent release"};
    EXPECT_TRUE(until([&] { return log.of("PlayWidget::keyReleaseEvent") == expected; }));
    EXPECT_TRUE(log.of("PlayWidget::onExitFullscreen").isEmpty());
    EXPECT_TRUE(standsOver(main.hRender, kRegion)) << seen();
}

TEST_F(SurfaceOnWindows, FullScreenCoversTheScreenAndEscapeReturnsItToTheBrowser)
{
    loginAndShow();
    const HWND hOwn = own();
    const std::set<HWND> within = windowsWithin();
    surface().onFullScreen();
    const QRect screen = QApplication::primaryScreen()->geometry();
    EXPECT_TRUE(until([&] { return IsWindowVisible(own()) && screenRect(own()) == screen; })) << seen();
    EXPECT_EQ(GetAncestor(own(), GA_PARENT), GetDesktopWindow());
    EXPECT_EQ(timersRunning().size(), owned() ? 1 : 0) << "nothing tracks the browser";
    if (!owned()) {
        EXPECT_TRUE(GetWindowLongPtrW(own(), GWL_EXSTYLE) & WS_EX_TOPMOST);
        EXPECT_TRUE(until([] { return GetForegroundWindow() == own(); }));
    }
    pressEscape();
    EXPECT_TRUE(until([this] { return belongsTo() == main.hTop; }));
    EXPECT_TRUE(until([this] { return standsOver(main.hRender, kRegion); })) << seen();
    EXPECT_EQ(own(), hOwn);
    EXPECT_GE(within.size(), 1u);
    EXPECT_EQ(windowsWithin(), within) << "a decoder paints into one of these";
}

TEST_F(SurfaceOnWindows, SetPageIndex3IsKeptAndShowsNothing)
{
    loginAndShow();
    ASSERT_EQ(pagesShown(), QStringList("live"));
    EXPECT_EQ(surface().SetPageIndex(3), 0);
    EXPECT_EQ(surface().GetPageIndex(), 3);
    EXPECT_EQ(pagesShown(), QStringList("live")) << "no page comes or goes";
    EXPECT_EQ(surface().GetCurWnd(), -1);
    EXPECT_EQ(surface().GetCurChannel(5), -1) << "of the current page";
    EXPECT_EQ(surface().ChangeSplit(2), 0);
    EXPECT_TRUE(standsOver(main.hRender, kRegion)) << seen();
}

TEST_F(SurfaceOnWindows, ALogoutTakesItAwayAndLeavesTheBrowserAlone)
{
    loginAndShow();
    const HWND hOwn = own();
    PlayWidget::ReleaseInstance();
    EXPECT_FALSE(IsWindow(hOwn));
    EXPECT_TRUE(IsWindow(hwnd(main.hTop)));
    EXPECT_TRUE(IsWindowVisible(hwnd(main.hRender)));
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
