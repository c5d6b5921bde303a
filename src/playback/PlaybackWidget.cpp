#include "playback/PlaybackWidget.h"

#include "surface/PlayWindowManage.h"

#include <QHBoxLayout>
#include <algorithm>

CPlaybackWidget::CPlaybackWidget(QWidget* pParent) : QWidget(pParent)
{
    setWindowFlags(Qt::FramelessWindowHint | Qt::CustomizeWindowHint);
    setAttribute(Qt::WA_MouseTracking);
    m_pLayout = new QHBoxLayout(this);
    m_pLayout->setContentsMargins(0, 0, 0, 0);
    m_pLayout->setSpacing(0);
    m_pPlayWindowManage = new CPlayWindowManage(this);
    m_pPlayWindowManage->SetSplit(1);
    m_pLayout->addWidget(m_pPlayWindowManage);
    m_nChannel.fill(-1);
    connect(m_pPlayWindowManage, &CPlayWindowManage::curWndIndexSig, this, &CPlaybackWidget::curWndIndexSig);
}

int CPlaybackWidget::GetWndChannel(int nWnd) const
{
    return nWnd >= 0 && nWnd < kWindows ? m_nChannel[static_cast<std::size_t>(nWnd)] : -1;
}

int CPlaybackWidget::GetCurChannel() const
{
    return GetWndChannel(GetCurWnd());
}

int CPlaybackWidget::GetCurWnd() const
{
    return m_pPlayWindowManage->GetCurWndIndex();
}

int CPlaybackWidget::FindWndByChannel(int nChannel) const
{
    const auto it = std::find(m_nChannel.begin(), m_nChannel.end(), nChannel);
    return it == m_nChannel.end() ? -1 : static_cast<int>(it - m_nChannel.begin());
}

bool CPlaybackWidget::IsZoom(int nWnd) const
{
    return nWnd >= 0 && nWnd < kWindows && m_bZoom[static_cast<std::size_t>(nWnd)];
}

bool CPlaybackWidget::IsSound(int nWnd) const
{
    return nWnd >= 0 && nWnd <= kWindows && nWnd == m_nSoundWnd;
}

int CPlaybackWidget::ChangeSplit(int nMode)
{
    m_nSplitMode = nMode;
    m_pPlayWindowManage->SetSplit(nMode == 1 ? kWindows : 1);
    update();
    return 0;
}

void CPlaybackWidget::SelectWnd(int nWnd)
{
    m_pPlayWindowManage->onCurWndIndexChange(nWnd);
}

void CPlaybackWidget::SetTheme(const QString& strTheme)
{
    m_pPlayWindowManage->SetTheme(strTheme);
}
