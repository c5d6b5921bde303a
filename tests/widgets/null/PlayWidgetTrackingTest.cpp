// Following the browser: titles, minimising, tabs that move to another window, and the parent's end.
#include "null/NullBrowser.h"

#include <QElapsedTimer>
#include <QVariant>

using namespace platform;

namespace
{
constexpr char kTag[] = "PlayWidget::timerEvent";
constexpr char kRecordedNameLine[] = "m_strWndName.indexOf(m_strBrowserTitle)";
const PluginRegion kRegion{20, 30, 400, 300};

/// nativeEvent is protected; a test may look.
struct SurfaceAccess : PlayWidget {
    using PlayWidget::nativeEvent;
};

class PlayWidgetTracking : public NullBrowserTest
{
protected:
    void startShown(int nVersion)
    {
        start(nVersion);
        bind();
        show(kRegion);
        ASSERT_TRUE(until([this] { return surface().isVisible(); }));
        null::clearCalls();
    }

    void setTitle(const QString& title) { null::window(browser()).strTitle = title; }

    static QString hex8(WindowHandle h) { return QString("%1").arg(h, 8, 16, QChar('0')); }
};
} // namespace

TEST_F(PlayWidgetTracking, TheFirstShowWaitsForTheTickThatSeesThePage)
{
    start(kWindows7Version);
    bind();
    show(kRegion);
    EXPECT_FALSE(surface().isVisible());
    EXPECT_EQ(log.warningsOf("PlayWidget::ReqShowPlugin"),
              QStringList("can't show window reason:ShowPlugin:1,BrowseClientVisible:0,PosValid:1"));
    null::clearCalls();
    ASSERT_TRUE(until([this] { return surface().isVisible(); }));
    EXPECT_EQ(null::calls(), QStringList({QString("moveWindow %1 30 110 400 300").arg(hexOwn()),
                                          QString("invalidate %1").arg(hexOwn())}));
}

TEST_F(PlayWidgetTracking, AChildTellsItsParentsHandleToTheToolkit)
{
    start(kWindows7Version);
    bind();
    const QVariant handle = surface().property("_q_embedded_native_parent_handle");
    EXPECT_EQ(handle.userType(), int(QMetaType::ULongLong));
    EXPECT_EQ(handle.toULongLong(), browser());
}

TEST_F(PlayWidgetTracking, AnotherTabsTitleHidesWithinATenthOfASecondAndTheReturnShowsAndMoves)
{
    startShown(kWindows7Version);
    QElapsedTimer clock;
    clock.start();
    setTitle("News - Browser");
    ASSERT_TRUE(until([this] { return !surface().isVisible(); }));
    EXPECT_LT(clock.elapsed(), 400); // one period, and room for a loaded machine
    null::clearCalls();
    setTitle(QString("%1 - Browser").arg(kPageTitle));
    ASSERT_TRUE(until([this] { return surface().isVisible(); }));
    EXPECT_EQ(null::calls(), QStringList({QString("moveWindow %1 30 110 400 300").arg(hexOwn()),
                                          QString("invalidate %1").arg(hexOwn())}));
}

TEST_F(PlayWidgetTracking, ALoginAfterALoginTracksWithOneTimer)
{
    startShown(kWindows7Version);
    bind();
    bind(false);
    EXPECT_EQ(timersRunning(), 1);
}

TEST_F(PlayWidgetTracking, TheTitleIsComparedCaseSensitive)
{
    startShown(kWindows7Version);
    setTitle("web viewer 7 - Browser");
    EXPECT_TRUE(until([this] { return !surface().isVisible(); }));
}

TEST_F(PlayWidgetTracking, APageTitleOutsideAsciiNeverMatches)
{
    start(kWindows7Version);
    setTitle(QString::fromUtf8("B\u00fcro - Browser"));
    surface().BindBrowser(browser(), kRenderWindow, QString::fromUtf8("B\u00fcro"), 2);
    putInto(browser());
    show(kRegion);
    ASSERT_TRUE(someTicks());
    EXPECT_FALSE(surface().isVisible());
}

TEST_F(PlayWidgetTracking, AMinimisedBrowserHidesTheSurface)
{
    startShown(kWindows7Version);
    null::window(browser()).bMinimised = true;
    ASSERT_TRUE(until([this] { return !surface().isVisible(); }));
    null::window(browser()).bMinimised = false;
    EXPECT_TRUE(until([this] { return surface().isVisible(); }));
}

TEST_F(PlayWidgetTracking, AQuietBrowserCostsNoMoveAndNoLogLine)
{
    startShown(kWindows8Version);
    ASSERT_TRUE(until([this] { return log.of(kTag).contains("move pt.x=118 pt.y=160"); })); // its first origin
    log.clear();
    null::clearCalls();
    ASSERT_TRUE(someTicks());
    EXPECT_TRUE(log.of(kTag).isEmpty());
    EXPECT_TRUE(null::calls().isEmpty());
}

TEST_F(PlayWidgetTracking, WithoutAClientNoTitleHidesTheSurface)
{
    start(kWindows7Version);
    bind(false);
    show(kRegion);
    ASSERT_TRUE(surface().isVisible());
    setTitle("News - Browser");
    ASSERT_TRUE(someTicks());
    EXPECT_TRUE(surface().isVisible());
}

TEST_F(PlayWidgetTracking, WithoutAClientAStrangersParentIsPutRightAgain)
{
    start(kWindows8Version);
    bind(false);
    show(kRegion);
    null::window(own()).hOwner = 0x99;
    null::clearCalls();
    ASSERT_TRUE(until([this] { return null::window(own()).hOwner == browser(); }));
    EXPECT_TRUE(until([this] { return !null::calls().filter("moveWindow " + hexOwn()).isEmpty(); }));
}

TEST_F(PlayWidgetTracking, AttachingAnOwnedWindowSetsStyleOwnerAndPlaceDirectlyAboveTheBrowser)
{
    start(kWindows8Version);
    null::add(browser(), null::SWindow(null::window(browser()))); // above the surface
    const WindowHandle hAbove = addTopLevel("Above", QRect(0, 0, 100, 100));
    null::window(own()).nStyle = 0x96000000;
    bind();
    EXPECT_EQ(null::calls(), QStringList({QString("setStyle %1 56000000").arg(hexOwn()),
                                          QString("setOwner %1 %2").arg(hexOwn(), QString::number(browser(), 16)),
                                          QString("insertAfter %1 %2").arg(hexOwn(), QString::number(hAbove, 16))}));
    EXPECT_EQ(previousInZOrder(browser()), own());
    EXPECT_EQ(previousInZOrder(own()), hAbove);
}

TEST_F(PlayWidgetTracking, ATabThatMovedToAnotherWindowTakesTheSurfaceAlong)
{
    startShown(kWindows8Version);
    const WindowHandle hOther = addTopLevel(QString("%1 - Browser").arg(kPageTitle), QRect(300, 200, 816, 638));
    null::SWindow render = null::window(kRenderWindow);
    render.hParent = hOther;
    null::remove(kRenderWindow);
    null::add(kRenderWindow, render);
    ASSERT_TRUE(until([&] { return null::window(own()).hOwner == hOther; }));
    EXPECT_TRUE(log.of(kTag).contains(
        QString("m_playWidget handle:%1\tm_hCurBrowseClientWnd:%2\tbefore parent handle:%3\tnow parent handle:%4")
            .arg(hex8(own()), hex8(kRenderWindow), hex8(browser()), hex8(hOther))));
    EXPECT_TRUE(
        until([this] { return null::calls().contains(QString("moveWindow %1 338 340 400 300").arg(hexOwn())); }));
    EXPECT_TRUE(surface().isVisible());
}

TEST_F(PlayWidgetTracking, AChildFollowsATabTornOutWhereThePageHasNoWindowOfItsOwn)
{
    startShown(kWindows7Version);
    const WindowHandle hOther = addTopLevel(QString("%1 - Browser").arg(kPageTitle), QRect(300, 200, 816, 638));
    setTitle("News - Browser");
    null::setFollowed(kRenderWindow, hOther);
    ASSERT_TRUE(until([&] { return !log.of(kTag).filter("now parent handle:" + hex8(hOther)).isEmpty(); }));
    putInto(hOther);
    EXPECT_TRUE(until([this] { return null::calls().contains(QString("moveWindow %1 20 30 400 300").arg(hexOwn())); }));
    EXPECT_TRUE(until([this] { return surface().isVisible(); }));
}

TEST_F(PlayWidgetTracking, ARecordedNameWithoutThePagesTitleIsLoggedEachTickAndReboundToTheForeground)
{
    start(kWindows8Version);
    setTitle("News - Browser");
    bind();
    ASSERT_TRUE(until([this] { return log.of(kTag).count(kRecordedNameLine) >= 3; }));
    const WindowHandle hOther = addTopLevel(QString("%1 - Browser").arg(kPageTitle), QRect(300, 200, 816, 638));
    null::SWindow render;
    render.hParent = hOther;
    render.className = kChromeClass;
    null::add(0x7000002, render);
    null::setForeground(hOther);
    ASSERT_TRUE(until([&] {
        return log.of(kTag).count(kRecordedNameLine) > 3 && surface().isVisible() == false &&
               !log.of("PlayWidget::ErgodicAllChild").isEmpty();
    }));
    ASSERT_TRUE(until([&] { return null::window(own()).hOwner == hOther; }));
    show(kRegion);
    EXPECT_TRUE(until([this] { return surface().isVisible(); }));
    log.clear();
    ASSERT_TRUE(someTicks());
    EXPECT_EQ(log.of(kTag).count(kRecordedNameLine), 0);
}

TEST_F(PlayWidgetTracking, ReboundToAWindowWithoutARenderWindowTheSurfaceHasNoClientAnyMore)
{
    start(kWindows8Version);
    setTitle("News - Browser");
    bind();
    const WindowHandle hOther = addTopLevel(QString("%1 - Browser").arg(kPageTitle), QRect(300, 200, 816, 638));
    null::setForeground(hOther);
    ASSERT_TRUE(until([&] { return null::window(own()).hOwner == hOther; }));
    show(kRegion);
    EXPECT_TRUE(surface().isVisible()); // at once: there is no client to be seen first
    null::window(hOther).strTitle = "News - Browser";
    ASSERT_TRUE(someTicks());
    EXPECT_TRUE(surface().isVisible());
    EXPECT_EQ(null::window(own()).hOwner, hOther);
}

TEST_F(PlayWidgetTracking, TheMoveTimerFollowsTheClientAndKeepsTheSize)
{
    startShown(kWindows8Version);
    ASSERT_TRUE(until([this] { return log.of(kTag).contains("move pt.x=118 pt.y=160"); }));
    const QSize size = surface().size();
    null::window(browser()).rc.translate(50, 40);
    ASSERT_TRUE(until([this] { return log.of(kTag).contains("move pt.x=168 pt.y=200"); }));
    EXPECT_EQ(surface().pos(), QPoint(168 + 20, 200 + 30));
    EXPECT_EQ(surface().size(), size);
}

TEST_F(PlayWidgetTracking, AnOwnWindowThatHasGoneIsLeftInPeace)
{
    for (const int nVersion : {kWindows7Version, kWindows8Version}) {
        startShown(nVersion);
        null::remove(own());
        null::window(browser()).rc.translate(50, 40);
        null::clearCalls();
        log.clear();
        ASSERT_TRUE(someTicks(10));
        EXPECT_TRUE(null::calls().isEmpty());
        EXPECT_TRUE(log.of(kTag).isEmpty());
        PlayWidget::ReleaseInstance();
    }
}

TEST_F(PlayWidgetTracking, ABrowserThatHasGoneLeavesTheSurfaceAtItsOwnOffsetsAndIsNotAttachedTo)
{
    startShown(kWindows8Version);
    ASSERT_TRUE(until([this] { return log.of(kTag).contains("move pt.x=118 pt.y=160"); }));
    null::remove(browser());
    null::clearCalls();
    ASSERT_TRUE(until([this] { return log.of(kTag).contains("move pt.x=0 pt.y=0"); }));
    EXPECT_EQ(surface().pos(), QPoint(kRegion.left, kRegion.top));
    ASSERT_TRUE(someTicks());
    EXPECT_TRUE(null::calls().filter("setOwner").isEmpty());
}

TEST_F(PlayWidgetTracking, AClientThatOutlivesItsBrowserGivesNoOrigin)
{
    startShown(kWindows8Version);
    ASSERT_TRUE(until([this] { return log.of(kTag).contains("move pt.x=118 pt.y=160"); }));
    null::SWindow render = null::window(kRenderWindow);
    render.hParent = 0;
    null::remove(browser());
    null::add(kRenderWindow, render);
    null::window(own()).hOwner = kRenderWindow; // its root, so that nothing is attached anew
    ASSERT_TRUE(until([this] { return log.of(kTag).contains("move pt.x=0 pt.y=0"); }));
    EXPECT_EQ(surface().pos(), QPoint(kRegion.left, kRegion.top));
}

TEST_F(PlayWidgetTracking, TheParentsDestructionSendsTheSurfaceToTheSurvivingRoot)
{
    startShown(kWindows7Version);
    const WindowHandle hOther = addTopLevel("Other", QRect(300, 200, 816, 638));
    null::SWindow render = null::window(kRenderWindow);
    render.hParent = hOther;
    null::remove(kRenderWindow);
    null::add(kRenderWindow, render);
    for (const char* szType : {"windows_generic_MSG", "windows_dispatcher_MSG"}) {
        null::clearCalls();
        log.clear();
        null::SMessage message{2, own()};
        long nResult = 0;
        EXPECT_TRUE((surface().*&SurfaceAccess::nativeEvent)(szType, &message, &nResult));
        EXPECT_EQ(message.nMessage, 0u);
        const QString strOther = QString::number(hOther, 16);
        EXPECT_EQ(null::calls(), QStringList({"setParent " + hexOwn() + " 0", "setParent " + hexOwn() + " " + strOther,
                                              "invalidate " + hexOwn()}));
        EXPECT_EQ(log.of("PlayWidget::nativeEvent"), QStringList("recive WM_DESTROY " + hex8(own())));
    }
}

TEST_F(PlayWidgetTracking, WithoutAClientTheParentsDestructionMovesNothingAndIsHandled)
{
    start(kWindows7Version);
    bind(false);
    null::clearCalls();
    null::SMessage message{2, own()};
    long nResult = 0;
    EXPECT_TRUE((surface().*&SurfaceAccess::nativeEvent)("windows_generic_MSG", &message, &nResult));
    EXPECT_EQ(message.nMessage, 0u);
    EXPECT_TRUE(null::calls().isEmpty());
    show(kRegion);
    EXPECT_TRUE(surface().isVisible()); // still bound to its browser
}

TEST_F(PlayWidgetTracking, TheDestructionOfParentAndClientLeavesTheSurfaceWithoutABrowser)
{
    startShown(kWindows7Version);
    null::remove(kRenderWindow);
    null::SMessage message{2, own()};
    long nResult = 0;
    EXPECT_TRUE((surface().*&SurfaceAccess::nativeEvent)("windows_generic_MSG", &message, &nResult));
    EXPECT_EQ(null::calls(),
              QStringList({"setParent " + hexOwn() + " 0", "setParent " + hexOwn() + " 0", "invalidate " + hexOwn()}));
    log.clear();
    show(kRegion);
    EXPECT_EQ(log.of("PlayWidget::onWidgetStatuChange"), QStringList("m_hCurBrowseWnd is invalid window"));
}

TEST_F(PlayWidgetTracking, OtherNativeEventsPass)
{
    startShown(kWindows7Version);
    long nResult = 0;
    null::SMessage paint{15, own()};
    EXPECT_FALSE((surface().*&SurfaceAccess::nativeEvent)("windows_generic_MSG", &paint, &nResult));
    null::SMessage destroy{2, own()};
    EXPECT_FALSE((surface().*&SurfaceAccess::nativeEvent)("xcb_generic_event_t", &destroy, &nResult));
    EXPECT_EQ(destroy.nMessage, 2u);
    EXPECT_TRUE(log.of("PlayWidget::nativeEvent").isEmpty());
}
