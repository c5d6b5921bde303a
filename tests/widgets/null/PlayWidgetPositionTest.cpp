// The page's show, hide and move: what must hold for the surface to be seen, and where it goes.
#include "null/NullBrowser.h"

using namespace platform;

namespace
{
constexpr char kMoveTag[] = "PlayWidget::MovePlayWidget";
constexpr char kReqTag[] = "PlayWidget::ReqShowPlugin";
constexpr char kStatusTag[] = "PlayWidget::onWidgetStatuChange";
const PluginRegion kGood{20, 30, 400, 300};
const PluginRegion kNoWidth{20, 30, 0, 300};
const PluginRegion kNegativeLeft{-1, 30, 400, 300};

class PlayWidgetPosition : public NullBrowserTest
{
protected:
    void move(const PluginRegion& rc) { surface().onWidgetStatuChange(4, rc); }
    void hideByPage() { surface().onWidgetStatuChange(1, PluginRegion()); }

    /// Bound and seen at kGood.
    void startShown(int nVersion, bool withClient)
    {
        start(nVersion);
        bind(withClient);
        show(kGood);
        ASSERT_TRUE(until([this] { return surface().isVisible(); }));
    }

    QString moveCall(int nX, int nY, const PluginRegion& rc)
    {
        return QString("moveWindow %1 %2 %3 %4 %5").arg(hexOwn()).arg(nX).arg(nY).arg(rc.width).arg(rc.height);
    }
};
} // namespace

TEST_F(PlayWidgetPosition, ConstructionLogsTheSystemAndTheKindOfEmbedding)
{
    start(kWindows7Version);
    EXPECT_EQ(log.of("PlayWidget::PlayWidget"), QStringList("WinVersion=144 EmbedType=0"));
}

TEST_F(PlayWidgetPosition, SystemsAfterWindows7AreEmbeddedAsOwnedWindows)
{
    start(kWindows7Version + 1);
    EXPECT_EQ(log.of("PlayWidget::PlayWidget"), QStringList("WinVersion=145 EmbedType=1"));
}

TEST_F(PlayWidgetPosition, TheSurfaceIsAHiddenFramelessToolWindowUntilThePageShowsIt)
{
    start(kWindows7Version);
    EXPECT_FALSE(surface().isVisible());
    EXPECT_EQ(int(surface().windowFlags()), 0x0200080B);
    EXPECT_EQ(timersRunning(), 0);
}

TEST_F(PlayWidgetPosition, ShowWithWidthZeroStaysHiddenAndWarnsTwice)
{
    start(kWindows7Version);
    bind(false);
    show(kNoWidth);
    EXPECT_FALSE(surface().isVisible());
    EXPECT_EQ(log.warningsOf(kReqTag),
              QStringList("can't show window reason:ShowPlugin:1,BrowseClientVisible:0,PosValid:0"));
    EXPECT_EQ(log.warningsOf(kMoveTag), QStringList("wnd can't move,reason:ShowPlugin:1,PosValid:0"));
    EXPECT_EQ(log.of(kStatusTag), QStringList("WebCtrlShow call"));
}

TEST_F(PlayWidgetPosition, ShowOnWindows7StartsNoMoveTimer)
{
    startShown(kWindows7Version, false);
    EXPECT_EQ(timersRunning(), 1); // the tracking timer
}

TEST_F(PlayWidgetPosition, ShowOnLaterSystemsStartsOneMoveTimerHoweverOftenItComes)
{
    startShown(kWindows8Version, true);
    EXPECT_EQ(timersRunning(), 2);
    show(kGood);
    EXPECT_EQ(timersRunning(), 2);
}

TEST_F(PlayWidgetPosition, ShowWithoutAnAreaStartsTheMoveTimerAllTheSame)
{
    start(kWindows8Version);
    bind();
    show(kNoWidth);
    EXPECT_FALSE(surface().isVisible());
    EXPECT_EQ(timersRunning(), 2);
}

TEST_F(PlayWidgetPosition, MoveWithANegativeLeftHidesAndAValidMoveShowsAgainWithoutAShow)
{
    startShown(kWindows7Version, false);
    move(kNegativeLeft);
    EXPECT_FALSE(surface().isVisible());
    move(kGood);
    EXPECT_TRUE(surface().isVisible());
    EXPECT_EQ(log.of(kStatusTag), QStringList({"WebCtrlShow call", "WebCtrlMove call", "WebCtrlMove call"}));
}

TEST_F(PlayWidgetPosition, AMoveAfterAHideStaysHiddenAndTheWarningReportsShowPluginZero)
{
    startShown(kWindows7Version, false);
    hideByPage();
    EXPECT_FALSE(surface().isVisible());
    log.clear();
    move(kGood);
    EXPECT_FALSE(surface().isVisible());
    EXPECT_EQ(log.warningsOf(kReqTag),
              QStringList("can't show window reason:ShowPlugin:0,BrowseClientVisible:0,PosValid:1"));
    EXPECT_EQ(log.warningsOf(kMoveTag), QStringList("wnd can't move,reason:ShowPlugin:0,PosValid:1"));
}

TEST_F(PlayWidgetPosition, ARefusedRectangleIsNotKept)
{
    startShown(kWindows8Version, true);
    move(kNegativeLeft);
    null::clearCalls();
    null::window(kRenderWindow).rc.translate(5, 0);
    // the move timer places by the rectangle kept, which is still the good one
    ASSERT_TRUE(until([this] { return surface().pos() == QPoint(118 + 5 + 20, 160 + 30); }));
}

TEST_F(PlayWidgetPosition, StatusThreeAndUnknownOnesDoNothing)
{
    startShown(kWindows7Version, false);
    log.clear();
    null::clearCalls();
    for (const int nStatus : {3, 0, 5, -1})
        surface().onWidgetStatuChange(nStatus, PluginRegion{1, 2, 3, 4});
    EXPECT_TRUE(surface().isVisible());
    EXPECT_TRUE(null::calls().isEmpty());
    EXPECT_TRUE(log.of(kStatusTag).isEmpty());
}

TEST_F(PlayWidgetPosition, AChildIsPlacedFromTheClientsOriginInTheBrowserWindow)
{
    startShown(kWindows7Version, true);
    EXPECT_EQ(null::calls().mid(null::calls().size() - 2),
              QStringList({moveCall(10 + 20, 80 + 30, kGood), "invalidate " + hexOwn()}));
    EXPECT_TRUE(log.of(kMoveTag).contains("nLeft:30,nTop:110,Width:400,Height:300"));
}

TEST_F(PlayWidgetPosition, AnOwnedWindowIsPlacedFromTheClientsOriginOnTheScreen)
{
    startShown(kWindows8Version, true);
    EXPECT_TRUE(null::calls().contains(moveCall(118 + 20, 160 + 30, kGood)));
}

TEST_F(PlayWidgetPosition, AChildWithoutAClientIsPlacedFromTheBrowserWindowsCorner)
{
    startShown(kWindows7Version, false);
    EXPECT_TRUE(null::calls().contains(moveCall(20, 30, kGood)));
}

TEST_F(PlayWidgetPosition, AnOwnedWindowWithoutAClientTakesTheBorderForTheSameOnBothSides)
{
    startShown(kWindows8Version, false);
    // The corner of the frame as Qt tells it, and half of what the frame is wider and higher than the client area.
    const QPoint frame = std::unique_ptr<QWindow>(QWindow::fromWinId(browser()))->framePosition();
    EXPECT_TRUE(null::calls().contains(moveCall(frame.x() + 8 + 20, frame.y() + 19 + 30, kGood)));
}

TEST_F(PlayWidgetPosition, AMoveIsLoggedFromBeginToEnd)
{
    startShown(kWindows7Version, false);
    EXPECT_EQ(log.of(kMoveTag), QStringList({"move begin", "nLeft:20,nTop:30,Width:400,Height:300", "move end"}));
}

TEST_F(PlayWidgetPosition, AnUnboundSurfaceRefusesThePage)
{
    start(kWindows7Version);
    show(kGood);
    EXPECT_FALSE(surface().isVisible());
    EXPECT_EQ(log.of(kStatusTag), QStringList("m_hCurBrowseWnd is invalid window"));
}

TEST_F(PlayWidgetPosition, ABrowserWindowThatHasGoneRefusesThePage)
{
    start(kWindows8Version);
    bind();
    null::remove(browser());
    show(kGood);
    EXPECT_FALSE(surface().isVisible());
    EXPECT_EQ(log.of(kStatusTag), QStringList("m_hCurBrowseWnd is invalid window"));
}

TEST_F(PlayWidgetPosition, AnOwnWindowThatHasGoneRefusesThePage)
{
    start(kWindows7Version);
    bind();
    null::remove(own());
    show(kGood);
    EXPECT_EQ(log.of(kStatusTag), QStringList("m_playWidget is invalid window"));
}

TEST_F(PlayWidgetPosition, ReqShowPluginAnswersWhetherTheVisibilityChanged)
{
    startShown(kWindows7Version, false);
    EXPECT_FALSE(surface().ReqShowPlugin(true));
    EXPECT_TRUE(surface().ReqShowPlugin(false));
    EXPECT_FALSE(surface().ReqShowPlugin(false));
    EXPECT_TRUE(surface().ReqShowPlugin(true));
    hideByPage();
    EXPECT_FALSE(surface().ReqShowPlugin(true));
}

TEST_F(PlayWidgetPosition, AfterAReleaseTheNextUseMakesANewSurface)
{
    startShown(kWindows7Version, false);
    PlayWidget::ReleaseInstance();
    start(kWindows7Version);
    EXPECT_FALSE(surface().isVisible());
    bind(false);
    show(kGood);
    EXPECT_TRUE(surface().isVisible());
}
