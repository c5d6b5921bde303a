// A grid of up to 64 cells with a selected cell, layouts, maximise by double click, and the relay of mouse gestures
// to the page that owns it. Knows nothing of devices or ports: it hands out the native handle of a cell's frame, and
// turns gestures into signals and coordinates.
//
// Thread: GUI thread. Indices: the forwarding operations take a cell from 0 to 63, unsigned; anything above, so a
// negative number too, means all cells. All cells exist from the start and keep their handles, so a port stays bound
// across splits.
#pragma once

#include "decode/LumoDecode.h"
#include "platform/Pen.h"
#include "surface/GridLayout.h"

#include <QPoint>
#include <QString>
#include <QWidget>

#include <array>

class CVideoWnd;
class QFrame;
class QGridLayout;

class CPlayWindowManage : public QWidget
{
    Q_OBJECT
public:
    enum EShowMode { kShowNone = 0, kShowSingle = 1, kShowSeveral = 2, kShowMaximized = 3 };

    explicit CPlayWindowManage(QWidget* pParent);
    ~CPlayWindowManage() override;

    /// Lays out nCount windows, 64 at most, and selects cell 0 without a signal.
    void SetSplit(int nCount);
    int GetCurWndIndex() const { return m_nCurWnd; }
    /// One of EShowMode. Asked by tests alone.
    int GetShowMode() const { return m_nShowMode; }
    /// One cell fills the view, so that the two-lens slider may stand on it.
    bool IsOneCellShown() const { return m_nShowMode == kShowSingle || m_nShowMode == kShowMaximized; }
    /// 0 for an index that is no cell.
    LumoWindow GetVideoHwnd(quint32 nIndex) const;

    void setPreviewStatus(quint32 nIndex, bool bStatus);
    void SetDigitalZoomStatus(quint32 nIndex, bool bStatus);
    void ToggleDigitalZoomStatus();
    bool GetDigitalZoomStatus() const;
    void setPTZElectStatus(quint32 nIndex, bool bStatus);
    void UpdateWnd(quint32 nIndex);
    void ShowScaleSlider(quint32 nIndex, bool bShow, float fMaxTimes);
    void SetScaleValue(quint32 nIndex, float fTimes);
    void SetTheme(const QString& strTheme);
    /// Of cell 0 only.
    void SetBackground(const QString& strFile);
    void EnterFullScreen();
    void RestoreActive();

signals:
    void DigitalZoomSig(QPoint start, QPoint end, int nWndIndex);
    void curWndIndexSig(int nWndIndex);
    void quitDigitalZoom(int nWndIndex);
    void quitPTZElect(int nWndIndex);
    void sig_GetScaleTwoLensAbility(int nWndNo);
    void sig_SetScaleTwoLensTimes(float fTimes, int nWndNo);

public slots:
    void onCurWndIndexChange(int nIndex);
    void onWndDoubleClicked(int nIndex);
    void onSelectRegion(void* hwnd, QPoint start, QPoint end);
    void onRectanglePoint(void* hwnd, QPoint start, QPoint end);

protected:
    void paintEvent(QPaintEvent* pEvent) override;

private:
    void createCell(int nIndex);
    void renewGridLayout();
    void placeCells(int nCount);
    void maximize(int nIndex);
    void restore(int nIndex);
    CVideoWnd* cell(quint32 nIndex) const;
    void setActive(quint32 nIndex, bool bActive);
    template <typename Action> void forEachOf(quint32 nIndex, Action action);

    std::array<CVideoWnd*, kGridCells> m_pWnd{};
    QFrame* m_pFrame = nullptr;
    platform::PenHandle m_hPen = 0; // rubber band, made at its first use
    QGridLayout* m_pGridLayout = nullptr;
    int m_nCurWnd = 0;
    int m_nSplit = 0;
    bool m_bMaximized = false;
    int m_nShowMode = kShowNone;
};
