#include "surface/PlayWindowManage.h"

#include "shell/LightWeightLog.h"
#include "surface/VideoWnd.h"
#include "surface/ZoomRegion.h"

#include <QFrame>
#include <QGridLayout>
#include <QPainter>
#include <QThread>
#include <QVBoxLayout>

namespace
{

constexpr quint32 kBandColor = 0x000000FF; // red, as 0x00BBGGRR
constexpr int kBandWidthPx = 1;

bool isCell(quint32 nIndex)
{
    return nIndex < kGridCells;
}

} // namespace

CPlayWindowManage::CPlayWindowManage(QWidget* pParent) : QWidget(pParent)
{
    auto* pLayout = new QVBoxLayout(this);
    pLayout->setContentsMargins(0, 0, 0, 0);
    pLayout->setSpacing(0);
    m_pFrame = new QFrame(this);
    m_pFrame->setObjectName("VideoFrame");
    pLayout->addWidget(m_pFrame);
    setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Expanding);
    renewGridLayout();
    for (int nIndex = 0; nIndex < kGridCells; ++nIndex)
        createCell(nIndex);
}

CPlayWindowManage::~CPlayWindowManage()
{
    if (m_hPen)
        platform::deletePen(m_hPen);
}

void CPlayWindowManage::createCell(int nIndex)
{
    auto* pWnd = new CVideoWnd(m_pFrame, nIndex);
    m_pWnd[nIndex] = pWnd;
    constexpr auto kDirect = Qt::DirectConnection;
    connect(pWnd, &CVideoWnd::activeWnd, this, &CPlayWindowManage::onCurWndIndexChange, kDirect);
    connect(pWnd, &CVideoWnd::doubleClicked, this, &CPlayWindowManage::onWndDoubleClicked, kDirect);
    connect(pWnd, &CVideoWnd::sig_selectRegion, this, &CPlayWindowManage::onSelectRegion, kDirect);
    connect(pWnd, &CVideoWnd::sig_RectanglePoint, this, &CPlayWindowManage::onRectanglePoint, kDirect);
    connect(pWnd, &CVideoWnd::quitDigitalZoom, this, &CPlayWindowManage::quitDigitalZoom, kDirect);
    connect(pWnd, &CVideoWnd::quitPTZElect, this, &CPlayWindowManage::quitPTZElect, kDirect);
    connect(pWnd, &CVideoWnd::sig_SetScaleTwoLensTimes, this, &CPlayWindowManage::sig_SetScaleTwoLensTimes, kDirect);
}

CVideoWnd* CPlayWindowManage::cell(quint32 nIndex) const
{
    return isCell(nIndex) ? m_pWnd[nIndex] : nullptr;
}

void CPlayWindowManage::setActive(quint32 nIndex, bool bActive)
{
    if (CVideoWnd* pWnd = cell(nIndex))
        pWnd->SetActive(bActive);
}

template <typename Action> void CPlayWindowManage::forEachOf(quint32 nIndex, Action action)
{
    Q_ASSERT(QThread::currentThread() == thread());
    if (isCell(nIndex)) {
        action(m_pWnd[nIndex]);
        return;
    }
    for (CVideoWnd* pWnd : m_pWnd)
        action(pWnd);
}

void CPlayWindowManage::renewGridLayout()
{
    delete m_pGridLayout;
    m_pGridLayout = new QGridLayout(m_pFrame);
    m_pGridLayout->setContentsMargins(0, 0, 0, 0);
    m_pGridLayout->setSpacing(0);
}

void CPlayWindowManage::placeCells(int nCount)
{
    for (const SCellPlace& place : layoutFor(nCount))
        m_pGridLayout->addWidget(m_pWnd[place.nCell], place.nRow, place.nColumn, place.nRowSpan, place.nColumnSpan);
    for (int nIndex = 0; nIndex < kGridCells; ++nIndex)
        m_pWnd[nIndex]->setVisible(nIndex < nCount);
}

void CPlayWindowManage::SetSplit(int nCount)
{
    Q_ASSERT(QThread::currentThread() == thread());
    renewGridLayout();
    if (nCount == 1) {
        m_nShowMode = kShowSingle;
        emit sig_GetScaleTwoLensAbility(0);
    } else if (nCount >= 2 && nCount <= 63) { // 64 keeps the mode: from one window straight to 64 none maximises
        m_nShowMode = kShowSeveral;
        ShowScaleSlider(0, false, 0);
    }
    placeCells(nCount);
    m_nSplit = nCount;
    m_nCurWnd = 0;
    RestoreActive();
}

LumoWindow CPlayWindowManage::GetVideoHwnd(quint32 nIndex) const
{
    const CVideoWnd* pWnd = cell(nIndex);
    return pWnd ? pWnd->GetVideoHwnd() : 0;
}

void CPlayWindowManage::setPreviewStatus(quint32 nIndex, bool bStatus)
{
    writeLog("CPlayWindowManage::setPreviewStatus", QString("wnd:%1 preview:%2").arg(nIndex).arg(bStatus));
    forEachOf(nIndex, [=](CVideoWnd* pWnd) { pWnd->SetPreviewStatus(bStatus); });
}

void CPlayWindowManage::SetDigitalZoomStatus(quint32 nIndex, bool bStatus)
{
    forEachOf(nIndex, [=](CVideoWnd* pWnd) { pWnd->SetDigitalZoomStatus(bStatus); });
}

void CPlayWindowManage::ToggleDigitalZoomStatus()
{
    if (CVideoWnd* pWnd = cell(m_nCurWnd))
        pWnd->SetDigitalZoomStatus(!pWnd->GetDigitalZoomStatus());
}

bool CPlayWindowManage::GetDigitalZoomStatus() const
{
    const CVideoWnd* pWnd = cell(m_nCurWnd);
    return pWnd && pWnd->GetDigitalZoomStatus();
}

void CPlayWindowManage::setPTZElectStatus(quint32 nIndex, bool bStatus)
{
    forEachOf(nIndex, [=](CVideoWnd* pWnd) { pWnd->setPTZElectStatus(bStatus); });
}

void CPlayWindowManage::UpdateWnd(quint32 nIndex)
{
    forEachOf(nIndex, [](CVideoWnd* pWnd) { pWnd->UpdateAll(); });
}

void CPlayWindowManage::ShowScaleSlider(quint32 nIndex, bool bShow, float fMaxTimes)
{
    forEachOf(nIndex, [=](CVideoWnd* pWnd) { pWnd->ShowScaleSlider(bShow, fMaxTimes); });
}

void CPlayWindowManage::SetScaleValue(quint32 nIndex, float fTimes)
{
    forEachOf(nIndex, [=](CVideoWnd* pWnd) { pWnd->SetScaleValue(fTimes); });
}

void CPlayWindowManage::SetTheme(const QString& strTheme)
{
    for (CVideoWnd* pWnd : m_pWnd)
        pWnd->SetTheme(strTheme);
}

void CPlayWindowManage::SetBackground(const QString& strFile)
{
    m_pWnd[0]->SetBackground(strFile);
}

void CPlayWindowManage::EnterFullScreen()
{
    Q_ASSERT(QThread::currentThread() == thread());
    for (CVideoWnd* pWnd : m_pWnd)
        pWnd->SetActive(false);
    if (IsOneCellShown())
        ShowScaleSlider(m_nCurWnd, false, 0);
}

void CPlayWindowManage::RestoreActive()
{
    for (int nIndex = 0; nIndex < kGridCells; ++nIndex)
        m_pWnd[nIndex]->SetActive(nIndex == m_nCurWnd);
}

void CPlayWindowManage::onCurWndIndexChange(int nIndex)
{
    Q_ASSERT(QThread::currentThread() == thread());
    writeLog("CPlayWindowManage::onCurWndIndexChange",
             QString("onCurWndIndexChange index=%1 curIndex=%2").arg(nIndex).arg(m_nCurWnd));
    if (nIndex == m_nCurWnd)
        return;
    if (m_nCurWnd < kGridCells) {
        setActive(m_nCurWnd, false);
        setActive(nIndex, true);
    }
    m_nCurWnd = nIndex;
    emit curWndIndexSig(nIndex);
}

/// The mark of the toggle changes only here: a split from outside while a cell is maximised leaves it set, and the
/// next double click then merely lays the grid out again. The page relies on this order.
void CPlayWindowManage::onWndDoubleClicked(int nIndex)
{
    Q_ASSERT(QThread::currentThread() == thread());
    writeLog("CPlayWindowManage::onWndDoubleClicked", "onWndDoubleClicked");
    if (m_nShowMode == kShowSingle || !isCell(nIndex))
        return;
    m_bMaximized = !m_bMaximized;
    if (m_bMaximized)
        maximize(nIndex);
    else
        restore(nIndex);
    update();
}

void CPlayWindowManage::maximize(int nIndex)
{
    renewGridLayout();
    m_pGridLayout->addWidget(m_pWnd[nIndex], 0, 0);
    m_pWnd[nIndex]->show();
    m_nShowMode = kShowMaximized;
    for (CVideoWnd* pWnd : m_pWnd)
        if (pWnd != m_pWnd[nIndex])
            pWnd->hide();
    emit sig_GetScaleTwoLensAbility(nIndex);
    onCurWndIndexChange(nIndex);
}

/// Selects without a signal: the owner's notion of the selected window is the cell it last got.
void CPlayWindowManage::restore(int nIndex)
{
    m_nShowMode = kShowSeveral;
    SetSplit(m_nSplit);
    setActive(m_nCurWnd, false);
    setActive(nIndex, true);
    ShowScaleSlider(nIndex, false, 0);
    m_nCurWnd = nIndex;
}

/// The selected cell gets the region, whichever window the band was drawn in.
void CPlayWindowManage::onSelectRegion(void* hwnd, QPoint start, QPoint end)
{
    Q_ASSERT(QThread::currentThread() == thread());
    const QWidget* pFrame = QWidget::find(reinterpret_cast<WId>(hwnd));
    CVideoWnd* pWnd = cell(m_nCurWnd);
    if (!pFrame || !pWnd)
        return;
    const LumoRect rc = selectedRegion(pWnd->GetRegion(), start, end, pFrame->size());
    pWnd->SetRegion(rc);
    emit DigitalZoomSig(QPoint(rc.left, rc.top), QPoint(rc.right, rc.bottom), m_nCurWnd);
}

/// Straight onto the native window, since no widget can draw over the decoder's picture. Nothing erases the band:
/// the next picture paints over it.
void CPlayWindowManage::onRectanglePoint(void* hwnd, QPoint start, QPoint end)
{
    Q_ASSERT(QThread::currentThread() == thread());
    const platform::DrawContext hContext = platform::windowContext(reinterpret_cast<platform::WindowHandle>(hwnd));
    if (!hContext)
        return;
    if (!m_hPen)
        m_hPen = platform::createPen(kBandWidthPx, kBandColor);
    const platform::PenHandle hOldPen = platform::selectPen(hContext, m_hPen);
    const QPoint corners[] = {start, {start.x(), end.y()}, end, {end.x(), start.y()}, start};
    for (int i = 0; i < 4; ++i) {
        platform::moveTo(hContext, corners[i].x(), corners[i].y());
        platform::lineTo(hContext, corners[i + 1].x(), corners[i + 1].y());
    }
    platform::selectPen(hContext, hOldPen);
    platform::releaseContext(hContext);
}

void CPlayWindowManage::paintEvent(QPaintEvent*)
{
    const QPainter painter(this); // nothing of its own to draw: the cells cover it
}
