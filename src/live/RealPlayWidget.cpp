#include "live/RealPlayWidget.h"

#include "decode/PortTable.h"
#include "device/LumoConnect.h"
#include "live/LocalFolders.h"
#include "live/RuleOverlay.h"
#include "platform/Paths.h"
#include "shell/LightWeightLog.h"
#include "surface/PlayWindowManage.h"
#include "surface/ScaleArithmetic.h"

#include <QDateTime>
#include <QDir>
#include <QHBoxLayout>
#include <QThread>

namespace
{

constexpr int kSuccess = 0;
constexpr int kNoChannel = -1;
constexpr int kRefused = -2;

constexpr int kFirstSplit = 9;
constexpr int kTwoLensDevice = 2; // a kind of device that is itself the camera: it is asked as a whole

// Lives as long as the process, for stream data may come when the page has gone.
constinit CPortTable<CDecodeChannel, 0, kMaxChannels> g_livePorts;

bool isChannel(int nChannel)
{
    return nChannel >= 0 && nChannel < kMaxChannels;
}

int resultOf(int nDecoderResult)
{
    return nDecoderResult ? kSuccess : kRefused;
}

/// "<folder>/<channel from 01>_<time>.<suffix>"
QString pictureOrRecordName(const char* szFolder, int nChannel, const QString& strSuffix)
{
    const QString strTime = QDateTime::currentDateTime().toString("yyyyMMdd_hhmmss");
    const QString strName = QString("%1_%2.").arg(nChannel + 1, 2, 10, QChar('0')).arg(strTime) + strSuffix;
    return platform::joinPath(platform::fromLocal8Bit(szFolder), strName);
}

} // namespace

CRealPlayWidget::CRealPlayWidget(QWidget* pParent) : QWidget(pParent)
{
    ruleoverlay::set({});
    m_nChannelOfWnd.fill(-1);
    m_nRageState.fill(-1);
    g_livePorts.open();
    setWindowFlags(Qt::FramelessWindowHint | Qt::CustomizeWindowHint);
    setMouseTracking(true);
    m_pLayout = new QHBoxLayout(this);
    m_pLayout->setContentsMargins(0, 0, 0, 0);
    m_pLayout->setSpacing(0);
    m_pWindowManage = new CPlayWindowManage(this);
    m_pWindowManage->SetSplit(kFirstSplit);
    m_pLayout->addWidget(m_pWindowManage);
    connectGrid();
    if (pParent)
        installEventFilter(pParent);
}

CRealPlayWidget::~CRealPlayWidget()
{
    Q_ASSERT(QThread::currentThread() == thread());
    g_livePorts.close();
}

void CRealPlayWidget::connectGrid()
{
    connect(m_pWindowManage, &CPlayWindowManage::curWndIndexSig, this, &CRealPlayWidget::curWndIndexSig);
    connect(m_pWindowManage, &CPlayWindowManage::DigitalZoomSig, this, &CRealPlayWidget::OnDigitalZoom);
    connect(m_pWindowManage, &CPlayWindowManage::quitDigitalZoom, this, &CRealPlayWidget::OnQuitDigitalZoom);
    connect(m_pWindowManage, &CPlayWindowManage::quitPTZElect, this, &CRealPlayWidget::OnQuitPTZElect);
    connect(m_pWindowManage, &CPlayWindowManage::sig_GetScaleTwoLensAbility, this,
            &CRealPlayWidget::slot_GetScaleTwoLensAbility);
    connect(m_pWindowManage, &CPlayWindowManage::sig_SetScaleTwoLensTimes, this,
            &CRealPlayWidget::slot_SetScaleTwoLensTimes);
}

CDecodeChannel* CRealPlayWidget::GetDecodeChannel(int nChannel)
{
    Q_ASSERT(QThread::currentThread() == thread());
    return g_livePorts.get(nChannel);
}

int CRealPlayWidget::InputRealData(int nChannel, const unsigned char* pData, int nSize)
{
    if (!g_livePorts.provide(nChannel))
        return kNoChannel;
    CDecodeChannel::InputData(nChannel, pData, nSize);
    return kSuccess;
}

int CRealPlayWidget::StartPreview(int nStream, int nChannel, int nWnd)
{
    Q_ASSERT(QThread::currentThread() == thread());
    resetElectronicPTZ();
    if (ruleoverlay::get().bShowRule != 0)
        StartRuleDraw(); // a port that was closed has forgotten who draws on it
    CDecodeChannel* pChannel = GetDecodeChannel(nChannel);
    if (!pChannel)
        return kNoChannel;
    if (nWnd == -1)
        nWnd = GetCurWnd();
    if (nWnd < 0)
        return kRefused;
    const bool bShown = showIn(*pChannel, nStream, nChannel, nWnd);
    m_nStreamType[nChannel] = static_cast<quint8>(nStream);
    if (nWnd == GetCurWnd())
        slot_GetScaleTwoLensAbility(nWnd);
    return resultOf(bShown);
}

bool CRealPlayWidget::showIn(CDecodeChannel& channel, int nStream, int nChannel, int nWnd)
{
    channel.SetWnd(m_pWindowManage->GetVideoHwnd(nWnd));
    if (!channel.Open(nStream) || !channel.StartPreview())
        return false;
    m_pWindowManage->setPreviewStatus(nWnd, true);
    if (nWnd < kGridCells)
        m_nChannelOfWnd[nWnd] = nChannel;
    m_nRageState[nChannel] = 0;
    return true;
}

int CRealPlayWidget::PreviewStop(int nChannel)
{
    Q_ASSERT(QThread::currentThread() == thread());
    if (IsRecording(nChannel)) {
        bool bRecording = false;
        Record(nChannel, false, bRecording);
    }
    CDecodeChannel* pChannel = GetDecodeChannel(nChannel);
    if (!pChannel)
        return kNoChannel;
    pChannel->StopPreview();
    const int nWnd = FindWndByChannel(nChannel); // -1 goes on to the grid, which takes it as all cells
    m_pWindowManage->SetDigitalZoomStatus(nWnd, false);
    if (nWnd >= 0)
        m_nChannelOfWnd[nWnd] = -1;
    m_bDigitalZoom[nChannel] = false;
    m_nSoundChannel = -1; // whichever channel had the sound: required
    m_nRageState[nChannel] = -1;
    m_pWindowManage->setPreviewStatus(nWnd, false);
    pChannel->Close();
    if (nWnd == GetCurWnd() && m_pWindowManage->IsOneCellShown())
        m_pWindowManage->ShowScaleSlider(nWnd, false, 0);
    m_pWindowManage->UpdateWnd(nWnd);
    return kSuccess;
}

/// Empty for a type that is neither of the two.
QString CRealPlayWidget::recordName(int nChannel) const
{
    switch (m_localInfo.nRecordType) {
    case LUMODEC_RECORD_RAW:
        return pictureOrRecordName(m_localInfo.szRecPath, nChannel, "h265x");
    case LUMODEC_RECORD_AVI:
        return pictureOrRecordName(m_localInfo.szRecPath, nChannel, "avi");
    default:
        return {};
    }
}

int CRealPlayWidget::switchRecording(CDecodeChannel& channel, int nChannel, bool bRecord)
{
    if (!bRecord)
        return channel.StopRecord();
    if (channel.IsRecord())
        channel.StopRecord();
    const QString strName = recordName(nChannel);
    writeLog("CRealPlayWidget::Record", strName);
    if (!strName.isEmpty())
        QDir().mkpath(platform::fromLocal8Bit(m_localInfo.szRecPath));
    return channel.StartRecord(strName, m_localInfo.nRecordType);
}

int CRealPlayWidget::Record(int nChannel, bool bRecord, bool& bResult)
{
    Q_ASSERT(QThread::currentThread() == thread());
    m_localInfo = loadLocalFolders(platform::ESlashes::Native);
    CDecodeChannel* pChannel = GetDecodeChannel(nChannel);
    if (!pChannel)
        return kNoChannel;
    const int nRes = switchRecording(*pChannel, nChannel, bRecord);
    bResult = m_bRecord[nChannel] = pChannel->IsRecord();
    writeLog("CRealPlayWidget::Record", QString("nChannel :%1,bRecord :%2").arg(nChannel).arg(bRecord));
    return resultOf(nRes);
}

int CRealPlayWidget::Capture(int nChannel, bool bStill)
{
    Q_ASSERT(QThread::currentThread() == thread());
    m_localInfo = loadLocalFolders(platform::ESlashes::Native);
    CDecodeChannel* pChannel = GetDecodeChannel(nChannel);
    if (!pChannel)
        return kNoChannel;
    const QString strStill = platform::nativePath(platform::applicationDir() + "/Cfg/capture.bmp");
    const QString strName = bStill ? strStill : pictureOrRecordName(m_localInfo.szCapPath, nChannel, "bmp");
    QDir().mkpath(QFileInfo(strName).path());
    return resultOf(pChannel->SnapShot(strName));
}

int CRealPlayWidget::GetColor(int nChannel, int& nBrightness, int& nContrast, int& nSaturation, int& nHue)
{
    CDecodeChannel* pChannel = GetDecodeChannel(nChannel);
    return pChannel ? resultOf(pChannel->GetColor(nBrightness, nContrast, nSaturation, nHue)) : kNoChannel;
}

int CRealPlayWidget::SetColor(int nIndex, int nValue)
{
    CDecodeChannel* pChannel = GetDecodeChannel(GetCurChannel());
    return pChannel ? resultOf(pChannel->SetColor(nIndex, nValue)) : kNoChannel;
}

/// Channel 0 is left out: its sound goes on beside another's. Required.
bool CRealPlayWidget::stopOtherSound()
{
    if (m_nSoundChannel <= 0)
        return true;
    CDecodeChannel* pOther = GetDecodeChannel(m_nSoundChannel);
    if (!pOther)
        return false;
    pOther->StopSound();
    m_nSoundChannel = -1;
    return true;
}

int CRealPlayWidget::SetSound(int nChannel, bool bOpen)
{
    CDecodeChannel* pChannel = GetDecodeChannel(nChannel);
    if (!pChannel)
        return kNoChannel;
    if (bOpen && !stopOtherSound())
        return kNoChannel;
    const int nRes = bOpen ? pChannel->PlaySound() : pChannel->StopSound();
    if (nRes && bOpen)
        m_nSoundChannel = nChannel;
    else if (nRes && nChannel == m_nSoundChannel)
        m_nSoundChannel = -1;
    return resultOf(nRes);
}

/// The cell counts as not previewing meanwhile, which switches the rubber band off.
int CRealPlayWidget::PlayOriginal(int nChannel)
{
    writeLog("CRealPlayWidget::PlayOriginal", QString("CDecodeChannel::PlayOriginal --->nChannel %1").arg(nChannel));
    CDecodeChannel* pChannel = GetDecodeChannel(nChannel);
    if (!pChannel)
        return kNoChannel;
    const int nWnd = FindWndByChannel(nChannel);
    if (!pChannel->PlayOriginal())
        return kRefused;
    if (nWnd >= 0) {
        if (m_bDigitalZoom[nChannel])
            OnQuitDigitalZoom(nWnd);
        m_pWindowManage->setPreviewStatus(nWnd, false);
        m_pWindowManage->UpdateWnd(nWnd);
    }
    m_nRageState[nChannel] = 1;
    return kSuccess;
}

int CRealPlayWidget::PlayNormal(int nChannel)
{
    CDecodeChannel* pChannel = GetDecodeChannel(nChannel);
    if (!pChannel)
        return kNoChannel;
    const int nWnd = FindWndByChannel(nChannel);
    if (!pChannel->PlayNormal())
        return kRefused;
    if (nWnd >= 0) {
        m_pWindowManage->setPreviewStatus(nWnd, true);
        m_pWindowManage->UpdateWnd(nWnd);
    }
    m_nRageState[nChannel] = 0;
    return kSuccess;
}

int CRealPlayWidget::ChangeSplit(int nMode)
{
    Q_ASSERT(QThread::currentThread() == thread());
    constexpr int kWindowsOfMode[] = {1, 4, 9, 16, 25, 36, 64};
    m_pWindowManage->SetSplit(nMode >= 1 && nMode <= 6 ? kWindowsOfMode[nMode] : 1);
    update();
    return kSuccess;
}

int CRealPlayWidget::GetWndChannel(int nWnd) const
{
    return nWnd >= 0 && nWnd < kGridCells ? m_nChannelOfWnd[nWnd] : -1;
}

int CRealPlayWidget::FindWndByChannel(int nChannel) const
{
    if (!isChannel(nChannel))
        return -1;
    for (int nWnd = 0; nWnd < kGridCells; ++nWnd)
        if (m_nChannelOfWnd[nWnd] == nChannel)
            return nWnd;
    return -1;
}

int CRealPlayWidget::GetCurChannel() const
{
    return GetWndChannel(GetCurWnd());
}

int CRealPlayWidget::GetCurWnd() const
{
    Q_ASSERT(QThread::currentThread() == thread());
    return m_pWindowManage->GetCurWndIndex();
}

int CRealPlayWidget::GetPlayState(int nChannel)
{
    const CDecodeChannel* pChannel = GetDecodeChannel(nChannel);
    return pChannel ? pChannel->GetPlayState() : -1;
}

int CRealPlayWidget::GetStreamType(int nChannel) const
{
    return isChannel(nChannel) ? m_nStreamType[nChannel] : 0;
}

int CRealPlayWidget::IsOriginal(int nChannel) const
{
    return isChannel(nChannel) ? m_nRageState[nChannel] : -1;
}

bool CRealPlayWidget::IsDigitalZoom(int nChannel) const
{
    return isChannel(nChannel) && m_bDigitalZoom[nChannel];
}

bool CRealPlayWidget::IsRecording(int nChannel) const
{
    return isChannel(nChannel) && m_bRecord[nChannel];
}

bool CRealPlayWidget::IsSoundOn(int nChannel) const
{
    return isChannel(nChannel) && nChannel == m_nSoundChannel;
}

void CRealPlayWidget::SetLoginInfo(int lLoginID, int nDevType)
{
    Q_ASSERT(QThread::currentThread() == thread());
    m_lLoginID = lLoginID;
    m_nDevType = nDevType;
}

void CRealPlayWidget::SetRule(const RuleInfo& rule)
{
    Q_ASSERT(QThread::currentThread() == thread());
    ruleoverlay::set(rule);
}

bool CRealPlayWidget::StartRuleDraw()
{
    if (ruleoverlay::get().nChannel != kRuleChannel)
        return false;
    CDecodeChannel* pChannel = GetDecodeChannel(kRuleChannel);
    return pChannel && pChannel->SetDrawCallback(&CRealPlayWidget::OnDrawRule, 0) != 0;
}

/// The decode library's thread.
void CRealPlayWidget::OnDrawRule(int, void* hDC, LumoWindow hWnd, int32_t)
{
    ruleoverlay::draw(hDC, static_cast<platform::WindowHandle>(hWnd));
}

void CRealPlayWidget::SetTheme(const QString& strTheme)
{
    m_pWindowManage->SetTheme(strTheme);
}

void CRealPlayWidget::EnterFullScreen()
{
    Q_ASSERT(QThread::currentThread() == thread());
    m_bFullScreen = true;
    m_pWindowManage->EnterFullScreen();
}

void CRealPlayWidget::ExitFullScreen()
{
    Q_ASSERT(QThread::currentThread() == thread());
    m_bFullScreen = false;
    const int nChannel = GetCurChannel();
    if (m_pWindowManage->IsOneCellShown() && isChannel(nChannel) && m_bScaleTwoLens[nChannel])
        m_pWindowManage->ShowScaleSlider(GetCurWnd(), true, 0);
    m_pWindowManage->RestoreActive();
}

void CRealPlayWidget::ScaleSwitch(int nDirection, int nStep)
{
    Q_ASSERT(QThread::currentThread() == thread());
    m_nScaleDir = nDirection;
    writeLog("CRealPlayWidget::ScaleSwitch", "click to scale");
    if (!isChannel(GetCurChannel()))
        return;
    slot_SetScaleTwoLensTimes(nextTwoLensScale(nDirection, nStep, m_fLastTimes), GetCurWnd());
}

/// The device is asked on this thread, and the surface stands still meanwhile: the price of a slider that is right at
/// once.
void CRealPlayWidget::slot_GetScaleTwoLensAbility(int nWndNo)
{
    static const char* const szTag = "CRealPlayWidget::slot_GetScaleTwoLensAbility";
    const bool bDevice = m_nDevType == kTwoLensDevice;
    writeLog(szTag, QString("slot_GetScaleTwoLensAbility----------->devType:%1").arg(m_nDevType));
    const int nChannel = GetWndChannel(nWndNo);
    writeLog(szTag, QString("GetScaleTwoLens------>Channel:%1").arg(nChannel));
    if (!isChannel(nChannel))
        return;
    CLumoConnect* pConnect = CLumoConnect::instance();
    m_bScaleTwoLens[nChannel] = pConnect->GetScaleTwoLensAbility(m_lLoginID, nChannel, bDevice);
    float fCur = 0;
    float fMax = 0;
    if (!m_bScaleTwoLens[nChannel] ||
        pConnect->GetScaleTwoLensConfig(m_lLoginID, nChannel, m_nStreamType[nChannel], &fCur, bDevice, &fMax) <= 0) {
        m_pWindowManage->ShowScaleSlider(nWndNo, false, 0);
        return;
    }
    if (!m_pWindowManage->IsOneCellShown() || m_bFullScreen)
        return;
    writeLog(szTag, QString("slot_GetScaleTwoLensAbility----------->fMaxtimes:%1").arg(fMax));
    m_pWindowManage->ShowScaleSlider(nWndNo, true, fMax);
    m_fLastTimes = fCur;
    m_pWindowManage->SetScaleValue(nWndNo, fCur);
}

/// A device that refuses leaves the slider where the user moved it.
void CRealPlayWidget::slot_SetScaleTwoLensTimes(float fTimes, int nWndNo)
{
    const int nChannel = GetWndChannel(nWndNo);
    if (!isChannel(nChannel))
        return;
    const int nStream = m_nStreamType[nChannel];
    writeLog("CRealPlayWidget::slot_SetScaleTwoLensTimes",
             QString("fLastTimes=%1------fTimes=%2------Channel=%3------Stream=%4")
                 .arg(m_fLastTimes)
                 .arg(fTimes)
                 .arg(nChannel)
                 .arg(nStream));
    const int nAsked = m_nDevType == kTwoLensDevice ? -1 : nChannel;
    if (CLumoConnect::instance()->SetScaleTwoLensConfig(m_lLoginID, nAsked, nStream, m_fLastTimes, fTimes) <= 0)
        return;
    m_fLastTimes = fTimes;
    if (m_pWindowManage->IsOneCellShown())
        m_pWindowManage->SetScaleValue(nWndNo, fTimes);
}
