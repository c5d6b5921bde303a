#include "surface/ScaleSlider.h"

#include "WidgetTest.h"

#include <QFile>
#include <QLabel>
#include <QPainter>
#include <QSignalSpy>
#include <QTest>

#include <gmock/gmock.h>

namespace
{

class ScaleSliderTest : public testing::Test
{
protected:
    ScaleSliderTest()
    {
        m_window.resize(800, 100);
        m_window.show();
        EXPECT_TRUE(QTest::qWaitForWindowExposed(&m_window));
    }

    CScaleSlider& slider(float fMaxTimes = 8.0F, int nWidth = 710)
    {
        m_pSlider = new CScaleSlider(&m_window, 3, fMaxTimes);
        m_pSlider->resize(nWidth, 35);
        m_pSlider->show();
        return *m_pSlider;
    }

    /// So that nothing stands before what the slider draws itself.
    void showNeitherGrooveNorHandle()
    {
        m_window.setStyleSheet("#ScaleSlider::groove, #ScaleSlider::handle { background: transparent; }");
    }

    QLabel& label() { return *m_pSlider->findChild<QLabel*>("ScaleLabel"); }

    /// The x of all white pixels of one row.
    QVector<int> whiteIn(int nRow)
    {
        QVector<int> columns;
        const QImage image = imageOf(*m_pSlider);
        for (int nX = 0; nX < image.width(); ++nX)
            if (image.pixelColor(nX, nRow) == QColor(Qt::white))
                columns << nX;
        return columns;
    }

    QWidget m_window;
    CScaleSlider* m_pSlider = nullptr;
};

} // namespace

TEST_F(ScaleSliderTest, RunsInTenthsUpToTheMaximumLessOne)
{
    EXPECT_EQ(slider().minimum(), 0);
    EXPECT_EQ(m_pSlider->maximum(), 70);
    EXPECT_EQ(m_pSlider->singleStep(), 1);
    EXPECT_EQ(m_pSlider->pageStep(), 1);
    EXPECT_EQ(m_pSlider->orientation(), Qt::Horizontal);
    EXPECT_EQ(m_pSlider->windowFlags(), Qt::WindowFlags(0x812));
    EXPECT_EQ(slider(4.0F).maximum(), 30);
}

TEST_F(ScaleSliderTest, CreationIsLogged)
{
    const CLogLines log;
    slider(8.0F);
    slider(4.5F);
    EXPECT_EQ(log.of("CScaleSlider::CScaleSlider"), (QStringList{"CScaleSlider m_fMaxTimes=8 m_iMaxTimes=70",
                                                                 "CScaleSlider m_fMaxTimes=4.5 m_iMaxTimes=35"}));
}

TEST_F(ScaleSliderTest, ValueZeroShowsOnePointZero)
{
    slider();
    EXPECT_EQ(label().text(), "1.0");
    EXPECT_EQ(label().size(), QSize(25, 20));
    EXPECT_TRUE(label().isVisible());
    EXPECT_TRUE(label().testAttribute(Qt::WA_TransparentForMouseEvents));
}

TEST_F(ScaleSliderTest, Value35ShowsFourPointFiveLeftOfTheHandle)
{
    slider(8.0F, 700).setValue(35);
    EXPECT_EQ(label().text(), "4.5");
    EXPECT_EQ(label().pos(), QPoint(350 - 35, 0));
}

TEST_F(ScaleSliderTest, Value34PutsTheLabelFivePixelsRightOfTheHandle)
{
    slider(8.0F, 700).setValue(34);
    EXPECT_EQ(label().text(), "4.4");
    EXPECT_EQ(label().pos(), QPoint(340 + 5, 0));
}

TEST_F(ScaleSliderTest, PaintingPutsTheLabelInPlaceAfterAResize)
{
    slider(8.0F, 700).setValue(70);
    m_pSlider->resize(350, 35);
    imageOf(*m_pSlider);
    EXPECT_EQ(label().pos(), QPoint(350 - 35, 0));
    EXPECT_EQ(label().text(), "8.0");
}

TEST_F(ScaleSliderTest, HasSeventyOneTicksAtTheDefault)
{
    slider();
    // The handle may cover its own tick: put it once to the left and once to the right and join the two.
    QSet<int> ticks;
    for (const int nValue : {0, 70}) {
        m_pSlider->setValue(nValue);
        for (const int nX : whiteIn(m_pSlider->height() - 1))
            ticks << nX;
    }
    EXPECT_EQ(ticks.size(), 71);
    for (int i = 0; i <= 70; ++i)
        EXPECT_TRUE(ticks.contains(i * 10)) << i;
}

TEST_F(ScaleSliderTest, EveryTenthTickIsLong)
{
    slider();
    const int nLongRow = m_pSlider->height() - 8; // within 9 pixels of the edge, beyond 5
    QSet<int> found;
    // The handle covers the tick at its end, and has white pixels of its own: each half is looked at without it.
    m_pSlider->setValue(70);
    for (const int nX : whiteIn(nLongRow))
        if (nX < 350)
            found << nX;
    m_pSlider->setValue(0);
    for (const int nX : whiteIn(nLongRow))
        if (nX >= 350)
            found << nX;
    EXPECT_EQ(found, QSet<int>({0, 100, 200, 300, 400, 500, 600, 700}));
}

TEST_F(ScaleSliderTest, TicksHangFromTheUpperEdgeToo)
{
    showNeitherGrooveNorHandle();
    slider();
    QVector<int> all, longOnes;
    for (int nX = 0; nX <= 700; nX += 10) {
        all << nX;
        if (nX % 100 == 0)
            longOnes << nX;
    }
    EXPECT_EQ(whiteIn(1), all);
    EXPECT_EQ(whiteIn(7), longOnes);
}

TEST_F(ScaleSliderTest, GrayLineTwoPixelsThickRunsThroughTheMiddle)
{
    showNeitherGrooveNorHandle();
    slider();
    const QImage image = imageOf(*m_pSlider);
    QVector<int> gray;
    for (int nY = 0; nY < image.height(); ++nY)
        if (image.pixelColor(105, nY) == QColor(Qt::gray)) // between two ticks
            gray << nY;
    EXPECT_EQ(gray, (QVector<int>{16, 17}));
    EXPECT_EQ(image.pixelColor(1, 17), QColor(Qt::gray));
    EXPECT_EQ(image.pixelColor(708, 17), QColor(Qt::gray));
}

TEST_F(ScaleSliderTest, NarrowerThanItsStepsAllTicksLieAtTheLeftEdge)
{
    slider(8.0F, 60).setValue(70);
    EXPECT_EQ(whiteIn(m_pSlider->height() - 1), QVector<int>{0});
}

TEST_F(ScaleSliderTest, PaintsWithoutComplaintFromTheToolkit)
{
    static int s_nWarnings;
    s_nWarnings = 0;
    const auto fnOld = qInstallMessageHandler(
        [](QtMsgType type, const QMessageLogContext&, const QString&) { s_nWarnings += type == QtWarningMsg; });
    slider().setValue(20);
    imageOf(*m_pSlider);
    qInstallMessageHandler(fnOld);
    EXPECT_EQ(s_nWarnings, 0);
}

TEST_F(ScaleSliderTest, StyleSheetOfTheProgramLeavesTicksAndHandleToBeSeen)
{
    QFile sheet(STYLE_SHEET);
    ASSERT_TRUE(sheet.open(QIODevice::ReadOnly));
    m_window.setStyleSheet(QString::fromUtf8(sheet.readAll()));
    slider().setValue(35);
    const QImage image = imageOf(*m_pSlider);
    EXPECT_EQ(image.pixelColor(500, 2), QColor(Qt::white)) << "a long tick";
    EXPECT_EQ(image.pixelColor(351, 17), QColor(18, 144, 255)) << "the handle in the middle";
    EXPECT_NE(image.pixelColor(505, 2), QColor(Qt::white)) << "between two ticks";
}

TEST_F(ScaleSliderTest, NeverRaisesItsOwnSignal)
{
    QSignalSpy raised(&slider(), &CScaleSlider::sig_SetScaleTwoLensTimes);
    m_pSlider->setValue(20);
    click(*m_pSlider, {100, 10});
    EXPECT_EQ(raised.count(), 0);
}

TEST_F(ScaleSliderTest, MaximumOfOneDoesNotDivideByZero)
{
    slider(1.0F);
    imageOf(*m_pSlider);
    EXPECT_EQ(m_pSlider->maximum(), 0);
    EXPECT_EQ(label().text(), "1.0");
}
