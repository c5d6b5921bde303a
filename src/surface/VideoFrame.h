// The inner window of a cell: the decoder paints into its native window, and it takes the mouse. A drag over a
// stream asks for a rubber band and then for a region; the right button cancels.
//
// Thread: GUI thread.
#pragma once

#include "decode/LumoDecode.h"
#include "surface/ZoomRegion.h"

#include <QFrame>
#include <QPoint>
#include <QString>

class CVideoFrame : public QFrame
{
    Q_OBJECT
public:
    explicit CVideoFrame(QWidget* pParent);

    void SetWndIndex(int nIndex) { m_nWndIndex = nIndex; }
    LumoWindow GetHwnd() const { return m_hWnd; }

    void setPTZElectStatus(bool bStatus);
    /// True while a stream is shown in a state that allows a region to be drawn.
    void SetPreviewStatus(bool bStatus) { m_bPreview = bStatus; }
    /// False also forgets the region.
    void SetDigitalZoomStatus(bool bStatus);
    bool GetDigitalZoomStatus() const { return m_bDraw; }
    const LumoRect& GetRegion() const { return m_rcRegion; }
    void SetRegion(const LumoRect& rcRegion) { m_rcRegion = rcRegion; }
    /// A picture to show while no stream paints; a file that does not exist shows nothing.
    void SetBackground(const QString& strFile);

signals:
    void doubleClicked(int nWndIndex);
    void activeWnd(int nWndIndex);
    void sig_RectanglePoint(void* hWnd, QPoint start, QPoint cur);
    void sig_selectRegion(void* hWnd, QPoint start, QPoint end);
    void quitDigitalZoom(int nWndIndex);
    void quitPTZElect(int nWndIndex);

protected:
    void timerEvent(QTimerEvent* pEvent) override;
    void mousePressEvent(QMouseEvent* pEvent) override;
    void mouseReleaseEvent(QMouseEvent* pEvent) override;
    void mouseDoubleClickEvent(QMouseEvent* pEvent) override;
    void mouseMoveEvent(QMouseEvent* pEvent) override;
    void paintEvent(QPaintEvent* pEvent) override;
    void resizeEvent(QResizeEvent* pEvent) override;

private:
    void armDrag(QPoint pt);
    void cancelByRightButton();
    void stopDragTimer();
    bool isTooSmallToSelect() const;
    void selectDraggedRegion();
    void* handle() const { return reinterpret_cast<void*>(static_cast<quintptr>(m_hWnd)); }

    int m_nWndIndex = -1;
    int m_nTimer = 0;
    bool m_bLeftDown = false;
    bool m_bDraw = false; // armed by a press, and the status the pages ask for: a plain click leaves it set
    int m_nHalfWidth = 0;
    int m_nHalfHeight = 0;
    LumoRect m_rcRegion = kNoZoomRegion;
    QPoint m_ptPress;
    QPoint m_ptCur;
    QPoint m_ptStart;
    LumoWindow m_hWnd = 0;
    bool m_bPreview = false;
    bool m_bElect = false;
    QString m_strBackground;
};
