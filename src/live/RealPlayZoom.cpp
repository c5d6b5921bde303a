// How the live page looks closer at a picture: digital zoom by a drag in the cell, and electronic PTZ, which steers a
// shown region as a camera would be and keeps such regions as presets.
#include "decode/DecodeChannel.h"
#include "live/PtzRegion.h"
#include "live/RealPlayWidget.h"
#include "shell/LightWeightLog.h"
#include "surface/PlayWindowManage.h"

#include <QThread>

namespace
{

enum EPreset { kPresetDelete = 6, kPresetStore = 7, kPresetGo = 8 };

/// Only a port at normal speed takes it.
bool apply(CDecodeChannel& channel, const LumoRect& rcRegion)
{
    return channel.SetDisplayRegion(&rcRegion, true) != 0;
}

bool showWhole(CDecodeChannel& channel)
{
    return channel.SetDisplayRegion(nullptr, false) != 0;
}

QString edgesText(int nDirection, const LumoRect& rc)
{
    if (nDirection == kPtzUp)
        return QString("nRect.top:%1 nRect.top:%2").arg(rc.top).arg(rc.bottom);
    if (nDirection == kPtzDown)
        return QString("top:%1,top:%2").arg(rc.top).arg(rc.bottom);
    return QString("left:%1,right:%2").arg(rc.left).arg(rc.right);
}

} // namespace

/// Starting any preview forgets the electronic PTZ state and presets of every channel: required.
void CRealPlayWidget::resetElectronicPTZ()
{
    m_ptzElect.fill({});
}

/// The corners are the grid's work, in the virtual square.
void CRealPlayWidget::OnDigitalZoom(QPoint start, QPoint end, int nWndIndex)
{
    writeLog("CRealPlayWidget::OnDigitalZoom", QString("OnDigitalZoom:nWndIndex[%1]").arg(nWndIndex));
    const int nChannel = GetWndChannel(nWndIndex);
    CDecodeChannel* pChannel = GetDecodeChannel(nChannel);
    if (!pChannel)
        return;
    pChannel->SetDisplayRegion(start, end, true);
    m_bDigitalZoom[nChannel] = true; // whether or not the decoder took it
}

void CRealPlayWidget::OnQuitDigitalZoom(int nWndIndex)
{
    writeLog("CRealPlayWidget::OnQuitDigitalZoom", QString("OnQuitDigitalZoom index :%1").arg(nWndIndex));
    const int nChannel = GetWndChannel(nWndIndex);
    CDecodeChannel* pChannel = GetDecodeChannel(nChannel);
    if (!pChannel)
        return;
    pChannel->SetDisplayRegion(QPoint(), QPoint(), false);
    m_bDigitalZoom[nChannel] = false;
}

/// The channel's port if nWnd shows the channel; else null, with a line in the log, whose text the caller gives.
CDecodeChannel* CRealPlayWidget::steered(int nChannel, int nWnd, const char* szTag, const char* szText)
{
    Q_ASSERT(QThread::currentThread() == thread());
    if (nWnd < 0 || nWnd >= kGridCells)
        return nullptr;
    if (GetWndChannel(nWnd) != nChannel) {
        writeLog(szTag, QString("%1 nWndIndex=%2 Channel=%3").arg(szText).arg(nWnd).arg(nChannel));
        return nullptr;
    }
    return GetDecodeChannel(nChannel);
}

/// The cell is no plain preview any more, so that no band is drawn in it.
bool CRealPlayWidget::PTZElectOpen(int nChannel, int nWnd)
{
    if (nChannel < 0 || nChannel >= kMaxChannels)
        return false;
    PtzElectState& state = m_ptzElect[nChannel];
    if (state.nOpen == 1)
        return true;
    if (nWnd == -1)
        nWnd = GetCurWnd();
    CDecodeChannel* pChannel = steered(nChannel, nWnd, "CRealPlayWidget::PTZElectOpen", "PTZElectOpen");
    if (!pChannel)
        return false;
    state.rcRegion = kWholePicture;
    const bool bTaken = apply(*pChannel, state.rcRegion);
    m_pWindowManage->setPreviewStatus(nWnd, false);
    m_pWindowManage->setPTZElectStatus(nWnd, true);
    state.nOpen = 1; // whether or not the decoder took it
    return bTaken;
}

/// Stays open. The whole picture already: there is nothing to undo, which counts as a failure.
bool CRealPlayWidget::PTZElectRedu(int nChannel)
{
    CDecodeChannel* pChannel = steered(nChannel, GetCurWnd(), "CRealPlayWidget::PTZElectRedu", "PTZElectRedu");
    if (!pChannel || isWholePicture(m_ptzElect[nChannel].rcRegion))
        return false;
    const bool bTaken = showWhole(*pChannel);
    m_ptzElect[nChannel].rcRegion = kWholePicture;
    return bTaken;
}

/// The region is kept even if the decoder refuses it: the next step goes on from there.
bool CRealPlayWidget::PTZElectZoomIn(int nChannel, int nStep)
{
    static const char* const szTag = "CRealPlayWidget::PTZElectZoomIn";
    CDecodeChannel* pChannel = steered(nChannel, GetCurWnd(), szTag, "PTZElectZoomIn");
    if (!pChannel)
        return false;
    LumoRect& rcRegion = m_ptzElect[nChannel].rcRegion;
    const std::optional<LumoRect> next = zoomedIn(rcRegion, nStep);
    if (!next)
        return false;
    rcRegion = *next;
    writeLog(szTag, QString("%1").arg(rcRegion.bottom));
    if (apply(*pChannel, rcRegion))
        return true;
    writeLog(szTag, "PTZElectZoomIn");
    return false;
}

/// As above.
bool CRealPlayWidget::PTZElectZoomOut(int nChannel, int nStep)
{
    static const char* const szTag = "CRealPlayWidget::PTZElectZoomOut";
    CDecodeChannel* pChannel = steered(nChannel, GetCurWnd(), szTag, "PTZElectZoomOut");
    if (!pChannel)
        return false;
    LumoRect& rcRegion = m_ptzElect[nChannel].rcRegion;
    const std::optional<LumoRect> next = zoomedOut(rcRegion, nStep);
    if (!next)
        return false;
    rcRegion = *next;
    if (apply(*pChannel, rcRegion))
        return true;
    writeLog(szTag, "PTZElectZoomOut");
    return false;
}

/// As above. Its line about another cell bears the name of another operation, as that of the presets does: required.
bool CRealPlayWidget::PTZElectronicMove(int nChannel, int nDirection, int nStep)
{
    static const char* const szTag = "CRealPlayWidget::PTZElectronicMove";
    CDecodeChannel* pChannel = steered(nChannel, GetCurWnd(), szTag, "PTZElectZoomOut");
    if (!pChannel)
        return false;
    LumoRect& rcRegion = m_ptzElect[nChannel].rcRegion;
    const std::optional<LumoRect> next = moved(rcRegion, nDirection, nStep);
    if (!next)
        return false;
    writeLog(szTag, edgesText(nDirection, *next));
    const bool bTaken = apply(*pChannel, *next);
    rcRegion = *next;
    if (!bTaken)
        writeLog(szTag, "PTZElectronicMove");
    return bTaken;
}

bool CRealPlayWidget::PTZElectPresent(int nChannel, int nCommand, int nPreset)
{
    static const char* const szTag = "CRealPlayWidget::PTZElectPresent";
    CDecodeChannel* pChannel = steered(nChannel, GetCurWnd(), szTag, "PTZElectZoomOut");
    if (!pChannel)
        return false;
    PtzElectState& state = m_ptzElect[nChannel];
    switch (nCommand) {
    case kPresetDelete:
        if (state.presets.empty())
            return false;
        state.presets.erase(nPreset); // true also for one that is not there
        writeLog(szTag, "Del");
        return true;
    case kPresetStore:
        state.presets[nPreset] = state.rcRegion;
        writeLog(szTag, "ADD");
        return true;
    case kPresetGo:
        return goToPreset(*pChannel, state, nPreset);
    default:
        return false;
    }
}

bool CRealPlayWidget::goToPreset(CDecodeChannel& channel, PtzElectState& state, int nPreset)
{
    const auto it = state.presets.find(nPreset);
    if (it == state.presets.end())
        return false;
    state.rcRegion = it->second; // whether or not the decoder takes it
    if (!apply(channel, state.rcRegion))
        return false;
    writeLog("CRealPlayWidget::PTZElectPresent", "GO");
    return true;
}

/// By the right button in the cell. The presets stay.
void CRealPlayWidget::OnQuitPTZElect(int nWndIndex)
{
    if (nWndIndex == -1)
        nWndIndex = GetCurWnd();
    const int nChannel = GetWndChannel(nWndIndex);
    if (nChannel < 0 || nChannel >= kMaxChannels || m_ptzElect[nChannel].nOpen == 0)
        return;
    CDecodeChannel* pChannel = GetDecodeChannel(nChannel);
    if (!pChannel)
        return;
    m_ptzElect[nChannel].rcRegion = kWholePicture;
    showWhole(*pChannel);
    m_ptzElect[nChannel].nOpen = 0;
    m_pWindowManage->setPreviewStatus(nWndIndex, true);
    writeLog("CRealPlayWidget::OnQuitPTZElect", "OnQuitPTZElect");
    emit changePTZELectPage();
}
