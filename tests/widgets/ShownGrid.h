// A grid of nine cells on the screen, in the light theme, whose signals are kept in order.
#pragma once

#include "WidgetTest.h"
#include "surface/PlayWindowManage.h"
#include "surface/ScaleSlider.h"
#include "surface/VideoFrame.h"
#include "surface/VideoWnd.h"

#include <QTest>

#include <gmock/gmock.h>

constexpr int kWaitMs = 10000;
const QColor kLightBorder(18, 144, 255); // of a selected cell

class CShownGrid : public testing::Test
{
protected:
    CShownGrid() : m_grid(nullptr)
    {
        m_grid.resize(804, 804);
        m_grid.SetSplit(9);
        m_grid.SetTheme("White");
        m_grid.show();
        EXPECT_TRUE(QTest::qWaitForWindowExposed(&m_grid));
        recordSignals();
    }

    void recordSignals()
    {
        QObject::connect(&m_grid, &CPlayWindowManage::curWndIndexSig, [this](int n) { add("current %1", n); });
        QObject::connect(&m_grid, &CPlayWindowManage::sig_GetScaleTwoLensAbility, [this](int n) { add("lens %1", n); });
        QObject::connect(&m_grid, &CPlayWindowManage::quitDigitalZoom, [this](int n) { add("quitZoom %1", n); });
        QObject::connect(&m_grid, &CPlayWindowManage::quitPTZElect, [this](int n) { add("quitPTZ %1", n); });
        QObject::connect(&m_grid, &CPlayWindowManage::DigitalZoomSig, [this](QPoint start, QPoint end, int n) {
            m_signals << QString("zoom %1 %2 %3").arg(pointText(start), pointText(end)).arg(n);
        });
    }

    void add(const char* szText, int nIndex) { m_signals << QString(szText).arg(nIndex); }

    CVideoWnd& cell(int nIndex) { return *m_grid.findChildren<CVideoWnd*>().at(nIndex); }
    CVideoFrame& frame(int nIndex) { return *cell(nIndex).findChild<CVideoFrame*>(); }
    CScaleSlider* slider(int nIndex) { return cell(nIndex).findChild<CScaleSlider*>(); }
    bool isSliderShown(int nIndex) { return slider(nIndex) && slider(nIndex)->isVisible(); }

    QVector<int> shownCells()
    {
        QVector<int> shown;
        for (int i = 0; i < 64; ++i)
            if (cell(i).isVisible())
                shown << i;
        return shown;
    }

    static QVector<int> cellsUpTo(int nCount)
    {
        QVector<int> cells;
        for (int i = 0; i < nCount; ++i)
            cells << i;
        return cells;
    }

    /// The shown cells that wear the selection border.
    QVector<int> borderedCells()
    {
        QVector<int> bordered;
        for (const int i : shownCells())
            if (imageOf(cell(i)).pixelColor(0, 0) == kLightBorder)
                bordered << i;
        return bordered;
    }

    void selectIn400(int nIndex, QPoint ptStart, QPoint ptEnd)
    {
        m_grid.onSelectRegion(reinterpret_cast<void*>(static_cast<quintptr>(frame(nIndex).GetHwnd())), ptStart, ptEnd);
    }

    CPlayWindowManage m_grid;
    QStringList m_signals;
};
