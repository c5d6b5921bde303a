// The page of recorded video: a grid of four windows at most. Each window has two decoder ports, one for what a device
// plays and one for a local file; the play mode says which of the two all operations mean. Knows nothing of the
// network; the command handlers open and close device playbacks around its calls.
//
// Thread:    GUI thread, except InputData.
// Ownership: owns the grid and the ports. One at a time in a process.
// Windows:   0 to 3; any other index has no port, no channel, no zoom and no sound.
// Results:   0 success, -1 no port, -2 the decoder refused, unless noted.
#pragma once

#include "decode/DecodeChannel.h"

#include <QPoint>
#include <QString>
#include <QWidget>

#include <array>

class CPlayWindowManage;
class QHBoxLayout;

constexpr int kPlaybackWindows = 4;

class CPlaybackWidget : public QWidget
{
    Q_OBJECT
public:
    explicit CPlaybackWidget(QWidget* pParent);
    /// Stops and closes all ports.
    ~CPlaybackWidget() override;

    /// 0 a local file, 1 a device's file by name, 2 by time. Selects window 0, with a signal. What plays on the ports
    /// of the other mode goes on.
    void SetPlayMode(int nMode);

    /// Non-zero on success, 0 without a port.
    int BeginLocalPlay(int nWnd, const QString& strFile, LumoFileEndCallback fnEnd, intptr_t nUser);
    /// nWnd -1 is the selected window. 0 also when the decoder did not open: the window then stays closed.
    int OpenWnd(int nStream, int nWnd);
    int StopWnd(int nWnd);

    /// Any thread. Dropped when there is no playback page.
    static int InputData(int nWnd, const unsigned char* pData, int nSize);

    void SetWndChannel(int nChannel, int nWnd);
    int GetWndChannel(int nWnd) const;
    int GetCurChannel() const;
    int GetCurWnd() const;
    /// The first window that shows it, else -1.
    int FindWndByChannel(int nChannel) const;

    /// Texts as "2026-01-31 23:59:59". Non-zero, 0 without a port.
    int SetWndTime(int nWnd, const char* szBegin, const char* szEnd);
    /// The new state of CDecodeChannel, -1 without a port.
    int SetPlayState(int nWnd, int nState);
    /// Likewise the decoder's state, not the page's code.
    int GetPlayState(int nWnd);
    /// Local file: the fraction of it; by name: the fraction of the range; by time: seconds of the day. 0 without a
    /// port.
    float GetPos(int nWnd);
    /// Seconds from the range's begin that so many thousandths of it are; 0 when nothing is shown.
    int GetSeekSeconds(int nWnd, int nPermille);
    /// 1, or 0 without a port.
    int SetLocalPos(int nWnd, float fPos);
    bool ClearBuffer(int nWnd);
    /// Decoded pictures and undecoded bytes that wait; both stay as they are without a port.
    void GetBufferLevels(int nWnd, int& nPictures, int& nBytes);

    int CatchPicture(int nWnd, const QString& strDir);
    /// nType: Info/RecordType of the client configuration. Non-zero on success.
    int RecordClip(int nWnd, int nType, bool bStart, const QString& strDir);
    bool IsRecording(int nWnd) const;
    bool IsZoom(int nWnd) const;
    bool IsSound(int nWnd) const;
    /// One window at most has sound.
    int SetSound(int nWnd, bool bOn);
    /// Of the selected window.
    int ToggleZoom();

    /// Mode 1 is four windows, every other mode one. Always 0.
    int ChangeSplit(int nMode);
    void SelectWnd(int nWnd);
    /// A still picture on window 0; an empty path takes it away.
    void ShowPicture(const QString& strFile);
    void SetTheme(const QString& strTheme);

signals:
    void curWndIndexSig(int nIndex);

public slots:
    void OnDigitalZoom(QPoint start, QPoint end, int nWndIndex);
    void OnQuitDigitalZoom(int nWndIndex);

private:
    /// Made if missing; null for an index that is no window.
    CDecodeChannel* GetChannel(int nWnd);
    bool stopOtherSound();
    QString clipName(int nWnd, int nType, const QString& strDir) const;
    QString fileName(int nChannel, const QString& strDir, const char* szSuffix) const;

    CPlayWindowManage* m_pPlayWindowManage = nullptr;
    QHBoxLayout* m_pLayout = nullptr;
    std::array<int, kPlaybackWindows> m_nChannel;
    std::array<bool, kPlaybackWindows> m_bZoom{};
    std::array<bool, kPlaybackWindows> m_bRecord{};
    int m_nSoundWnd = -1;
    int m_nSplitMode = 0; // the last one asked for; nothing reads it: the grid has the layout
};
