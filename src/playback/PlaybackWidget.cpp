#include "playback/PlaybackWidget.h"

#include "decode/PortTable.h"
#include "platform/Paths.h"
#include "shell/LightWeightLog.h"
#include "surface/PlayWindowManage.h"

#include <QDateTime>
#include <QHBoxLayout>
#include <QThread>

#include <algorithm>
#include <atomic>

namespace
{

constexpr int kSuccess = 0;
constexpr int kNoPort = -1;
constexpr int kRefused = -2;

constexpr int kLocalFile = 0; // play mode
constexpr std::size_t kPathBytes = 260;

// Both live as long as the process, for stream data may come when the page has gone.
constinit CPortTable<CDecodeChannel, 64, kPlaybackWindows> g_remotePorts;
constinit CPortTable<CDecodeChannel, 128, kPlaybackWindows> g_localPorts;
// atomic: written by the GUI thread, read by the library's data threads
std::atomic<int> g_nPlayMode{kLocalFile};

bool isPlaybackWnd(int nWnd)
{
    return nWnd >= 0 && nWnd < kPlaybackWindows;
}

int resultOf(int nDecoderResult)
{
    return nDecoderResult ? kSuccess : kRefused;
}

/// In any state of the port, a paused one too.
void showWholePicture(CDecodeChannel& channel)
{
    channel.SetDisplayRegion(QPoint(), QPoint(), false);
}

} // namespace

CPlaybackWidget::CPlaybackWidget(QWidget* pParent) : QWidget(pParent)
{
    m_nChannel.fill(-1);
    g_nPlayMode = kLocalFile;
    g_remotePorts.open();
    g_localPorts.open();
    setWindowFlags(Qt::FramelessWindowHint | Qt::CustomizeWindowHint);
    setAttribute(Qt::WA_MouseTracking);
    m_pLayout = new QHBoxLayout(this);
    m_pLayout->setContentsMargins(0, 0, 0, 0);
    m_pLayout->setSpacing(0);
    m_pPlayWindowManage = new CPlayWindowManage(this);
    m_pPlayWindowManage->SetSplit(1);
    m_pLayout->addWidget(m_pPlayWindowManage);
    connect(m_pPlayWindowManage, &CPlayWindowManage::curWndIndexSig, this, &CPlaybackWidget::curWndIndexSig);
    connect(m_pPlayWindowManage, &CPlayWindowManage::DigitalZoomSig, this, &CPlaybackWidget::OnDigitalZoom);
    connect(m_pPlayWindowManage, &CPlayWindowManage::quitDigitalZoom, this, &CPlaybackWidget::OnQuitDigitalZoom);
    if (pParent)
        installEventFilter(pParent);
}

CPlaybackWidget::~CPlaybackWidget()
{
    Q_ASSERT(QThread::currentThread() == thread());
    g_remotePorts.close();
    g_localPorts.close();
}

CDecodeChannel* CPlaybackWidget::GetChannel(int nWnd)
{
    Q_ASSERT(QThread::currentThread() == thread());
    return g_nPlayMode == kLocalFile ? g_localPorts.get(nWnd) : g_remotePorts.get(nWnd);
}

int CPlaybackWidget::InputData(int nWnd, const unsigned char* pData, int nSize)
{
    const bool bLocal = g_nPlayMode == kLocalFile;
    if (bLocal ? !g_localPorts.provide(nWnd) : !g_remotePorts.provide(nWnd))
        return kNoPort;
    const int nPort = bLocal ? decltype(g_localPorts)::portOf(nWnd) : decltype(g_remotePorts)::portOf(nWnd);
    CDecodeChannel::InputData(nPort, pData, nSize);
    return kSuccess;
}

void CPlaybackWidget::SetPlayMode(int nMode)
{
    g_nPlayMode = nMode;
    m_pPlayWindowManage->onCurWndIndexChange(0);
    emit curWndIndexSig(0);
}

int CPlaybackWidget::BeginLocalPlay(int nWnd, const QString& strFile, LumoFileEndCallback fnEnd, intptr_t nUser)
{
    CDecodeChannel* pChannel = GetChannel(nWnd);
    return pChannel ? pChannel->BeginLocalPlay(strFile, fnEnd, nUser) : 0;
}

int CPlaybackWidget::OpenWnd(int nStream, int nWnd)
{
    if (nWnd == -1)
        nWnd = GetCurWnd();
    CDecodeChannel* pChannel = GetChannel(nWnd);
    if (!pChannel)
        return kNoPort;
    pChannel->SetWnd(m_pPlayWindowManage->GetVideoHwnd(nWnd));
    const bool bLocal = g_nPlayMode == kLocalFile;
    // The page relies on a port that does not open counting as good: the playback's end then tells.
    if (!bLocal && !pChannel->Open(nStream))
        return kSuccess;
    pChannel->StartPlayback(bLocal);
    m_pPlayWindowManage->setPreviewStatus(nWnd, true);
    return kSuccess;
}

/// The order matters: what hangs on the running picture ends before it does.
int CPlaybackWidget::StopWnd(int nWnd)
{
    CDecodeChannel* pChannel = GetChannel(nWnd);
    if (!pChannel)
        return kNoPort;
    if (m_bRecord[nWnd])
        m_bRecord[nWnd] = !pChannel->StopRecord();
    if (m_nSoundWnd == nWnd && pChannel->StopSound())
        m_nSoundWnd = -1;
    showWholePicture(*pChannel);
    m_pPlayWindowManage->SetDigitalZoomStatus(nWnd, false);
    m_nChannel[nWnd] = -1;
    pChannel->StopPlayback();
    if (g_nPlayMode == kLocalFile)
        pChannel->StopLocalPlay();
    m_bZoom[nWnd] = false;
    pChannel->Close();
    m_pPlayWindowManage->setPreviewStatus(nWnd, false);
    update();
    return kSuccess;
}

void CPlaybackWidget::SetWndChannel(int nChannel, int nWnd)
{
    if (isPlaybackWnd(nWnd))
        m_nChannel[nWnd] = nChannel;
}

int CPlaybackWidget::GetWndChannel(int nWnd) const
{
    return isPlaybackWnd(nWnd) ? m_nChannel[nWnd] : -1;
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

int CPlaybackWidget::SetWndTime(int nWnd, const char* szBegin, const char* szEnd)
{
    CDecodeChannel* pChannel = GetChannel(nWnd);
    return pChannel ? pChannel->SetPlayTime(szBegin, szEnd) : 0;
}

int CPlaybackWidget::SetPlayState(int nWnd, int nState)
{
    CDecodeChannel* pChannel = GetChannel(nWnd);
    return pChannel ? pChannel->SetPlayMode(nState) : kNoPort;
}

int CPlaybackWidget::GetPlayState(int nWnd)
{
    const CDecodeChannel* pChannel = GetChannel(nWnd);
    return pChannel ? pChannel->GetPlayState() : kNoPort;
}

float CPlaybackWidget::GetPos(int nWnd)
{
    const CDecodeChannel* pChannel = GetChannel(nWnd);
    if (!pChannel)
        return 0;
    return g_nPlayMode == kLocalFile ? pChannel->GetPlayPos() : pChannel->GetTimePos(g_nPlayMode);
}

int CPlaybackWidget::GetSeekSeconds(int nWnd, int nPermille)
{
    const CDecodeChannel* pChannel = GetChannel(nWnd);
    return pChannel ? pChannel->GetSeekSeconds(nPermille) : 0;
}

int CPlaybackWidget::SetLocalPos(int nWnd, float fPos)
{
    CDecodeChannel* pChannel = GetChannel(nWnd);
    if (!pChannel)
        return 0;
    pChannel->SetPlayPos(fPos);
    pChannel->RefreshPlay();
    return 1;
}

bool CPlaybackWidget::ClearBuffer(int nWnd)
{
    const CDecodeChannel* pChannel = GetChannel(nWnd);
    return pChannel && pChannel->RefreshPlay();
}

void CPlaybackWidget::GetBufferLevels(int nWnd, int& nPictures, int& nBytes)
{
    const CDecodeChannel* pChannel = GetChannel(nWnd);
    if (!pChannel)
        return;
    nPictures = pChannel->GetBufferValue();
    nBytes = pChannel->GetSourceBufferRemain();
}

/// "<folder>/<channel from 01>_<time>.<suffix>", for a local file "<folder>/Local_<time>.<suffix>".
QString CPlaybackWidget::fileName(int nChannel, const QString& strDir, const char* szSuffix) const
{
    const QString strTime = QDateTime::currentDateTime().toString("yyyyMMdd_hhmmss");
    const QString strOwner = g_nPlayMode == kLocalFile ? QString("Local") : QString::asprintf("%02d", nChannel + 1);
    char szPath[kPathBytes];
    platform::copyLocal8Bit(szPath, sizeof szPath,
                            platform::joinPath(strDir, QString("%1_%2.%3").arg(strOwner, strTime, szSuffix)));
    return platform::fromLocal8Bit(szPath);
}

int CPlaybackWidget::CatchPicture(int nWnd, const QString& strDir)
{
    CDecodeChannel* pChannel = GetChannel(nWnd);
    if (!pChannel)
        return kNoPort;
    return resultOf(pChannel->SnapShot(fileName(GetWndChannel(nWnd), strDir, "bmp")));
}

/// Empty for a type that is neither of the two.
QString CPlaybackWidget::clipName(int nWnd, int nType, const QString& strDir) const
{
    switch (nType) {
    case LUMODEC_RECORD_AVI:
        return fileName(GetWndChannel(nWnd), strDir, "avi");
    case LUMODEC_RECORD_RAW:
        return fileName(GetWndChannel(nWnd), strDir, "h265x");
    default:
        return {};
    }
}

int CPlaybackWidget::RecordClip(int nWnd, int nType, bool bStart, const QString& strDir)
{
    CDecodeChannel* pChannel = GetChannel(nWnd);
    if (!pChannel || bStart == m_bRecord[nWnd])
        return 0;
    if (!bStart) {
        const int nResult = pChannel->StopRecord();
        m_bRecord[nWnd] = !nResult;
        return nResult;
    }
    const int nResult = pChannel->StartRecord(clipName(nWnd, nType, strDir),
                                              nType == LUMODEC_RECORD_AVI ? LUMODEC_RECORD_AVI : LUMODEC_RECORD_RAW);
    m_bRecord[nWnd] = nResult != 0;
    return nResult;
}

bool CPlaybackWidget::IsRecording(int nWnd) const
{
    return isPlaybackWnd(nWnd) && m_bRecord[nWnd];
}

bool CPlaybackWidget::IsZoom(int nWnd) const
{
    return isPlaybackWnd(nWnd) && m_bZoom[nWnd];
}

bool CPlaybackWidget::IsSound(int nWnd) const
{
    return isPlaybackWnd(nWnd) && nWnd == m_nSoundWnd;
}

bool CPlaybackWidget::stopOtherSound()
{
    if (m_nSoundWnd < 0)
        return true;
    CDecodeChannel* pOther = GetChannel(m_nSoundWnd);
    if (!pOther)
        return false;
    pOther->StopSound();
    m_nSoundWnd = -1;
    return true;
}

int CPlaybackWidget::SetSound(int nWnd, bool bOn)
{
    CDecodeChannel* pChannel = GetChannel(nWnd);
    if (!pChannel || (bOn && !stopOtherSound()))
        return kNoPort;
    const int nResult = bOn ? pChannel->PlaySound() : pChannel->StopSound();
    if (nResult && bOn)
        m_nSoundWnd = nWnd;
    else if (nResult && m_nSoundWnd == nWnd)
        m_nSoundWnd = -1;
    return resultOf(nResult);
}

/// The region comes later, from the gesture.
int CPlaybackWidget::ToggleZoom()
{
    const int nWnd = GetCurWnd();
    CDecodeChannel* pChannel = GetChannel(nWnd);
    if (!pChannel || pChannel->GetPlayState() == CDecodeChannel::kStopped)
        return kNoPort;
    m_pPlayWindowManage->ToggleDigitalZoomStatus();
    m_bZoom[nWnd] = m_pPlayWindowManage->GetDigitalZoomStatus();
    if (!m_bZoom[nWnd])
        showWholePicture(*pChannel);
    return kSuccess;
}

void CPlaybackWidget::OnDigitalZoom(QPoint start, QPoint end, int nWndIndex)
{
    if (CDecodeChannel* pChannel = GetChannel(nWndIndex))
        pChannel->SetDisplayRegion(start, end, true);
}

void CPlaybackWidget::OnQuitDigitalZoom(int nWndIndex)
{
    writeLog("CPlaybackWidget::OnQuitDigitalZoom", QString("OnQuitDigitalZoom index :%1").arg(nWndIndex));
    CDecodeChannel* pChannel = GetChannel(nWndIndex);
    if (!pChannel)
        return;
    showWholePicture(*pChannel);
    m_bZoom[nWndIndex] = false;
}

int CPlaybackWidget::ChangeSplit(int nMode)
{
    m_nSplitMode = nMode;
    m_pPlayWindowManage->SetSplit(nMode == 1 ? kPlaybackWindows : 1);
    update();
    return kSuccess;
}

void CPlaybackWidget::SelectWnd(int nWnd)
{
    m_pPlayWindowManage->onCurWndIndexChange(nWnd);
}

void CPlaybackWidget::ShowPicture(const QString& strFile)
{
    m_pPlayWindowManage->SetBackground(strFile);
}

void CPlaybackWidget::SetTheme(const QString& strTheme)
{
    m_pPlayWindowManage->SetTheme(strTheme);
}
