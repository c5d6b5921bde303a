// PlayWidget as the gate to the pages: each operation is one call of the page it names.
#include "decode/DecodeChannel.h"
#include "live/RealPlayWidget.h"
#include "playback/PlaybackWidget.h"
#include "shell/LightWeightLog.h"
#include "surface/PlayWidget.h"

namespace
{
enum EPage { kLivePage = 0, kPlaybackPage = 1 };
constexpr int kSelectCurrentPage = 5;
} // namespace

int PlayWidget::ChangeSplit(int nMode)
{
    writeLog("PlayWidget::ChangeSplit", QString("pageid=%1 mode=%2").arg(m_nCurPageIndex).arg(nMode));
    switch (m_nCurPageIndex) {
    case kLivePage:
        return m_pRealPlay->ChangeSplit(nMode);
    case kPlaybackPage:
        return m_pPlayback->ChangeSplit(nMode);
    default:
        return 0;
    }
}

void PlayWidget::SelectPlaybackWnd(int nIndex)
{
    if (m_nCurPageIndex != kPlaybackPage)
        return;
    m_pPlayback->SelectWnd(nIndex);
    emit curWndIndexSig(m_nCurPageIndex, nIndex);
}

void PlayWidget::SetTheme(const QString& strTheme)
{
    m_pRealPlay->SetTheme(strTheme);
    m_pPlayback->SetTheme(strTheme);
}

int PlayWidget::GetWndChannel(int nPage, int nWnd)
{
    switch (nPage) {
    case kLivePage:
        return m_pRealPlay->GetWndChannel(nWnd);
    case kPlaybackPage:
        return m_pPlayback->GetWndChannel(nWnd);
    default:
        return -1;
    }
}

int PlayWidget::FindWndByChannel(int nPage, int nChannel)
{
    switch (nPage) {
    case kLivePage:
        return m_pRealPlay->FindWndByChannel(nChannel);
    case kPlaybackPage:
        return m_pPlayback->FindWndByChannel(nChannel);
    default:
        return -1;
    }
}

bool PlayWidget::IsDigitalZoom(int nPage, int nIndex)
{
    switch (nPage) {
    case kLivePage:
        return m_pRealPlay->IsDigitalZoom(nIndex);
    case kPlaybackPage:
        return m_pPlayback->IsZoom(nIndex);
    default:
        return false;
    }
}

bool PlayWidget::IsSoundOn(int nPage, int nIndex)
{
    switch (nPage) {
    case kLivePage:
        return m_pRealPlay->IsSoundOn(nIndex);
    case kPlaybackPage:
        return m_pPlayback->IsSound(nIndex);
    default:
        return false;
    }
}

// The playback page has no ports yet, so it has no sound to switch, no state to tell and no picture to keep.
int PlayWidget::SetSound(int nPage, int nIndex, bool bOpen)
{
    return nPage == kLivePage ? m_pRealPlay->SetSound(nIndex, bOpen) : -1;
}

int PlayWidget::GetPlayState(int nPage, int nIndex)
{
    return nPage == kLivePage ? pageCodeOf(m_pRealPlay->GetPlayState(nIndex)) : -1;
}

int PlayWidget::Capture(int nIndex, bool bStill)
{
    return bStill || m_nCurPageIndex == kLivePage ? m_pRealPlay->Capture(nIndex, bStill) : -1;
}

int PlayWidget::GetCurChannel(int nSelector)
{
    switch (nSelector == kSelectCurrentPage ? m_nCurPageIndex : nSelector) {
    case kLivePage:
        return m_pRealPlay->GetCurChannel();
    case kPlaybackPage:
        return m_pPlayback->GetCurChannel();
    default:
        return -1;
    }
}

int PlayWidget::GetCurWnd()
{
    switch (m_nCurPageIndex) {
    case kLivePage:
        return m_pRealPlay->GetCurWnd();
    case kPlaybackPage:
        return m_pPlayback->GetCurWnd();
    default:
        return -1;
    }
}

void PlayWidget::SetLoginInfo(int lLoginID, int nDevType)
{
    m_pRealPlay->SetLoginInfo(lLoginID, nDevType);
}

int PlayWidget::GetColor(int nChannel, int& nBrightness, int& nContrast, int& nSaturation, int& nHue)
{
    return m_pRealPlay->GetColor(nChannel, nBrightness, nContrast, nSaturation, nHue);
}

int PlayWidget::SetColor(int nIndex, int nValue)
{
    return m_pRealPlay->SetColor(nIndex, nValue);
}

int PlayWidget::StartPreview(int nStream, int nChannel, int nWnd)
{
    return m_pRealPlay->StartPreview(nStream, nChannel, nWnd);
}

int PlayWidget::PreviewStop(int nChannel)
{
    writeLog("PlayWidget::PreviewStop", QString("PlayWidget::PreviewStop Chn=%1").arg(nChannel));
    return m_pRealPlay->PreviewStop(nChannel);
}

int PlayWidget::Record(int nChannel, bool bRecord, bool& bResult)
{
    return m_pRealPlay->Record(nChannel, bRecord, bResult);
}

bool PlayWidget::IsRecording(int nChannel)
{
    return m_pRealPlay->IsRecording(nChannel);
}

int PlayWidget::PlayOriginal(int nChannel)
{
    return m_pRealPlay->PlayOriginal(nChannel);
}

int PlayWidget::PlayNormal(int nChannel)
{
    return m_pRealPlay->PlayNormal(nChannel);
}

int PlayWidget::IsOriginal(int nChannel)
{
    return m_nCurPageIndex == kLivePage ? m_pRealPlay->IsOriginal(nChannel) : 0;
}

int PlayWidget::GetStreamType(int nChannel)
{
    return m_pRealPlay->GetStreamType(nChannel);
}

void PlayWidget::ScaleSwitch(int nDirection, int nStep)
{
    m_pRealPlay->ScaleSwitch(nDirection, nStep);
}
