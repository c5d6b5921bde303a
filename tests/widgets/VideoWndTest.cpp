#include "surface/VideoWnd.h"

#include "WidgetTest.h"
#include "surface/ScaleSlider.h"
#include "surface/VideoFrame.h"

#include <QScreen>
#include <QSignalSpy>
#include <QTest>

#include <gmock/gmock.h>

namespace
{

constexpr int kWaitMs = 10000;
const QColor kBlackTheme(43, 43, 43);
const QColor kBlackBorder(196, 0, 34);
const QColor kLightTheme(255, 255, 255);
const QColor kLightBorder(18, 144, 255);

class VideoWndTest : public testing::Test
{
protected:
    VideoWndTest() : m_cell(&m_window, 5)
    {
        m_window.resize(900, 600);
        m_cell.setGeometry(0, 0, 900, 600);
        m_window.show();
        EXPECT_TRUE(QTest::qWaitForWindowExposed(&m_window));
    }

    CVideoFrame& frame() { return *m_cell.findChild<CVideoFrame*>("CPlayWnd"); }
    CScaleSlider* slider() { return m_cell.findChild<CScaleSlider*>("ScaleSlider"); }

    CScaleSlider& shownSlider(float fMaxTimes = 8.0F)
    {
        m_cell.ShowScaleSlider(true, fMaxTimes);
        return *slider();
    }

    QColor edgeColor() { return imageOf(m_cell).pixelColor(450, 0); }

    QWidget m_window;
    CVideoWnd m_cell;
};

} // namespace

TEST_F(VideoWndTest, FrameLeavesARingOfOnePixel)
{
    EXPECT_EQ(frame().geometry(), QRect(1, 1, 898, 598));
    EXPECT_EQ(m_cell.objectName(), "VideoWnd");
    EXPECT_EQ(m_cell.GetVideoHwnd(), frame().GetHwnd());
}

TEST_F(VideoWndTest, UnselectedCellIsWhiteAroundTheFrame)
{
    const QImage image = imageOf(m_cell);
    EXPECT_EQ(image.pixelColor(0, 0), kLightTheme);
    EXPECT_EQ(image.pixelColor(899, 599), kLightTheme);
    EXPECT_EQ(image.pixelColor(1, 1), QColor(0, 0, 0));
    EXPECT_EQ(image.pixelColor(898, 598), QColor(0, 0, 0));
}

TEST_F(VideoWndTest, SelectedCellHasARingOfOnePixelOnAllSides)
{
    m_cell.SetTheme("Black");
    m_cell.SetActive(true);
    const QImage image = imageOf(m_cell);
    for (const QPoint pt : {QPoint(0, 0), QPoint(899, 0), QPoint(0, 599), QPoint(899, 599), QPoint(450, 599)})
        EXPECT_EQ(image.pixelColor(pt), kBlackBorder) << pt.x() << "," << pt.y();
    EXPECT_EQ(image.pixelColor(1, 1), QColor(0, 0, 0));
    EXPECT_EQ(image.pixelColor(898, 598), QColor(0, 0, 0));
}

TEST_F(VideoWndTest, BlackThemeIsDarkWithARedBorder)
{
    m_cell.SetTheme("Black");
    EXPECT_EQ(edgeColor(), kBlackTheme);
    m_cell.SetActive(true);
    EXPECT_EQ(edgeColor(), kBlackBorder);
    m_cell.SetActive(false);
    EXPECT_EQ(edgeColor(), kBlackTheme);
}

TEST_F(VideoWndTest, ThemeWordInLowerCaseGivesTheLightTheme)
{
    m_cell.SetTheme("black");
    EXPECT_EQ(edgeColor(), kLightTheme);
    m_cell.SetActive(true);
    EXPECT_EQ(edgeColor(), kLightBorder);
}

TEST_F(VideoWndTest, AnyOtherThemeWordIsLightAgain)
{
    m_cell.SetTheme("Black");
    m_cell.SetTheme("");
    EXPECT_EQ(edgeColor(), kLightTheme);
}

TEST_F(VideoWndTest, ChangeOfSelectionRepaintsTheRingAlone)
{
    QApplication::processEvents();
    CPaintWatch cellWatch(&m_cell);
    CPaintWatch frameWatch(&frame());
    m_cell.SetActive(true);
    ASSERT_TRUE(QTest::qWaitFor([&] { return cellWatch.nPaints > 0; }, kWaitMs));
    EXPECT_EQ(frameWatch.nPaints, 0);
    EXPECT_EQ(cellWatch.painted.subtracted(QRegion(0, 0, 900, 600) - QRegion(1, 1, 898, 598)), QRegion());
}

TEST_F(VideoWndTest, UpdateRepaintsTheFrameToo)
{
    QApplication::processEvents();
    CPaintWatch frameWatch(&frame());
    m_cell.UpdateAll();
    EXPECT_TRUE(QTest::qWaitFor([&] { return frameWatch.nPaints > 0; }, kWaitMs));
}

TEST_F(VideoWndTest, SignalsOfTheFramePassThroughWithTheCellsIndex)
{
    QStringList seen;
    QObject::connect(&m_cell, &CVideoWnd::activeWnd, [&](int n) { seen << QString("activeWnd %1").arg(n); });
    QObject::connect(&m_cell, &CVideoWnd::doubleClicked, [&](int n) { seen << QString("doubleClicked %1").arg(n); });
    QObject::connect(&m_cell, &CVideoWnd::quitDigitalZoom, [&](int n) { seen << QString("quitZoom %1").arg(n); });
    QObject::connect(&m_cell, &CVideoWnd::quitPTZElect, [&](int n) { seen << QString("quitPTZ %1").arg(n); });
    QObject::connect(&m_cell, &CVideoWnd::sig_selectRegion, [&](void*, QPoint, QPoint) { seen << "region"; });
    QObject::connect(&m_cell, &CVideoWnd::sig_RectanglePoint, [&](void*, QPoint, QPoint) { seen << "band"; });
    m_cell.SetPreviewStatus(true);
    m_cell.setPTZElectStatus(true);
    drag(frame(), {10, 10}, {60, 60});
    click(frame(), {10, 10}, Qt::RightButton);
    m_cell.SetPreviewStatus(false);
    sendMouse(frame(), QEvent::MouseButtonDblClick, {10, 10}, Qt::LeftButton);
    EXPECT_EQ(seen, (QStringList{"activeWnd 5", "region", "band", "quitZoom 5", "quitPTZ 5", "activeWnd 5",
                                 "activeWnd 5", "doubleClicked 5", "activeWnd 5"}));
}

TEST_F(VideoWndTest, HidingBeforeAnyShowMakesNoSlider)
{
    m_cell.ShowScaleSlider(false, 8.0F);
    EXPECT_EQ(slider(), nullptr);
    m_cell.SetScaleValue(3.0F); // without a slider nothing happens
}

TEST_F(VideoWndTest, DeviceWhoseMaximumIsOneGetsNoSlider)
{
    m_cell.ShowScaleSlider(true, 1.0F);
    EXPECT_EQ(slider(), nullptr);
    m_cell.ShowScaleSlider(true, 0.0F);
    EXPECT_EQ(slider(), nullptr);
}

TEST_F(VideoWndTest, SliderIsMadeAtTheFirstShowAndHiddenAgain)
{
    EXPECT_TRUE(shownSlider().isVisible());
    EXPECT_EQ(slider()->maximum(), 70);
    m_cell.ShowScaleSlider(false, 0.0F);
    EXPECT_FALSE(slider()->isVisible());
}

TEST_F(VideoWndTest, SecondShowWithAnotherMaximumKeepsTheRange)
{
    shownSlider(8.0F);
    m_cell.ShowScaleSlider(true, 4.0F);
    EXPECT_EQ(m_cell.findChildren<CScaleSlider*>().size(), 1);
    EXPECT_EQ(slider()->maximum(), 70);
    EXPECT_EQ(slider()->height(), 35); // and the place, which follows from the range
}

TEST_F(VideoWndTest, SliderStandsInTheLowerPartOverTwoThirdsOfTheWidth)
{
    EXPECT_EQ(shownSlider().geometry(), QRect((900 - 630) / 2, 600 - 1 - 70 - 9, 630, 35));
}

TEST_F(VideoWndTest, SliderFollowsASizeChange)
{
    shownSlider();
    m_cell.resize(450, 400);
    EXPECT_EQ(slider()->geometry(), QRect((450 - 350) / 2, 400 - 1 - 70 - 9, 350, 35));
}

TEST_F(VideoWndTest, SliderLiesAboveTheFramesNativeWindow)
{
    CScaleSlider& shown = shownSlider();
    const QPoint ptSlider = shown.mapTo(&m_window, QPoint(0, 0)) + QPoint(0, 0);
    const auto whiteTick = [&] {
        const QImage image = m_window.screen()->grabWindow(m_window.winId()).toImage();
        return image.pixelColor(ptSlider + QPoint(40 * 9, 2)) == QColor(Qt::white);
    };
    EXPECT_TRUE(QTest::qWaitFor(whiteTick, kWaitMs));
}

TEST_F(VideoWndTest, ScaleValueMovesTheSliderWithoutTellingTheDevice)
{
    shownSlider();
    QSignalSpy told(&m_cell, &CVideoWnd::sig_SetScaleTwoLensTimes);
    m_cell.SetScaleValue(3.5F);
    EXPECT_EQ(slider()->value(), 35);
    EXPECT_EQ(told.count(), 0);
}

TEST_F(VideoWndTest, ClickOnTheSliderJumpsToTheSpotAndTellsAtItsEnd)
{
    CScaleSlider& shown = shownSlider();
    QSignalSpy told(&m_cell, &CVideoWnd::sig_SetScaleTwoLensTimes);
    press(shown, {315, 17});
    EXPECT_EQ(shown.value(), 35);
    EXPECT_TRUE(shown.IsPressed());
    EXPECT_EQ(told.count(), 0);
    release(shown, {315, 17});
    EXPECT_FALSE(shown.IsPressed());
    ASSERT_EQ(told.count(), 1);
    EXPECT_FLOAT_EQ(told.first().at(0).toFloat(), 3.5F);
    EXPECT_EQ(told.first().at(1).toInt(), 5);
}

TEST_F(VideoWndTest, RightPressOnTheSliderDoesNotJump)
{
    CScaleSlider& shown = shownSlider();
    press(shown, {315, 17}, Qt::RightButton);
    EXPECT_EQ(shown.value(), 0);
    EXPECT_FALSE(shown.IsPressed());
}

TEST_F(VideoWndTest, WheelTellsTheDevice)
{
    CScaleSlider& shown = shownSlider();
    m_cell.SetScaleValue(2.0F);
    QSignalSpy told(&m_cell, &CVideoWnd::sig_SetScaleTwoLensTimes);
    QWheelEvent wheel(QPointF(10, 10), shown.mapToGlobal(QPoint(10, 10)), QPoint(), QPoint(0, 120), Qt::NoButton,
                      Qt::NoModifier, Qt::NoScrollPhase, false);
    QApplication::sendEvent(&shown, &wheel);
    ASSERT_EQ(told.count(), 1);
    EXPECT_FLOAT_EQ(told.first().at(0).toFloat(), 2.0F); // the value before the step: the filter comes first
}

TEST_F(VideoWndTest, ReleaseOfAnArrowKeyTellsTheDeviceAndOtherKeysDoNot)
{
    CScaleSlider& shown = shownSlider();
    QSignalSpy told(&m_cell, &CVideoWnd::sig_SetScaleTwoLensTimes);
    for (const int nKey : {Qt::Key_Left, Qt::Key_Up, Qt::Key_Right, Qt::Key_Down})
        QTest::keyRelease(&shown, static_cast<Qt::Key>(nKey));
    EXPECT_EQ(told.count(), 4);
    for (const int nKey : {Qt::Key_Home, Qt::Key_End, Qt::Key_PageUp, Qt::Key_A})
        QTest::keyRelease(&shown, static_cast<Qt::Key>(nKey));
    EXPECT_EQ(told.count(), 4);
}

TEST_F(VideoWndTest, EventsOfOtherObjectsAreNoneOfTheFiltersBusiness)
{
    shownSlider();
    QSignalSpy told(&m_cell, &CVideoWnd::sig_SetScaleTwoLensTimes);
    frame().installEventFilter(&m_cell);
    click(frame(), {10, 10});
    EXPECT_EQ(told.count(), 0);
}
