// The live view page: one grid of cells, the decode channels of the live path, and which device channel each cell
// shows. Of the network it knows the two-lens scale alone; the command handlers open and close device streams around
// its calls.
//
// Thread:    GUI thread, except InputRealData. The two-lens slots wait there for the device, up to 20 s a call.
// Ownership: owns the grid and the channels. One at a time in a process.
// Results:   0 success, -1 bad channel or no decode channel, -2 the decoder refused, unless noted.
#pragma once

#include "decode/DecodeChannel.h"
#include "device/Channels.h"
#include "surface/GridLayout.h"
#include "surface/LocalInfo.h"
#include "surface/ZoomRegion.h"

#include <QPoint>
#include <QString>
#include <QWidget>

#include <array>
#include <map>

class CPlayWindowManage;
class QHBoxLayout;
struct RuleInfo;

/// Electronic PTZ of one channel, in the virtual square.
struct PtzElectState {
    int nOpen = 0;
    LumoRect rcRegion = kWholePicture;
    std::map<int, LumoRect> presets;
};

class CRealPlayWidget : public QWidget
{
    Q_OBJECT
public:
    explicit CRealPlayWidget(QWidget* pParent);
    /// Stops and closes all ports.
    ~CRealPlayWidget() override;

    /// nWnd -1 is the selected cell.
    int StartPreview(int nStream, int nChannel, int nWnd);
    int PreviewStop(int nChannel);
    /// bResult: whether the port records now.
    int Record(int nChannel, bool bRecord, bool& bResult);
    /// bStill: into one fixed file, which is overwritten.
    int Capture(int nChannel, bool bStill);
    int GetColor(int nChannel, int& nBrightness, int& nContrast, int& nSaturation, int& nHue);
    /// Of the channel in the selected cell.
    int SetColor(int nIndex, int nValue);
    int SetSound(int nChannel, bool bOpen);
    int PlayOriginal(int nChannel);
    int PlayNormal(int nChannel);
    /// nMode 1 to 6: 4, 9, 16, 25, 36, 64 windows; any other one. Always 0.
    int ChangeSplit(int nMode);

    /// Any thread. Dropped when there is no live page.
    static int InputRealData(int nChannel, const unsigned char* pData, int nSize);

    /// Made if missing; null for a bad channel.
    CDecodeChannel* GetDecodeChannel(int nChannel);
    /// -1 for an empty cell, or none.
    int GetWndChannel(int nWnd) const;
    /// Lowest cell that holds the channel, or -1.
    int FindWndByChannel(int nChannel) const;
    int GetCurChannel() const;
    int GetCurWnd() const;
    /// A state of CDecodeChannel, or -1.
    int GetPlayState(int nChannel);
    int GetStreamType(int nChannel) const;
    /// 1 original aspect, 0 normal, -1 after a stop.
    int IsOriginal(int nChannel) const;
    bool IsDigitalZoom(int nChannel) const;
    bool IsRecording(int nChannel) const;
    bool IsSoundOn(int nChannel) const;

    void SetLoginInfo(int lLoginID, int nDevType);
    void SetTheme(const QString& strTheme);
    void EnterFullScreen();
    void ExitFullScreen();
    /// The page's buttons for the two-lens scale of the selected cell.
    void ScaleSwitch(int nDirection, int nStep);

    // Electronic PTZ, RealPlayZoom.cpp: of the channel in the selected cell, any other is refused. True on success.
    /// nWnd -1 is the selected cell. True when it is open already.
    bool PTZElectOpen(int nChannel, int nWnd);
    /// Back to the whole picture.
    bool PTZElectRedu(int nChannel);
    bool PTZElectZoomIn(int nChannel, int nStep);
    bool PTZElectZoomOut(int nChannel, int nStep);
    /// nDirection 0 up, 1 down, 2 left, 3 right.
    bool PTZElectronicMove(int nChannel, int nDirection, int nStep);
    /// nCommand 6 deletes, 7 stores, 8 goes to a preset.
    bool PTZElectPresent(int nChannel, int nCommand, int nPreset);

    /// Kept until the next one, over stops, starts and changes of the page.
    void SetRule(const RuleInfo& rule);
    /// Has the rule drawn from now on, on every picture of channel 0. False for a rule of another channel, and when the
    /// decoder refused.
    bool StartRuleDraw();

signals:
    void curWndIndexSig(int nIndex);
    void changePTZELectPage();

public slots:
    void OnDigitalZoom(QPoint start, QPoint end, int nWndIndex);
    void OnQuitDigitalZoom(int nWndIndex);
    void OnQuitPTZElect(int nWndIndex);
    void slot_GetScaleTwoLensAbility(int nWndNo);
    void slot_SetScaleTwoLensTimes(float fTimes, int nWndNo);

protected:
    void resetElectronicPTZ();

    std::array<PtzElectState, kMaxChannels> m_ptzElect;

private:
    void connectGrid();
    bool showIn(CDecodeChannel& channel, int nStream, int nChannel, int nWnd);
    int switchRecording(CDecodeChannel& channel, int nChannel, bool bRecord);
    QString recordName(int nChannel) const;
    bool stopOtherSound();
    CDecodeChannel* steered(int nChannel, int nWnd, const char* szTag, const char* szText);
    static void OnDrawRule(int nPort, void* hDC, LumoWindow hWnd, int32_t nUser);
    static bool goToPreset(CDecodeChannel& channel, PtzElectState& state, int nPreset);

    std::array<int, kGridCells> m_nChannelOfWnd;
    std::array<bool, kMaxChannels> m_bDigitalZoom{};
    std::array<bool, kMaxChannels> m_bRecord{};
    CPlayWindowManage* m_pWindowManage = nullptr;
    LocalInfo m_localInfo{};
    QHBoxLayout* m_pLayout = nullptr;
    int m_nSoundChannel = -1;
    std::array<int, kMaxChannels> m_nRageState;
    std::array<quint8, kMaxChannels> m_nStreamType{}; // kept after a stop
    int m_lLoginID = 0;
    int m_nDevType = 0;
    float m_fLastTimes = 0;
    int m_nScaleDir = 0; // of the last ScaleSwitch; nothing reads it
    bool m_bFullScreen = false;
    std::array<bool, kMaxChannels> m_bScaleTwoLens{};
};
