// PlayWidget as the gate to the pages: each operation is one call of the page it names.
#include "decode/DecodeChannel.h"
#include "live/ColorSetWidget.h"
#include "live/RealPlayWidget.h"
#include "platform/Paths.h"
#include "playback/PlaybackWidget.h"
#include "shell/LightWeightLog.h"
#include "surface/PlayWidget.h"

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

int PlayWidget::SetSound(int nPage, int nIndex, bool bOpen)
{
    switch (nPage) {
    case kLivePage:
        return m_pRealPlay->SetSound(nIndex, bOpen);
    case kPlaybackPage:
        return m_pPlayback->SetSound(nIndex, bOpen);
    default:
        return -1;
    }
}

int PlayWidget::GetPlayState(int nPage, int nIndex)
{
    if (nPage != kLivePage && nPage != kPlaybackPage)
        return -1;
    const int nState = nPage == kLivePage ? m_pRealPlay->GetPlayState(nIndex) : m_pPlayback->GetPlayState(nIndex);
    return pageCodeOf(nState).value_or(nState); // -1 without a port
}

int PlayWidget::Capture(int nIndex, bool bStill)
{
    if (bStill || m_nCurPageIndex == kLivePage)
        return m_pRealPlay->Capture(nIndex, bStill);
    if (m_nCurPageIndex != kPlaybackPage)
        return -1;
    LoadLocalInfo(QString());
    return m_pPlayback->CatchPicture(nIndex, platform::fromLocal8Bit(m_localInfo.szCapPath));
}

int PlayWidget::GetCurChannel(int nSelector)
{
    switch (nSelector == kCurrentPage ? m_nCurPageIndex : nSelector) {
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

bool PlayWidget::PTZElectOpen(int nChannel, int nWnd)
{
    return m_pRealPlay->PTZElectOpen(nChannel, nWnd);
}

bool PlayWidget::PTZElectRedu(int nChannel)
{
    return m_pRealPlay->PTZElectRedu(nChannel);
}

bool PlayWidget::PTZElectZoomIn(int nChannel, int nStep)
{
    return m_pRealPlay->PTZElectZoomIn(nChannel, nStep);
}

bool PlayWidget::PTZElectZoomOut(int nChannel, int nStep)
{
    return m_pRealPlay->PTZElectZoomOut(nChannel, nStep);
}

bool PlayWidget::PTZElectronicMove(int nChannel, int nDirection, int nStep)
{
    return m_pRealPlay->PTZElectronicMove(nChannel, nDirection, nStep);
}

bool PlayWidget::PTZElectPresent(int nChannel, int nCommand, int nPreset)
{
    return m_pRealPlay->PTZElectPresent(nChannel, nCommand, nPreset);
}

bool PlayWidget::SetRule(const RuleInfo& rule, bool bDraw)
{
    m_pRealPlay->SetRule(rule);
    return bDraw && m_pRealPlay->StartRuleDraw();
}

int PlayWidget::BeginLocalPlay(int nWnd, const QString& strFile, LumoFileEndCallback fnEnd, intptr_t nUser)
{
    return m_pPlayback->BeginLocalPlay(nWnd, strFile, fnEnd, nUser);
}

int PlayWidget::StartPlay(int nStream, int nWnd)
{
    return m_pPlayback->OpenWnd(nStream, nWnd);
}

int PlayWidget::StopPlay(int nWnd)
{
    return m_pPlayback->StopWnd(nWnd);
}

int PlayWidget::PlaybackRecord(int nWnd, bool bStart)
{
    LoadLocalInfo(QString());
    return m_pPlayback->RecordClip(nWnd, m_localInfo.nRecordType, bStart,
                                   platform::fromLocal8Bit(m_localInfo.szRecPath));
}

bool PlayWidget::IsPlaybackRecord(int nWnd)
{
    return m_pPlayback->IsRecording(nWnd);
}

int PlayWidget::GetWndStatus(int nWnd)
{
    return m_pPlayback->GetPlayState(nWnd);
}

bool PlayWidget::Refresh(int nWnd)
{
    return m_pPlayback->ClearBuffer(nWnd);
}

int PlayWidget::SetSpeed(int nWnd, int nState)
{
    return m_pPlayback->SetPlayState(nWnd, nState);
}

int PlayWidget::SetPos(int nWnd, float fPos)
{
    return m_pPlayback->SetLocalPos(nWnd, fPos);
}

int PlayWidget::SetPlayTime(int nWnd, const char* szBegin, const char* szEnd)
{
    return m_pPlayback->SetWndTime(nWnd, szBegin, szEnd);
}

float PlayWidget::GetTimePos(int nWnd)
{
    return m_pPlayback->GetPos(nWnd);
}

int PlayWidget::GetSeekSeconds(int nWnd, int nPermille)
{
    return m_pPlayback->GetSeekSeconds(nWnd, nPermille);
}

void PlayWidget::GetBufferInfo(int nWnd, int& nPictures, int& nBytes)
{
    m_pPlayback->GetBufferLevels(nWnd, nPictures, nBytes);
}

void PlayWidget::SetBackground(const QString& strFile)
{
    m_pPlayback->ShowPicture(strFile);
}

void PlayWidget::SetPlaybackMode(int nMode)
{
    m_pPlayback->SetPlayMode(nMode);
}

void PlayWidget::SetPlaybackChannel(int nChannel, int nWnd)
{
    if (m_nCurPageIndex == kPlaybackPage)
        m_pPlayback->SetWndChannel(nChannel, nWnd);
}

int PlayWidget::ToggleDigitalZoom()
{
    return m_pPlayback->ToggleZoom();
}

int PlayWidget::ChangePlaybackSplit(int nMode)
{
    return m_nCurPageIndex == kPlaybackPage ? ChangeSplit(nMode) : m_pPlayback->ChangeSplit(nMode);
}

int PlayWidget::InputPlaybackData(int nWnd, const unsigned char* pData, int nSize)
{
    return CPlaybackWidget::InputData(nWnd, pData, nSize);
}

int PlayWidget::ColorPreviewStart(int nStream)
{
    return m_pColorSet->PreviewStart(nStream);
}

int PlayWidget::ColorPreviewStop()
{
    return m_pColorSet->PreviewStop();
}

int PlayWidget::InputColorData(const unsigned char* pData, int nSize)
{
    return CColorSetWidget::InputData(pData, nSize);
}

bool PlayWidget::ChangeFileFormat(const QString& strSrc, const QString& strDst, int nType, LumoConvertCallback fnPos,
                                  intptr_t nUser)
{
    return CDecodeChannel::ChangeFileFormat(strSrc, strDst, nType, fnPos, nUser);
}
