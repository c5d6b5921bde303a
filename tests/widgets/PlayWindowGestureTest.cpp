#include "ShownGrid.h"

#include <QScreen>
#include <QSignalSpy>
#include <QTemporaryDir>

#include <gmock/gmock.h>

namespace
{

class PlayWindowGestureTest : public CShownGrid
{
};

} // namespace

TEST_F(PlayWindowGestureTest, SelectionInAFrameOf400By400GivesItsRegion)
{
    frame(0).resize(400, 400);
    selectIn400(0, {100, 100}, {300, 200});
    EXPECT_EQ(m_signals, QStringList{"zoom 2048,2048 6144,4096 0"});
    selectIn400(0, {100, 100}, {300, 200});
    EXPECT_EQ(m_signals.last(), "zoom 3072,2560 5130,3077 0");
}

TEST_F(PlayWindowGestureTest, SelectedCellGetsTheRegionWhicheverWindowTheBandWasDrawnIn)
{
    m_grid.onCurWndIndexChange(4);
    m_signals.clear();
    frame(2).resize(400, 400);
    selectIn400(2, {100, 100}, {300, 200});
    EXPECT_EQ(m_signals, QStringList{"zoom 2048,2048 6144,4096 4"});
    EXPECT_EQ(cell(4).GetRegion().left, 2048);
    EXPECT_EQ(cell(2).GetRegion().right, -1);
}

TEST_F(PlayWindowGestureTest, DegenerateSelectionGivesTheFullPicture)
{
    selectIn400(0, {50, 50}, {50, 90});
    EXPECT_EQ(m_signals, QStringList{"zoom 0,0 8192,8192 0"});
}

TEST_F(PlayWindowGestureTest, SelectionInAWindowThatIsNoneIsDropped)
{
    m_grid.onSelectRegion(nullptr, {0, 0}, {50, 50});
    EXPECT_EQ(m_signals, QStringList());
}

TEST_F(PlayWindowGestureTest, DragOnAStreamingCellEndsInAZoomOfThatCell)
{
    m_grid.SetSplit(4);
    m_grid.setPreviewStatus(3, true);
    QApplication::processEvents();
    ASSERT_EQ(frame(3).size(), QSize(400, 400));
    drag(frame(3), {100, 100}, {300, 200});
    EXPECT_EQ(m_signals, (QStringList{"current 3", "zoom 2048,2048 6144,4096 3"}));
}

TEST_F(PlayWindowGestureTest, RightClickPassesTheQuitSignalsOn)
{
    m_grid.setPreviewStatus(2, true);
    m_grid.setPTZElectStatus(2, true);
    click(frame(2), {10, 10}, Qt::RightButton);
    EXPECT_EQ(m_signals, (QStringList{"quitZoom 2", "quitPTZ 2", "current 2"}));
}

TEST_F(PlayWindowGestureTest, EndOfASliderGesturePassesOn)
{
    m_grid.SetSplit(1);
    m_grid.ShowScaleSlider(0, true, 8.0F);
    QSignalSpy told(&m_grid, &CPlayWindowManage::sig_SetScaleTwoLensTimes);
    m_grid.SetScaleValue(0, 3.0F);
    release(*slider(0), {5, 5});
    ASSERT_EQ(told.count(), 1);
    EXPECT_FLOAT_EQ(told.first().at(0).toFloat(), 3.0F);
    EXPECT_EQ(told.first().at(1).toInt(), 0);
}

TEST_F(PlayWindowGestureTest, PreviewStatusIsLoggedWithTheUnsignedIndex)
{
    const CLogLines log;
    m_grid.setPreviewStatus(3, true);
    m_grid.setPreviewStatus(-1, false);
    EXPECT_EQ(log.of("CPlayWindowManage::setPreviewStatus"),
              (QStringList{"wnd:3 preview:1", "wnd:4294967295 preview:0"}));
}

TEST_F(PlayWindowGestureTest, ForwardersTakeAnIndexAboveSixtyThreeAsAllCells)
{
    m_grid.SetDigitalZoomStatus(64, true);
    for (int i = 0; i < 64; ++i)
        EXPECT_TRUE(cell(i).GetDigitalZoomStatus());
    m_grid.SetDigitalZoomStatus(-1, false);
    for (int i = 0; i < 64; ++i)
        EXPECT_FALSE(cell(i).GetDigitalZoomStatus());
    m_grid.SetDigitalZoomStatus(63, true);
    for (int i = 0; i < 64; ++i)
        EXPECT_EQ(cell(i).GetDigitalZoomStatus(), i == 63);
}

TEST_F(PlayWindowGestureTest, PreviewStatusOfAllCellsArmsEveryCell)
{
    m_grid.setPreviewStatus(64, true);
    for (int i = 0; i < 9; ++i) {
        press(frame(i), {10, 10});
        release(frame(i), {10, 10});
        EXPECT_TRUE(cell(i).GetDigitalZoomStatus()) << i;
    }
}

TEST_F(PlayWindowGestureTest, ToggleFlipsTheZoomStatusOfTheSelectedCell)
{
    m_grid.onCurWndIndexChange(2);
    m_grid.ToggleDigitalZoomStatus();
    EXPECT_TRUE(m_grid.GetDigitalZoomStatus());
    EXPECT_TRUE(cell(2).GetDigitalZoomStatus());
    EXPECT_FALSE(cell(0).GetDigitalZoomStatus());
    m_grid.ToggleDigitalZoomStatus();
    EXPECT_FALSE(m_grid.GetDigitalZoomStatus());
}

TEST_F(PlayWindowGestureTest, BackgroundGoesToCellZeroOnly)
{
    const QTemporaryDir dir;
    QImage picture(8, 8, QImage::Format_RGB32);
    picture.fill(QColor(200, 100, 50));
    ASSERT_TRUE(picture.save(dir.filePath("background.png")));
    m_grid.SetBackground(dir.filePath("background.png"));
    EXPECT_EQ(imageOf(frame(0)).pixelColor(20, 20), QColor(200, 100, 50));
    EXPECT_EQ(imageOf(frame(1)).pixelColor(20, 20), QColor(0, 0, 0));
}

TEST_F(PlayWindowGestureTest, ThemeGoesToAllCells)
{
    m_grid.SetSplit(64);
    m_grid.SetTheme("Black");
    for (int i = 1; i < 64; ++i)
        EXPECT_EQ(imageOf(cell(i)).pixelColor(0, 0), QColor(43, 43, 43)) << i;
}

TEST_F(PlayWindowGestureTest, FullScreenTakesAllBordersOffAndRestoreBringsTheSelectedOneBack)
{
    m_grid.onCurWndIndexChange(4);
    m_grid.EnterFullScreen();
    EXPECT_EQ(borderedCells(), QVector<int>());
    m_grid.RestoreActive();
    EXPECT_EQ(borderedCells(), QVector<int>{4});
}

TEST_F(PlayWindowGestureTest, FullScreenHidesTheSliderOfASingleCell)
{
    m_grid.SetSplit(1);
    m_grid.ShowScaleSlider(0, true, 8.0F);
    m_grid.EnterFullScreen();
    EXPECT_FALSE(isSliderShown(0));
}

TEST_F(PlayWindowGestureTest, BandIsDrawnInRedOnTheNativeWindowAboveChildWindows)
{
    m_grid.SetSplit(1);
    QApplication::processEvents();
    QWidget decoderWindow(&frame(0)); // stands for the decoder's own window inside the frame
    decoderWindow.setGeometry(0, 0, 802, 802);
    decoderWindow.setAutoFillBackground(true);
    decoderWindow.setPalette(QPalette(Qt::green));
    decoderWindow.winId();
    decoderWindow.show();
    const auto colorAt = [&](QPoint pt) {
        return m_grid.screen()->grabWindow(m_grid.winId()).toImage().pixelColor(pt + QPoint(1, 1));
    };
    ASSERT_TRUE(QTest::qWaitFor([&] { return colorAt({50, 50}) == QColor(Qt::green); }, kWaitMs));
    m_grid.onRectanglePoint(reinterpret_cast<void*>(static_cast<quintptr>(frame(0).GetHwnd())), {100, 120}, {300, 320});
    for (const QPoint pt : {QPoint(100, 200), QPoint(200, 320), QPoint(300, 200), QPoint(200, 120)})
        EXPECT_TRUE(QTest::qWaitFor([&] { return colorAt(pt) == QColor(Qt::red); }, kWaitMs))
            << pt.x() << "," << pt.y();
    EXPECT_EQ(colorAt({200, 200}), QColor(Qt::green));
    EXPECT_EQ(colorAt({102, 200}), QColor(Qt::green));
    EXPECT_EQ(colorAt({98, 200}), QColor(Qt::green));
}

TEST_F(PlayWindowGestureTest, BandInAWindowThatHasGoneGivesUpInSilence)
{
    auto* pGone = new QWidget;
    const WId nGone = pGone->winId();
    delete pGone;
    m_grid.onRectanglePoint(reinterpret_cast<void*>(nGone), {0, 0}, {10, 10});
    m_grid.onRectanglePoint(nullptr, {0, 0}, {10, 10});
    m_grid.SetSplit(4); // still alive, and so is the connection to the display
    EXPECT_EQ(shownCells(), cellsUpTo(4));
}
