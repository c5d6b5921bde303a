// Full screen: entering, failing, leaving.
#include "null/NullBrowser.h"

#include "live/RealPlayWidget.h"
#include "playback/PlaybackWidget.h"
#include "surface/PlayWidgetFlags.h"
#include "surface/VideoWnd.h"

#include <QImage>
#include <QKeyEvent>
#include <QTest>
#include <QTimer>

using namespace platform;

namespace
{
constexpr char kTag[] = "PlayWidget::onFullScreen";
constexpr char kExitTag[] = "PlayWidget::onExitFullscreen";
constexpr char kKeyTag[] = "PlayWidget::keyReleaseEvent";
const PluginRegion kRegion{20, 30, 400, 300};
const QColor kBorder(196, 0, 34);
const QStringList kEntered = {"fullscreen begin", "showFullScreen begin", "showFullScreen end", "fullscreen end"};

class PlayWidgetFullScreen : public NullBrowserTest
{
protected:
    void startShown(int nVersion)
    {
        start(nVersion);
        bind();
        show(kRegion);
        ASSERT_TRUE(until([this] { return surface().isVisible(); }));
        null::clearCalls();
        log.clear();
    }

    /// The border that tells of a page's selected cell, which is the first.
    template <typename Page = CRealPlayWidget> bool hasBorder()
    {
        auto* pCell = surface().findChild<Page*>()->template findChild<CVideoWnd*>();
        return pCell->grab().toImage().pixelColor(0, 0) == kBorder;
    }

    void startShownWithBorder(int nVersion)
    {
        startShown(nVersion);
        surface().SetTheme("Black");
        ASSERT_TRUE(hasBorder());
    }

    /// As under a window manager that takes the state away again whenever it is asked for.
    bool refusedUntilNoticed()
    {
        return until([this] {
            if (surface().isFullScreen())
                surface().setWindowState(Qt::WindowNoState);
            return log.of(kTag).contains("fullscreen unsuccessful");
        });
    }

    void release(int nKey)
    {
        QKeyEvent event(QEvent::KeyRelease, nKey, Qt::NoModifier);
        QCoreApplication::sendEvent(&surface(), &event);
    }
};
} // namespace

TEST_F(PlayWidgetFullScreen, AChildLeavesTheBrowserTakesTheForegroundAndTracksNoMore)
{
    startShown(kWindows7Version);
    null::window(browser()).nThread = 77;
    surface().onFullScreen();
    EXPECT_TRUE(surface().isFullScreen());
    EXPECT_EQ(int(surface().windowFlags()), 0x0204080B);
    EXPECT_EQ(surface().windowHandle()->parent(), nullptr);
    EXPECT_EQ(timersRunning(), 0);
    EXPECT_EQ(log.of(kTag), kEntered);
    EXPECT_EQ(null::calls(), QStringList({"attachInput 1 77 1", "setForegroundWindow " + hexOwn(), "attachInput 1 77 0",
                                          "bringToTop " + hexOwn()}));
}

TEST_F(PlayWidgetFullScreen, AChildInTheForegroundAlreadyLeavesItAlone)
{
    startShown(kWindows7Version);
    null::setForeground(own());
    surface().onFullScreen();
    EXPECT_TRUE(null::calls().isEmpty());
}

TEST_F(PlayWidgetFullScreen, AChildThatDoesNotGetTheForegroundFillsTheScreenAllTheSame)
{
    startShown(kWindows7Version);
    null::lockForeground();
    surface().onFullScreen();
    bool bChecked = false; // after the surface's own timer, which was started before
    QTimer::singleShot(kFullScreenCheckMs, [&] { bChecked = true; });
    ASSERT_TRUE(until([&] { return bChecked; }));
    ASSERT_EQ(foregroundWindow(), browser());
    EXPECT_TRUE(surface().isFullScreen());
    EXPECT_EQ(log.of(kTag), kEntered);
    EXPECT_EQ(timersRunning(), 0);
}

TEST_F(PlayWidgetFullScreen, AnOwnedWindowKeepsItsFlagsAndTheForeground)
{
    startShown(kWindows8Version);
    null::clearCalls();
    surface().onFullScreen();
    EXPECT_TRUE(surface().isFullScreen());
    EXPECT_EQ(int(surface().windowFlags()), 0x0200080B);
    EXPECT_TRUE(null::calls().isEmpty());
    EXPECT_EQ(timersRunning(), 1); // the move timer is never stopped
    EXPECT_EQ(log.of(kTag), kEntered);
}

TEST_F(PlayWidgetFullScreen, LeavingPutsAChildBackOverThePage)
{
    startShown(kWindows7Version);
    surface().onFullScreen();
    null::clearCalls();
    surface().onExitFullscreen();
    EXPECT_FALSE(surface().isFullScreen());
    EXPECT_TRUE(surface().isVisible());
    EXPECT_EQ(int(surface().windowFlags()), 0x02000C0B);
    ASSERT_NE(surface().windowHandle()->parent(), nullptr);
    EXPECT_EQ(surface().windowHandle()->parent()->winId(), browser());
    EXPECT_EQ(null::calls(), QStringList({QString("moveWindow %1 30 110 400 300").arg(hexOwn()),
                                          QString("invalidate %1").arg(hexOwn())}));
    EXPECT_EQ(log.of(kExitTag), QStringList("exit fullscreen"));
    EXPECT_EQ(timersRunning(), 1);
}

TEST_F(PlayWidgetFullScreen, LeavingAttachesAnOwnedWindowAgainAndLeavesItsPlaceToTheTimers)
{
    startShown(kWindows8Version);
    surface().onFullScreen();
    null::clearCalls();
    surface().onExitFullscreen();
    EXPECT_EQ(int(surface().windowFlags()), 0x0200080B);
    EXPECT_EQ(null::calls().filter("setOwner").size(), 1);
    EXPECT_TRUE(null::calls().filter("moveWindow").isEmpty());
    EXPECT_EQ(timersRunning(), 2);
}

TEST_F(PlayWidgetFullScreen, LeavingWithoutHavingEnteredDoesNothing)
{
    startShown(kWindows7Version);
    surface().onExitFullscreen();
    EXPECT_TRUE(log.of(kExitTag).isEmpty());
    EXPECT_TRUE(null::calls().isEmpty());
}

TEST_F(PlayWidgetFullScreen, EscapeLeaves)
{
    startShown(kWindows7Version);
    surface().onFullScreen();
    release(Qt::Key_Escape);
    EXPECT_FALSE(surface().isFullScreen());
    EXPECT_EQ(log.of(kKeyTag), QStringList({"keyReleaseEvent", "keyReleaseEvent release"}));
}

TEST_F(PlayWidgetFullScreen, EscapeOutsideFullScreenLogsAndDoesNothingMore)
{
    startShown(kWindows7Version);
    release(Qt::Key_Escape);
    EXPECT_EQ(log.of(kKeyTag), QStringList({"keyReleaseEvent", "keyReleaseEvent release"}));
    EXPECT_TRUE(log.of(kExitTag).isEmpty());
    EXPECT_TRUE(surface().isVisible());
}

TEST_F(PlayWidgetFullScreen, OtherKeysAreLoggedOnly)
{
    startShown(kWindows7Version);
    surface().onFullScreen();
    release(Qt::Key_Return);
    EXPECT_TRUE(surface().isFullScreen());
    EXPECT_EQ(log.of(kKeyTag), QStringList("keyReleaseEvent"));
}

TEST_F(PlayWidgetFullScreen, ARefusedFullScreenIsNoticedAndTrackingStartsAgain)
{
    startShown(kWindows7Version);
    surface().onFullScreen();
    ASSERT_TRUE(refusedUntilNoticed());
    EXPECT_EQ(int(surface().windowFlags()), 0x02000C0B);
    EXPECT_EQ(timersRunning(), 1);
}

TEST_F(PlayWidgetFullScreen, ARefusedFullScreenOfAnOwnedWindowKeepsTheFlags)
{
    startShown(kWindows8Version);
    surface().onFullScreen();
    ASSERT_TRUE(refusedUntilNoticed());
    EXPECT_EQ(int(surface().windowFlags()), 0x0200080B);
    EXPECT_EQ(timersRunning(), 2);
}

TEST_F(PlayWidgetFullScreen, LeavingBeforeTheCheckKeepsTheSurfaceShownAndOneTrackingTimer)
{
    startShown(kWindows7Version);
    surface().onFullScreen();
    surface().onExitFullscreen();
    ASSERT_TRUE(refusedUntilNoticed());
    EXPECT_EQ(timersRunning(), 1);
    EXPECT_TRUE(surface().isVisible());
}

TEST_F(PlayWidgetFullScreen, TheSelectedCellHasNoBorderUntilEscape)
{
    startShownWithBorder(kWindows7Version);
    surface().onFullScreen();
    EXPECT_FALSE(hasBorder());
    release(Qt::Key_Escape);
    EXPECT_TRUE(hasBorder());
}

TEST_F(PlayWidgetFullScreen, TheLivePageAloneIsToldOfIt)
{
    startShownWithBorder(kWindows7Version);
    ASSERT_TRUE(hasBorder<CPlaybackWidget>());
    surface().onFullScreen();
    EXPECT_FALSE(hasBorder());
    EXPECT_TRUE(hasBorder<CPlaybackWidget>());
}

TEST_F(PlayWidgetFullScreen, ARefusedFullScreenGivesTheSelectedCellItsBorderBack)
{
    startShownWithBorder(kWindows8Version);
    surface().onFullScreen();
    EXPECT_FALSE(hasBorder());
    ASSERT_TRUE(refusedUntilNoticed());
    EXPECT_TRUE(hasBorder());
}
