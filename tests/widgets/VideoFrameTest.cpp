#include "surface/VideoFrame.h"

#include "WidgetTest.h"

#include <QAbstractEventDispatcher>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>

#include <gmock/gmock.h>

#include <tuple>

namespace
{

constexpr int kWaitMs = 10000;

struct SOpenFrame : CVideoFrame {
    using CVideoFrame::CVideoFrame;
    using CVideoFrame::mouseReleaseEvent;
};

class VideoFrameTest : public testing::Test
{
protected:
    VideoFrameTest() : m_frame(&m_window)
    {
        m_window.resize(500, 400);
        m_frame.setGeometry(0, 0, 400, 300);
        m_frame.SetWndIndex(5);
        m_window.show();
        EXPECT_TRUE(QTest::qWaitForWindowExposed(&m_window));
        recordSignals();
    }

    void recordSignals()
    {
        QObject::connect(&m_frame, &CVideoFrame::activeWnd, [this](int n) { add("activeWnd %1", n); });
        QObject::connect(&m_frame, &CVideoFrame::doubleClicked, [this](int n) { add("doubleClicked %1", n); });
        QObject::connect(&m_frame, &CVideoFrame::quitDigitalZoom, [this](int n) { add("quitDigitalZoom %1", n); });
        QObject::connect(&m_frame, &CVideoFrame::quitPTZElect, [this](int n) { add("quitPTZElect %1", n); });
        QObject::connect(&m_frame, &CVideoFrame::sig_selectRegion, [this](void* hWnd, QPoint start, QPoint end) {
            m_hSelected = hWnd;
            m_signals << "selectRegion " + pointText(start) + " " + pointText(end);
        });
        QObject::connect(&m_frame, &CVideoFrame::sig_RectanglePoint, [this](void* hWnd, QPoint start, QPoint cur) {
            m_hBand = hWnd;
            m_signals << "band " + pointText(start) + " " + pointText(cur);
        });
    }

    void add(const char* szText, int nIndex) { m_signals << QString(szText).arg(nIndex); }

    /// The signals of a drag of that size on a streaming frame, without the bands of the timer.
    QStringList signalsOfDrag(int nWidth, int nHeight)
    {
        m_frame.SetPreviewStatus(true);
        m_signals.clear();
        drag(m_frame, {100, 100}, {100 + nWidth, 100 + nHeight});
        return m_signals;
    }

    /// Bands that three ticks of the drag timer ask for.
    int bandsOfTicks()
    {
        const QSignalSpy bands(&m_frame, &CVideoFrame::sig_RectanglePoint);
        QTimerEvent tick(0);
        for (int i = 0; i < 3; ++i)
            QApplication::sendEvent(&m_frame, &tick);
        return bands.count();
    }

    /// A drag of a streaming frame that goes on.
    void beginDrag(QPoint ptFrom, QPoint ptTo)
    {
        m_frame.SetPreviewStatus(true);
        press(m_frame, ptFrom);
        moveTo(m_frame, ptTo);
        m_signals.clear();
    }

    /// The base class ignores every release.
    bool reachesBaseOnRelease(QPoint pt, Qt::MouseButton button = Qt::LeftButton)
    {
        QMouseEvent event(QEvent::MouseButtonRelease, pt, button, Qt::NoButton, Qt::NoModifier);
        m_frame.mouseReleaseEvent(&event);
        return !event.isAccepted();
    }

    bool isTimerRunning() const
    {
        return !QAbstractEventDispatcher::instance()->registeredTimers(const_cast<SOpenFrame*>(&m_frame)).isEmpty();
    }

    std::tuple<int, int, int, int> region() const
    {
        const LumoRect& rc = m_frame.GetRegion();
        return {rc.left, rc.top, rc.right, rc.bottom};
    }

    QWidget m_window;
    SOpenFrame m_frame;
    QStringList m_signals;
    void* m_hSelected = nullptr;
    void* m_hBand = nullptr;
};

const std::tuple<int, int, int, int> kNone{0, 0, -1, -1};

} // namespace

TEST_F(VideoFrameTest, OwnsANativeWindowFromTheStart)
{
    CVideoFrame frame(nullptr);
    EXPECT_NE(frame.GetHwnd(), 0u);
    EXPECT_EQ(frame.GetHwnd(), frame.internalWinId());
    EXPECT_EQ(frame.objectName(), "CPlayWnd");
    EXPECT_TRUE(frame.testAttribute(Qt::WA_MouseTracking));
}

TEST_F(VideoFrameTest, IsBlackWhileNothingIsShown)
{
    const QImage image = imageOf(m_frame);
    EXPECT_EQ(image.pixelColor(0, 0), QColor(0, 0, 0));
    EXPECT_EQ(image.pixelColor(200, 150), QColor(0, 0, 0));
    EXPECT_EQ(image.pixelColor(399, 299), QColor(0, 0, 0));
}

TEST_F(VideoFrameTest, StartsWithoutZoom)
{
    EXPECT_FALSE(m_frame.GetDigitalZoomStatus());
    EXPECT_EQ(region(), kNone);
}

TEST_F(VideoFrameTest, LeftClickOnAStreamActivatesAndSelectsNoRegion)
{
    m_frame.SetPreviewStatus(true);
    click(m_frame, {50, 60});
    EXPECT_EQ(m_signals, QStringList{"activeWnd 5"});
    EXPECT_EQ(signalsOfDrag(0, 0), QStringList{"activeWnd 5"}) << "a move to the same spot";
}

TEST_F(VideoFrameTest, ReleaseOfAPlainClickOnAStreamSkipsTheBaseClass)
{
    m_frame.SetPreviewStatus(true);
    press(m_frame, {50, 60});
    EXPECT_FALSE(reachesBaseOnRelease({50, 60}));
}

TEST_F(VideoFrameTest, ReleaseWithoutAStreamReachesTheBaseClass)
{
    press(m_frame, {50, 60});
    EXPECT_TRUE(reachesBaseOnRelease({50, 60}));
}

TEST_F(VideoFrameTest, ReleaseOfAnotherButtonDuringADragReachesTheBaseClassAndTheDragGoesOn)
{
    beginDrag({100, 100}, {150, 150});
    EXPECT_TRUE(reachesBaseOnRelease({150, 150}, Qt::MiddleButton));
    EXPECT_TRUE(isTimerRunning());
    EXPECT_EQ(m_signals, QStringList());
    release(m_frame, {150, 150});
    EXPECT_EQ(m_signals, (QStringList{"selectRegion 100,100 150,150", "band 0,0 0,0"}));
}

TEST_F(VideoFrameTest, StreamOrZoomStatusTakenAwayDuringADragLeavesNoSelection)
{
    for (const auto& [bPreview, bZoom] : {std::pair(false, false), {false, true}, {true, false}}) {
        beginDrag({100, 100}, {150, 150});
        m_frame.SetPreviewStatus(bPreview);
        m_frame.SetDigitalZoomStatus(bZoom);
        EXPECT_TRUE(reachesBaseOnRelease({150, 150})) << bPreview << bZoom;
        EXPECT_EQ(m_signals, QStringList()) << bPreview << bZoom;
        EXPECT_FALSE(isTimerRunning()) << bPreview << bZoom;
    }
}

TEST_F(VideoFrameTest, PlainClickLeavesTheZoomStatusSet)
{
    m_frame.SetPreviewStatus(true);
    click(m_frame, {50, 60});
    EXPECT_TRUE(m_frame.GetDigitalZoomStatus());
    EXPECT_FALSE(isTimerRunning());
}

TEST_F(VideoFrameTest, DragOfNineByHundredPixelsSelectsNothingAndStaysArmed)
{
    EXPECT_EQ(signalsOfDrag(9, 100), QStringList{"activeWnd 5"});
    EXPECT_TRUE(m_frame.GetDigitalZoomStatus());
}

TEST_F(VideoFrameTest, DragOfHundredByNinePixelsSelectsNothingAndStaysArmed)
{
    EXPECT_EQ(signalsOfDrag(100, 9), QStringList{"activeWnd 5"});
    EXPECT_TRUE(m_frame.GetDigitalZoomStatus());
}

TEST_F(VideoFrameTest, DragOfTenByTenPixelsSelectsThenDrawsADotThenDisarms)
{
    EXPECT_EQ(signalsOfDrag(10, 10), (QStringList{"activeWnd 5", "selectRegion 100,100 110,110", "band 0,0 0,0"}));
    EXPECT_FALSE(m_frame.GetDigitalZoomStatus());
    EXPECT_EQ(reinterpret_cast<quintptr>(m_hSelected), m_frame.GetHwnd());
    EXPECT_EQ(reinterpret_cast<quintptr>(m_hBand), m_frame.GetHwnd());
}

TEST_F(VideoFrameTest, DragUpwardsAndLeftSelectsToo)
{
    EXPECT_EQ(signalsOfDrag(-50, -60), (QStringList{"activeWnd 5", "selectRegion 100,100 50,40", "band 0,0 0,0"}));
}

TEST_F(VideoFrameTest, SelectionIsLogged)
{
    const CLogLines log;
    signalsOfDrag(30, 20);
    EXPECT_EQ(log.of("CVideoFrame::mouseReleaseEvent"),
              QStringList{"draw region start.x=100 end.x=130 start.y=100 end.y=120"});
}

TEST_F(VideoFrameTest, LeftDragWithoutPreviewStatusOnlyActivates)
{
    press(m_frame, {100, 100});
    EXPECT_FALSE(isTimerRunning());
    moveTo(m_frame, {200, 200});
    release(m_frame, {200, 200});
    EXPECT_EQ(m_signals, QStringList{"activeWnd 5"});
    EXPECT_FALSE(m_frame.GetDigitalZoomStatus());
}

TEST_F(VideoFrameTest, BandIsAskedForAgainAndAgainWhileTheButtonIsDown)
{
    m_frame.SetPreviewStatus(true);
    QSignalSpy bands(&m_frame, &CVideoFrame::sig_RectanglePoint);
    press(m_frame, {100, 100});
    moveTo(m_frame, {150, 160});
    ASSERT_TRUE(QTest::qWaitFor([&] { return bands.count() >= 3; }, kWaitMs));
    EXPECT_EQ(bands.last().at(1).toPoint(), QPoint(100, 100));
    EXPECT_EQ(bands.last().at(2).toPoint(), QPoint(150, 160));
    release(m_frame, {150, 160});
    EXPECT_FALSE(isTimerRunning());
}

TEST_F(VideoFrameTest, DragTimerIsTenMilliseconds)
{
    m_frame.SetPreviewStatus(true);
    press(m_frame, {100, 100});
    const auto timers = QAbstractEventDispatcher::instance()->registeredTimers(&m_frame);
    ASSERT_EQ(timers.size(), 1);
    EXPECT_EQ(timers.first().interval, 10);
}

TEST_F(VideoFrameTest, NoBandBeforeTheFirstMove)
{
    m_frame.SetPreviewStatus(true);
    press(m_frame, {100, 100});
    EXPECT_EQ(bandsOfTicks(), 0);
}

TEST_F(VideoFrameTest, NoBandAlongTheLeftOrTheUpperEdge)
{
    beginDrag({100, 100}, {1, 1});
    EXPECT_EQ(bandsOfTicks(), 3);
    beginDrag({100, 100}, {0, 150});
    EXPECT_EQ(bandsOfTicks(), 0);
    beginDrag({100, 100}, {150, 0});
    EXPECT_EQ(bandsOfTicks(), 0);
}

TEST_F(VideoFrameTest, NoBandAfterTheRightButtonOrTheEndOfTheStream)
{
    beginDrag({100, 100}, {150, 150});
    press(m_frame, {150, 150}, Qt::RightButton);
    EXPECT_EQ(bandsOfTicks(), 0);
    beginDrag({100, 100}, {150, 150});
    m_frame.SetPreviewStatus(false);
    EXPECT_EQ(bandsOfTicks(), 0);
}

TEST_F(VideoFrameTest, DragIntoTheUpperLeftCornerCountsAsAClick)
{
    EXPECT_EQ(signalsOfDrag(-1000, -1000), QStringList{"activeWnd 5"});
    EXPECT_TRUE(m_frame.GetDigitalZoomStatus());
}

TEST_F(VideoFrameTest, DragStaysInsideTheFrame)
{
    EXPECT_EQ(signalsOfDrag(1000, 1000), (QStringList{"activeWnd 5", "selectRegion 100,100 400,300", "band 0,0 0,0"}));
    EXPECT_EQ(signalsOfDrag(-1000, 50), (QStringList{"activeWnd 5", "selectRegion 100,100 0,150", "band 0,0 0,0"}));
}

TEST_F(VideoFrameTest, DragInAWidthOf301StopsAt300)
{
    m_frame.resize(301, 201);
    EXPECT_EQ(signalsOfDrag(1000, 1000), (QStringList{"activeWnd 5", "selectRegion 100,100 300,200", "band 0,0 0,0"}));
}

TEST_F(VideoFrameTest, RightClickOnAStreamWithElectronicPTZQuitsZoomThenPTZThenActivates)
{
    m_frame.SetPreviewStatus(true);
    m_frame.setPTZElectStatus(true);
    click(m_frame, {50, 60}, Qt::RightButton);
    EXPECT_EQ(m_signals, (QStringList{"quitDigitalZoom 5", "quitPTZElect 5", "activeWnd 5"}));
}

TEST_F(VideoFrameTest, RightClickWithElectronicPTZAloneQuitsOnlyThatAndOnlyOnce)
{
    m_frame.setPTZElectStatus(true);
    click(m_frame, {50, 60}, Qt::RightButton);
    EXPECT_EQ(m_signals, (QStringList{"quitPTZElect 5", "activeWnd 5"}));
    m_signals.clear();
    click(m_frame, {50, 60}, Qt::RightButton);
    EXPECT_EQ(m_signals, QStringList{"activeWnd 5"});
}

TEST_F(VideoFrameTest, RightClickOnAnIdleCellOnlyActivates)
{
    click(m_frame, {50, 60}, Qt::RightButton);
    EXPECT_EQ(m_signals, QStringList{"activeWnd 5"});
}

TEST_F(VideoFrameTest, RightClickForgetsRegionAndZoomStatus)
{
    m_frame.SetPreviewStatus(true);
    m_frame.SetDigitalZoomStatus(true);
    m_frame.SetRegion({1, 2, 3, 4});
    click(m_frame, {50, 60}, Qt::RightButton);
    EXPECT_EQ(region(), kNone);
    EXPECT_FALSE(m_frame.GetDigitalZoomStatus());
}

TEST_F(VideoFrameTest, RightButtonDuringADragCancelsIt)
{
    m_frame.SetPreviewStatus(true);
    press(m_frame, {100, 100});
    moveTo(m_frame, {200, 200});
    press(m_frame, {200, 200}, Qt::RightButton);
    release(m_frame, {200, 200});
    EXPECT_EQ(m_signals, (QStringList{"activeWnd 5", "quitDigitalZoom 5", "activeWnd 5"}));
    EXPECT_FALSE(isTimerRunning());
}

TEST_F(VideoFrameTest, MiddleButtonActivates)
{
    m_frame.SetPreviewStatus(true);
    click(m_frame, {50, 60}, Qt::MiddleButton);
    EXPECT_EQ(m_signals, QStringList{"activeWnd 5"});
    EXPECT_FALSE(m_frame.GetDigitalZoomStatus());
}

TEST_F(VideoFrameTest, DoubleClickActivatesThenTellsOfItThenCountsAsAPressByTheBaseClass)
{
    sendMouse(m_frame, QEvent::MouseButtonDblClick, {50, 60}, Qt::LeftButton);
    EXPECT_EQ(m_signals, (QStringList{"activeWnd 5", "doubleClicked 5", "activeWnd 5"}));
}

TEST_F(VideoFrameTest, DoubleClickOfTheRightButtonCountsToo)
{
    m_frame.SetPreviewStatus(true);
    sendMouse(m_frame, QEvent::MouseButtonDblClick, {50, 60}, Qt::RightButton);
    EXPECT_EQ(m_signals, (QStringList{"activeWnd 5", "doubleClicked 5", "quitDigitalZoom 5", "activeWnd 5"}));
}

TEST_F(VideoFrameTest, ClearingTheZoomStatusResetsTheRegionAndSettingItKeepsIt)
{
    m_frame.SetRegion({1, 2, 3, 4});
    m_frame.SetDigitalZoomStatus(true);
    EXPECT_EQ(region(), std::make_tuple(1, 2, 3, 4));
    m_frame.SetDigitalZoomStatus(false);
    EXPECT_EQ(region(), kNone);
}

TEST_F(VideoFrameTest, ElectronicPTZStatusIsLogged)
{
    const CLogLines log;
    m_frame.setPTZElectStatus(true);
    m_frame.setPTZElectStatus(false);
    EXPECT_EQ(log.of("CVideoFrame::setPTZElectStatus"), (QStringList{"m_bElect = 1", "m_bElect = 0"}));
}

TEST_F(VideoFrameTest, BackgroundPictureFillsTheFrameWhateverItsAspect)
{
    const QTemporaryDir dir;
    QImage picture(10, 40, QImage::Format_RGB32);
    picture.fill(QColor(200, 100, 50));
    const QString strFile = dir.filePath("background.png");
    ASSERT_TRUE(picture.save(strFile));
    m_frame.SetBackground(strFile);
    const QImage image = imageOf(m_frame);
    EXPECT_EQ(image.pixelColor(0, 0), QColor(200, 100, 50));
    EXPECT_EQ(image.pixelColor(399, 299), QColor(200, 100, 50));
}

TEST_F(VideoFrameTest, BackgroundThatDoesNotExistPaintsNothing)
{
    m_frame.SetBackground("/no/such/picture.png");
    EXPECT_EQ(imageOf(m_frame).pixelColor(200, 150), QColor(0, 0, 0));
}

TEST_F(VideoFrameTest, BackgroundThatIsNoPicturePaintsNothing)
{
    const QTemporaryDir dir;
    const QString strFile = dir.filePath("background.png");
    QFile file(strFile);
    ASSERT_TRUE(file.open(QIODevice::WriteOnly));
    file.write("no picture");
    file.close();
    m_frame.SetBackground(strFile);
    EXPECT_EQ(imageOf(m_frame).pixelColor(200, 150), QColor(0, 0, 0));
}
