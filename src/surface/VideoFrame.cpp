#include "surface/VideoFrame.h"

#include "shell/LightWeightLog.h"

#include <QFile>
#include <QImage>
#include <QMouseEvent>
#include <QPainter>
#include <QResizeEvent>
#include <QThread>

#include <algorithm>
#include <cstdlib>

namespace
{

constexpr int kDragTimerMs = 10;
constexpr int kMinSelectionPx = 10;

} // namespace

CVideoFrame::CVideoFrame(QWidget* pParent) : QFrame(pParent)
{
    setObjectName("CPlayWnd");
    setStyleSheet("#CPlayWnd{background-color:rgb(0,0,0);}");
    // The native window must exist before any stream: its handle is what a decoder port is bound to.
    m_hWnd = winId();
    setAttribute(Qt::WA_MouseTracking);
}

void CVideoFrame::setPTZElectStatus(bool bStatus)
{
    Q_ASSERT(QThread::currentThread() == thread());
    m_bElect = bStatus;
    writeLog("CVideoFrame::setPTZElectStatus", QString("m_bElect = %1").arg(m_bElect));
}

void CVideoFrame::SetDigitalZoomStatus(bool bStatus)
{
    Q_ASSERT(QThread::currentThread() == thread());
    if (!bStatus)
        m_rcRegion = kNoZoomRegion;
    m_bDraw = bStatus;
}

void CVideoFrame::SetBackground(const QString& strFile)
{
    Q_ASSERT(QThread::currentThread() == thread());
    m_strBackground = strFile;
    update();
}

/// Every left press on a cell that shows a stream arms the drawing.
void CVideoFrame::armDrag(QPoint pt)
{
    m_bDraw = true;
    m_ptStart = pt;
    m_ptCur = QPoint();
    stopDragTimer();
    m_nTimer = startTimer(kDragTimerMs, Qt::CoarseTimer);
}

void CVideoFrame::stopDragTimer()
{
    if (m_nTimer)
        killTimer(m_nTimer);
    m_nTimer = 0;
}

void CVideoFrame::cancelByRightButton()
{
    if (m_bPreview) {
        m_bLeftDown = false;
        m_bDraw = false;
        emit quitDigitalZoom(m_nWndIndex);
        m_rcRegion = kNoZoomRegion;
    }
    if (m_bElect) {
        m_bElect = false;
        emit quitPTZElect(m_nWndIndex);
    }
}

void CVideoFrame::mousePressEvent(QMouseEvent* pEvent)
{
    if (pEvent->button() == Qt::LeftButton) {
        m_bLeftDown = true;
        m_ptPress = pEvent->pos();
        if (m_bPreview)
            armDrag(pEvent->pos());
    } else if (pEvent->button() == Qt::RightButton) {
        cancelByRightButton();
    }
    emit activeWnd(m_nWndIndex);
    QFrame::mousePressEvent(pEvent);
}

/// Twice the half: an odd size loses its last column or row.
void CVideoFrame::mouseMoveEvent(QMouseEvent* pEvent)
{
    if (m_bLeftDown && m_bDraw && m_bPreview) {
        m_ptCur.setX(std::clamp(pEvent->x(), 0, 2 * m_nHalfWidth));
        m_ptCur.setY(std::clamp(pEvent->y(), 0, 2 * m_nHalfHeight));
    }
    QFrame::mouseMoveEvent(pEvent);
}

void CVideoFrame::timerEvent(QTimerEvent* pEvent)
{
    if (m_bLeftDown && m_ptCur.x() > 0 && m_ptCur.y() > 0 && m_bPreview)
        emit sig_RectanglePoint(handle(), m_ptStart, m_ptCur);
    QFrame::timerEvent(pEvent);
}

/// A click without a move is never a selection, nor is a short drag.
bool CVideoFrame::isTooSmallToSelect() const
{
    return m_ptCur.isNull() || std::abs(m_ptCur.x() - m_ptStart.x()) < kMinSelectionPx ||
           std::abs(m_ptCur.y() - m_ptStart.y()) < kMinSelectionPx;
}

void CVideoFrame::selectDraggedRegion()
{
    writeLog("CVideoFrame::mouseReleaseEvent", QString("draw region start.x=%1 end.x=%2 start.y=%3 end.y=%4")
                                                   .arg(m_ptStart.x())
                                                   .arg(m_ptCur.x())
                                                   .arg(m_ptStart.y())
                                                   .arg(m_ptCur.y()));
    emit sig_selectRegion(handle(), m_ptStart, m_ptCur);
    m_ptStart = m_ptCur = QPoint();
    emit sig_RectanglePoint(handle(), QPoint(), QPoint());
    m_bDraw = false;
}

void CVideoFrame::mouseReleaseEvent(QMouseEvent* pEvent)
{
    if (pEvent->button() == Qt::LeftButton) {
        m_bLeftDown = false;
        stopDragTimer();
        if (m_bDraw && m_bPreview) {
            if (isTooSmallToSelect())
                return; // the drawing stays armed, and the base class is left out: required
            selectDraggedRegion();
        }
    }
    QFrame::mouseReleaseEvent(pEvent);
}

void CVideoFrame::mouseDoubleClickEvent(QMouseEvent* pEvent)
{
    emit activeWnd(m_nWndIndex);
    emit doubleClicked(m_nWndIndex);
    QFrame::mouseDoubleClickEvent(pEvent);
}

void CVideoFrame::resizeEvent(QResizeEvent* pEvent)
{
    m_nHalfWidth = pEvent->size().width() / 2;
    m_nHalfHeight = pEvent->size().height() / 2;
    QFrame::resizeEvent(pEvent);
}

void CVideoFrame::paintEvent(QPaintEvent*)
{
    QPainter painter(this);
    if (!m_strBackground.isEmpty() && QFile::exists(m_strBackground))
        painter.drawImage(0, 0, QImage(m_strBackground).scaled(width(), height(), Qt::IgnoreAspectRatio));
}
