#include "decode/DecodeChannel.h"

#include "decode/DrawRegistry.h"
#include "shell/LightWeightLog.h"

#include <QDateTime>

#include <algorithm>
#include <cstdio>
#include <limits>

namespace
{

constexpr int kBufferSub = 2048000;  // bytes
constexpr int kBufferMain = 4096000; // bytes

CDecodeChannel::SDateTime parseDateTime(const char* szText)
{
    int n[6] = {};
    std::sscanf(szText, "%04d-%02d-%02d %02d:%02d:%02d", &n[0], &n[1], &n[2], &n[3], &n[4], &n[5]);
    CDecodeChannel::SDateTime st;
    st.year = uint16_t(n[0]);
    st.month = uint16_t(n[1]);
    st.day = uint16_t(n[2]);
    st.hour = uint16_t(n[3]);
    st.minute = uint16_t(n[4]);
    st.second = uint16_t(n[5]);
    return st;
}

/// Seconds on a calendar without time zone or summer time: only differences of these are taken.
qint64 calendarSeconds(const CDecodeChannel::SDateTime& st)
{
    const QDate date(st.year, st.month, st.day);
    const qint64 nDays = date.isValid() ? date.toJulianDay() : 0;
    return nDays * 86400 + (st.hour * 60 + st.minute) * 60 + st.second;
}

} // namespace

CDecodeChannel::CDecodeChannel(int nPort) : m_nPort(nPort)
{
    writeLog("CDecodeChannel::CDecodeChannel", QString("port %1").arg(nPort));
}

CDecodeChannel::~CDecodeChannel()
{
    StopPreview();
    if (m_bFile)
        StopLocalPlay();
    Close();
    drawregistry::remove(m_nDrawWord);
}

int CDecodeChannel::Open(int nStreamType)
{
    if (m_bOpen)
        return 1;
    m_nStreamType = nStreamType;
    const int nSize = nStreamType == 1 ? kBufferSub : kBufferMain;
    const uint8_t header = 0; // of no meaning: the library gets its format from the stream
    const int nRes = LUMODEC_OpenStream(m_nPort, &header, 1, nSize);
    if (nRes)
        m_bOpen = true;
    writeLog("CDecodeChannel::Open", QString("size=%1 res=%2").arg(nSize).arg(nRes));
    return nRes;
}

int CDecodeChannel::Close()
{
    if (!m_bOpen)
        return 1;
    const int nRes = LUMODEC_CloseStream(m_nPort);
    if (nRes) {
        m_bOpen = false;
        m_bSound = false;
    }
    m_nStreamType = -1;
    writeLog("CDecodeChannel::Close", QString("res=%2").arg(nRes));
    return nRes;
}

void CDecodeChannel::Leave()
{
    m_bOpen = false;
    m_nPlayState = kStopped;
}

int CDecodeChannel::start(bool bReady, const char* szTag)
{
    const int nRes = bReady ? LUMODEC_Play(m_nPort, m_hWnd) : 0;
    if (nRes)
        m_nPlayState = kNormal;
    writeLog(szTag, QString("Port=%1 Res=%2").arg(m_nPort).arg(nRes));
    return nRes;
}

int CDecodeChannel::StartPreview()
{
    if (m_nPlayState != kStopped)
        return 1;
    return start(LUMODEC_SetPreviewOption(m_nPort, LUMODEC_PREVIEW_LIVE) != 0, "CDecodeChannel::StartPreview");
}

int CDecodeChannel::StartPlayback(bool bLocal)
{
    if (m_nPlayState != kStopped)
        return 1;
    if (!bLocal)
        LUMODEC_SetStreamMode(m_nPort, LUMODEC_STREAM_PLAYBACK);
    return start(true, "CDecodeChannel::StartPlayback");
}

/// A stopped port reports failure, not success.
int CDecodeChannel::stop(const char* szTag)
{
    if (m_nPlayState == kStopped)
        return 0;
    SetDisplayRegion(nullptr, false);
    const int nRes = LUMODEC_Stop(m_nPort);
    if (nRes)
        m_nPlayState = kStopped;
    writeLog(szTag, QString("Port=%1 Res=%2").arg(m_nPort).arg(nRes));
    return nRes;
}

int CDecodeChannel::StopPreview()
{
    return stop("CDecodeChannel::StopPreview");
}

int CDecodeChannel::StopPlayback()
{
    return stop("CDecodeChannel::StopPlayback");
}

int CDecodeChannel::BeginLocalPlay(const QString& strFile, LumoFileEndCallback fnEnd, intptr_t nUser)
{
    int nRes = LUMODEC_OpenFile(m_nPort, strFile.toLocal8Bit().constData());
    writeLog("CDecodeChannel::BeginLocalPlay", QString("LUMODEC_OpenFile Port =%1 Res=%2").arg(m_nPort).arg(nRes));
    if (!nRes)
        return nRes;
    m_bFile = true;
    nRes = LUMODEC_SetFileEndCallBack(m_nPort, fnEnd, nUser);
    writeLog("CDecodeChannel::BeginLocalPlay",
             QString("LUMODEC_SetFileEndCallBack Port =%1 Res=%2").arg(m_nPort).arg(nRes));
    return nRes;
}

int CDecodeChannel::StopLocalPlay()
{
    const int nRes = LUMODEC_CloseFile(m_nPort);
    if (nRes)
        m_bFile = false;
    writeLog("CDecodeChannel::StopLocalPlay", QString("LUMODEC_CloseFile Port =%1 Res=%2").arg(m_nPort).arg(nRes));
    return nRes;
}

int CDecodeChannel::StartRecord(const QString& strFile, int nType)
{
    writeLog("CDecodeChannel::StartRecord", QString("StartRecord port:%1").arg(m_nPort));
    int nRes = 0;
    if (m_nPlayState != kStopped)
        nRes = LUMODEC_StartDataRecord(m_nPort, strFile.toLocal8Bit().constData(), nType);
    m_bRecord = nRes != 0;
    return nRes;
}

int CDecodeChannel::StopRecord()
{
    const int nRes = LUMODEC_StopDataRecord(m_nPort);
    if (nRes)
        m_bRecord = false;
    return nRes;
}

int CDecodeChannel::PlaySound()
{
    const int nRes = LUMODEC_PlaySound(m_nPort);
    if (nRes)
        m_bSound = true;
    return nRes;
}

int CDecodeChannel::StopSound()
{
    const int nRes = LUMODEC_StopSound(m_nPort);
    if (nRes)
        m_bSound = false;
    return nRes;
}

int CDecodeChannel::SnapShot(const QString& strFile)
{
    return LUMODEC_CatchPicture(m_nPort, strFile.toLocal8Bit().constData(), 0);
}

int CDecodeChannel::GetColor(int& nBrightness, int& nContrast, int& nSaturation, int& nHue)
{
    writeLog("CDecodeChannel::GetColor", QString("m_nPort = %1").arg(m_nPort));
    nBrightness = nContrast = nSaturation = nHue = 0;
    const int nRes = LUMODEC_GetColor(m_nPort, LUMODEC_REGION_ALL, &nBrightness, &nContrast, &nSaturation, &nHue);
    m_nColor[0] = nBrightness;
    m_nColor[1] = nContrast;
    m_nColor[2] = nSaturation;
    m_nColor[3] = nHue;
    return nRes;
}

int CDecodeChannel::SetColor(int nIndex, int nValue)
{
    if (nIndex >= 0 && nIndex <= 3)
        m_nColor[nIndex] = nValue;
    else if (nIndex == 4)
        std::fill(std::begin(m_nColor), std::end(m_nColor), nValue);
    return LUMODEC_SetColor(m_nPort, LUMODEC_REGION_ALL, m_nColor[0], m_nColor[1], m_nColor[2], m_nColor[3]);
}

int CDecodeChannel::SetDisplayRegion(const LumoRect* pRect, bool bEnable)
{
    if (m_nPlayState != kNormal)
        return 0;
    const int nRet = LUMODEC_SetDisplayRegion(m_nPort, LUMODEC_REGION_ALL, pRect, 0, bEnable);
    // The two blanks before "bottom" are part of the line.
    const QString strLine =
        pRect ? QString("LUMODEC_SetDisplayRegion Port=%1 left=%2 right=%3 top=%4  bottom=%5 Enable=%6 Ret=%7")
                    .arg(m_nPort)
                    .arg(pRect->left)
                    .arg(pRect->right)
                    .arg(pRect->top)
                    .arg(pRect->bottom)
                    .arg(int(bEnable))
                    .arg(nRet)
              : QString("LUMODEC_SetDisplayRegion Port=%5 left=%1 top=%2 Enable=%3 Ret=%4")
                    .arg(0)
                    .arg(0)
                    .arg(int(bEnable))
                    .arg(nRet)
                    .arg(m_nPort);
    writeLog("CDecodeChannel::SetDisplayRegion", strLine);
    return nRet;
}

bool CDecodeChannel::SetDisplayRegion(QPoint ptStart, QPoint ptEnd, bool bEnable)
{
    const LumoRect rect = {ptStart.x(), ptStart.y(), ptEnd.x(), ptEnd.y()};
    return LUMODEC_SetDisplayRegion(m_nPort, LUMODEC_REGION_ALL, bEnable ? &rect : nullptr, 0, bEnable) != 0;
}

int CDecodeChannel::setOriginal(int32_t nFlag)
{
    const int nRes = LUMODEC_SetOriginalMode(m_nPort, LUMODEC_REGION_ALL, &nFlag);
    if (nRes)
        m_bOriginal = nFlag;
    return nRes;
}

int CDecodeChannel::PlayOriginal()
{
    writeLog("CDecodeChannel::PlayOriginal", QString("m_nPort %1").arg(m_nPort));
    return setOriginal(1);
}

int CDecodeChannel::PlayNormal()
{
    return setOriginal(0);
}

bool CDecodeChannel::isSpeedChanged() const
{
    return m_nPlayState >= kStepForward || (m_nPlayState >= kFastFirst && m_nPlayState <= kFastLast) ||
           (m_nPlayState >= kSlowFirst && m_nPlayState <= kSlowLast);
}

bool CDecodeChannel::steps(int nCount, int (*fnStep)(int))
{
    if (!LUMODEC_Play(m_nPort, m_hWnd))
        return false;
    for (int i = 0; i < nCount; ++i)
        if (!fnStep(m_nPort))
            return false;
    return true;
}

int CDecodeChannel::callForMode(int nMode)
{
    if (nMode == kStepForward)
        return LUMODEC_OneByOne(m_nPort);
    if (nMode == kStepBack)
        return LUMODEC_OneByOneBack(m_nPort);
    if (nMode == kNormal) {
        if (isSpeedChanged())
            return LUMODEC_Play(m_nPort, m_hWnd);
        return m_nPlayState == kPaused ? LUMODEC_Pause(m_nPort, 0) : 0;
    }
    // The limit is on the present state, not on the mode asked for: while stepping nothing gets faster, and 36 is
    // a fifth step. The step count is bounded, for each is a call.
    if (nMode >= kFastFirst && m_nPlayState <= kFastLast)
        return steps(std::min(nMode - kFastFirst + 1, 64), &LUMODEC_Fast);
    if (nMode >= kSlowFirst && nMode <= kSlowLast)
        return steps(nMode - kSlowFirst + 1, &LUMODEC_Slow);
    if (nMode == kPaused) {
        if (isSpeedChanged() && !LUMODEC_Play(m_nPort, m_hWnd))
            return 0;
        return LUMODEC_Pause(m_nPort, 1);
    }
    return 0;
}

int CDecodeChannel::SetPlayMode(int nMode)
{
    if (callForMode(nMode))
        m_nPlayState = nMode;
    return m_nPlayState;
}

int CDecodeChannel::SetPlayPos(float fPos)
{
    LUMODEC_SetPlayPos(m_nPort, fPos);
    LUMODEC_RefreshPlay(m_nPort);
    return 1;
}

int CDecodeChannel::SetPlayTime(const char* szBegin, const char* szEnd)
{
    m_stBegin = parseDateTime(szBegin);
    m_stEnd = parseDateTime(szEnd);
    return 1;
}

/// False when nothing is shown, or what is shown lies before the range.
bool CDecodeChannel::currentFrameTime(SDateTime& stFrame) const
{
    if (m_nPlayState == kStopped)
        return false;
    const int nTime = LUMODEC_GetCurrentFrameTime(m_nPort);
    if (nTime == 0)
        return false;
    const QDateTime local = QDateTime::fromSecsSinceEpoch(nTime);
    if (!local.isValid())
        return false;
    stFrame.year = uint16_t(local.date().year());
    stFrame.month = uint16_t(local.date().month());
    stFrame.day = uint16_t(local.date().day());
    stFrame.hour = uint16_t(local.time().hour());
    stFrame.minute = uint16_t(local.time().minute());
    stFrame.second = uint16_t(local.time().second());
    return calendarSeconds(stFrame) >= calendarSeconds(m_stBegin);
}

float CDecodeChannel::GetTimePos(int nMode) const
{
    SDateTime st;
    if (!currentFrameTime(st))
        return 0;
    if (nMode == 2)
        return float((st.hour * 60 + st.minute) * 60 + st.second);
    const qint64 nTotal = calendarSeconds(m_stEnd) - calendarSeconds(m_stBegin);
    if (nTotal == 0)
        return 0;
    return float(double(calendarSeconds(st) - calendarSeconds(m_stBegin)) / double(nTotal));
}

int CDecodeChannel::GetSeekSeconds(int nPermille) const
{
    SDateTime st;
    if (!currentFrameTime(st))
        return 0;
    const qint64 nTotal = calendarSeconds(m_stEnd) - calendarSeconds(m_stBegin);
    if (nTotal < 0)
        return 0;
    constexpr double kLimit = std::numeric_limits<int>::max(); // a page may send any number
    return int(std::clamp(nPermille / 1000.0 * double(nTotal), -kLimit, kLimit));
}

int CDecodeChannel::SetDrawCallback(DrawFunction fnDraw, int32_t nUser)
{
    m_fnDraw = fnDraw;
    m_nDrawUser = nUser;
    if (m_nDrawWord == 0)
        m_nDrawWord = drawregistry::add(this);
    return LUMODEC_RegisterDrawCallback(m_nPort, &CDecodeChannel::drawTrampoline, m_nDrawWord);
}

/// The hook works on port 0 only: it serves the rule drawn over the first live channel.
void CDecodeChannel::drawTrampoline(int nPort, void* hDC, int32_t nUser)
{
    if (nUser == 0 || nPort != 0)
        return;
    CDecodeChannel* pChannel = drawregistry::find(nUser);
    const DrawFunction fnDraw = pChannel ? pChannel->m_fnDraw.load() : nullptr;
    if (fnDraw)
        fnDraw(nPort, hDC, pChannel->m_hWnd, pChannel->m_nDrawUser);
}

bool CDecodeChannel::ChangeFileFormat(const QString& strSrc, const QString& strDst, int nType,
                                      LumoConvertCallback fnPos, intptr_t nUser)
{
    if (nType != LUMODEC_RECORD_AVI)
        return false;
    writeLog("CDecodeChannel::ChangeFileFormat", QString("srcFileName:%1<--->dstFileName:%2").arg(strSrc, strDst));
    return LUMODEC_ConvertFile(strSrc.toLocal8Bit().constData(), strDst.toLocal8Bit().constData(), nType, fnPos,
                               nUser) > 0;
}

std::optional<int> pageCodeOf(int nPlayState)
{
    if (nPlayState >= CDecodeChannel::kSlowFirst && nPlayState <= CDecodeChannel::kSlowLast)
        return 5;
    if (nPlayState >= CDecodeChannel::kFastFirst && nPlayState <= CDecodeChannel::kFastLast)
        return 6;
    switch (nPlayState) {
    case CDecodeChannel::kStopped:
        return 0;
    case CDecodeChannel::kNormal:
        return 2;
    case CDecodeChannel::kPaused:
        return 4;
    case CDecodeChannel::kStepForward:
        return 7;
    case CDecodeChannel::kStepBack:
        return 8;
    default:
        return std::nullopt;
    }
}
