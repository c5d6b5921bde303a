#include "surface/VideoWnd.h"

#include "surface/ScaleArithmetic.h"
#include "surface/ScaleSlider.h"
#include "surface/VideoFrame.h"

#include <QHBoxLayout>
#include <QKeyEvent>
#include <QMouseEvent>
#include <QPainter>
#include <QRegion>
#include <QStyle>
#include <QThread>

CVideoWnd::CVideoWnd(QWidget* pParent, int nIndex) : QFrame(pParent), m_nWndIndex(nIndex)
{
    setObjectName("VideoWnd");
    setStyleSheet("#VideoWnd{background-color:rgb(255,255,255);}");
    auto* pLayout = new QHBoxLayout(this);
    pLayout->setContentsMargins(1, 1, 1, 1); // the room for the border
    pLayout->setSpacing(0);
    m_pVideoFrame = new CVideoFrame(this);
    m_pVideoFrame->SetWndIndex(nIndex);
    m_hVideoHwnd = m_pVideoFrame->GetHwnd();
    pLayout->addWidget(m_pVideoFrame);
    connectFrame();
}

void CVideoWnd::connectFrame()
{
    connect(m_pVideoFrame, &CVideoFrame::doubleClicked, this, &CVideoWnd::doubleClicked);
    connect(m_pVideoFrame, &CVideoFrame::activeWnd, this, &CVideoWnd::activeWnd);
    connect(m_pVideoFrame, &CVideoFrame::sig_selectRegion, this, &CVideoWnd::sig_selectRegion);
    connect(m_pVideoFrame, &CVideoFrame::sig_RectanglePoint, this, &CVideoWnd::sig_RectanglePoint);
    connect(m_pVideoFrame, &CVideoFrame::quitDigitalZoom, this, &CVideoWnd::quitDigitalZoom);
    connect(m_pVideoFrame, &CVideoFrame::quitPTZElect, this, &CVideoWnd::quitPTZElect);
}

/// Repaints the ring alone, so that the frame does not flicker against the decoder's picture.
void CVideoWnd::SetActive(bool bActive)
{
    Q_ASSERT(QThread::currentThread() == thread());
    m_bActive = bActive;
    update(QRegion(rect()).subtracted(rect().adjusted(1, 1, -1, -1)));
}

void CVideoWnd::SetTheme(const QString& strTheme)
{
    Q_ASSERT(QThread::currentThread() == thread());
    const bool bBlack = strTheme == "Black";
    m_colorActive = bBlack ? QColor(196, 0, 34, 255) : QColor(18, 144, 255, 255);
    setStyleSheet(bBlack ? "#VideoWnd{background-color:rgb(43, 43, 43);}"
                         : "#VideoWnd{background-color:rgb(255, 255, 255);}");
}

void CVideoWnd::setPTZElectStatus(bool bStatus)
{
    m_pVideoFrame->setPTZElectStatus(bStatus);
}

void CVideoWnd::SetPreviewStatus(bool bStatus)
{
    m_pVideoFrame->SetPreviewStatus(bStatus);
}

void CVideoWnd::SetDigitalZoomStatus(bool bStatus)
{
    m_pVideoFrame->SetDigitalZoomStatus(bStatus);
}

bool CVideoWnd::GetDigitalZoomStatus() const
{
    return m_pVideoFrame->GetDigitalZoomStatus();
}

const LumoRect& CVideoWnd::GetRegion() const
{
    return m_pVideoFrame->GetRegion();
}

void CVideoWnd::SetRegion(const LumoRect& rcRegion)
{
    m_pVideoFrame->SetRegion(rcRegion);
}

void CVideoWnd::SetBackground(const QString& strFile)
{
    m_pVideoFrame->SetBackground(strFile);
}

void CVideoWnd::UpdateAll()
{
    update();
    m_pVideoFrame->update();
}

void CVideoWnd::createScaleSlider(float fMaxTimes)
{
    m_pScaleSlider = new CScaleSlider(this, m_nWndIndex, fMaxTimes);
    m_fMaxTimes = fMaxTimes;
    m_pScaleSlider->installEventFilter(this);
    connect(m_pScaleSlider, &CScaleSlider::sig_SetScaleTwoLensTimes, this, &CVideoWnd::sig_SetScaleTwoLensTimes);
}

void CVideoWnd::ShowScaleSlider(bool bShow, float fMaxTimes)
{
    Q_ASSERT(QThread::currentThread() == thread());
    if (!m_pScaleSlider && bShow && scaleSteps(fMaxTimes) > 0)
        createScaleSlider(fMaxTimes);
    if (!m_pScaleSlider)
        return;
    m_pScaleSlider->hide();
    if (bShow) {
        PlaceScaleSlider();
        m_pScaleSlider->show();
    }
}

void CVideoWnd::PlaceScaleSlider()
{
    if (!m_pScaleSlider)
        return;
    const QRect rcPlace = scaleSliderPlace(pos(), size(), scaleSteps(m_fMaxTimes));
    m_pScaleSlider->resize(rcPlace.size());
    m_pScaleSlider->move(rcPlace.topLeft());
}

void CVideoWnd::SetScaleValue(float fTimes)
{
    Q_ASSERT(QThread::currentThread() == thread());
    if (m_pScaleSlider)
        m_pScaleSlider->setValue(sliderValueOfScale(fTimes));
}

/// A click jumps to its spot rather than stepping towards it.
void CVideoWnd::jumpToClick(const QPoint& pt)
{
    m_pScaleSlider->SetPressed(true);
    m_pScaleSlider->setValue(QStyle::sliderValueFromPosition(m_pScaleSlider->minimum(), m_pScaleSlider->maximum(),
                                                             pt.x(), m_pScaleSlider->width(), false));
}

void CVideoWnd::finishScaleGesture()
{
    m_pScaleSlider->SetPressed(false);
    emit sig_SetScaleTwoLensTimes(static_cast<float>(m_pScaleSlider->value() / 10.0), m_nWndIndex);
}

bool CVideoWnd::eventFilter(QObject* pWatched, QEvent* pEvent)
{
    if (!m_pScaleSlider || pWatched != m_pScaleSlider)
        return QFrame::eventFilter(pWatched, pEvent);
    switch (pEvent->type()) {
    case QEvent::MouseButtonPress:
        if (static_cast<QMouseEvent*>(pEvent)->button() == Qt::LeftButton)
            jumpToClick(static_cast<QMouseEvent*>(pEvent)->pos());
        break;
    case QEvent::MouseButtonRelease:
    case QEvent::Wheel:
        finishScaleGesture();
        break;
    case QEvent::KeyRelease: {
        const int nKey = static_cast<QKeyEvent*>(pEvent)->key();
        if (nKey >= Qt::Key_Left && nKey <= Qt::Key_Down)
            finishScaleGesture();
        break;
    }
    default:
        break;
    }
    return QFrame::eventFilter(pWatched, pEvent);
}

void CVideoWnd::paintEvent(QPaintEvent* pEvent)
{
    QFrame::paintEvent(pEvent);
    QPainter painter(this);
    if (m_bActive) {
        painter.setPen(m_colorActive);
        painter.drawRect(rect().adjusted(0, 0, -1, -1));
    }
    painter.end(); // a widget takes one painter at a time, and the base class opens its own
    QFrame::paintEvent(pEvent);
}

void CVideoWnd::resizeEvent(QResizeEvent* pEvent)
{
    PlaceScaleSlider();
    QFrame::resizeEvent(pEvent);
}
