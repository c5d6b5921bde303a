// One port of the decode library: a thin guard that remembers which port it is, what it paints into and how it
// plays, and logs each transition. No video pixel passes through it.
//
// Thread: GUI thread, except InputData (any thread) and the draw trampoline (the port's thread).
// Results: the library's own, non-zero on success, unless noted. Nothing throws.
#pragma once

#include "decode/LumoDecode.h"

#include <QPoint>
#include <QString>

#include <atomic>
#include <optional>

class CDecodeChannel
{
public:
    /// Play states, as SetPlayMode takes them and GetPlayState gives them.
    enum EPlayState {
        kNormal = 0,
        kStopped = 1,
        kPaused = 2,
        kSlowFirst = 16,
        kSlowLast = 19,
        kFastFirst = 32,
        kFastLast = 35,
        kStepForward = 48,
        kStepBack = 49
    };

    /// Year, month, day and time; what could not be read is 0.
    struct SDateTime {
        uint16_t year = 0, month = 0, day = 0, hour = 0, minute = 0, second = 0;
    };

    /// Port, device context (see LumoDrawSurface), window, user word. On the port's thread.
    using DrawFunction = void (*)(int nPort, void* hDC, LumoWindow hWnd, int32_t nUser);

    explicit CDecodeChannel(int nPort);
    /// Stops and closes the port and its file, so that nothing of it is left running.
    ~CDecodeChannel();
    CDecodeChannel(const CDecodeChannel&) = delete;
    CDecodeChannel& operator=(const CDecodeChannel&) = delete;

    void SetWnd(LumoWindow hWnd) { m_hWnd = hWnd; }

    int Open(int nStreamType);
    int Close();
    /// The port stays as it is when this object goes: whoever opens it next has it.
    void Leave();
    int StartPreview();
    int StopPreview();
    int StartPlayback(bool bLocal);
    int StopPlayback();

    int BeginLocalPlay(const QString& strFile, LumoFileEndCallback fnEnd, intptr_t nUser);
    int StopLocalPlay();

    /// nType: LUMODEC_RECORD_...
    int StartRecord(const QString& strFile, int nType);
    int StopRecord();
    bool IsRecord() const { return m_bRecord; }

    int PlaySound();
    int StopSound();
    int SnapShot(const QString& strFile);

    /// Any thread. No copy, no log, no state check: the library takes input for any port in any state.
    void InputData(const uint8_t* pData, int nSize) { LUMODEC_InputData(m_nPort, pData, nSize); }
    /// The same for who must not touch the channel object, which the GUI thread may be deleting.
    static void InputData(int nPort, const uint8_t* pData, int nSize) { LUMODEC_InputData(nPort, pData, nSize); }

    int GetColor(int& nBrightness, int& nContrast, int& nSaturation, int& nHue);
    /// nIndex 0 brightness, 1 contrast, 2 saturation, 3 hue, 4 all; any other sends the stored values again.
    int SetColor(int nIndex, int nValue);

    /// Only at normal speed. Null with bEnable false shows the whole picture.
    int SetDisplayRegion(const LumoRect* pRect, bool bEnable);
    /// In any state.
    bool SetDisplayRegion(QPoint ptStart, QPoint ptEnd, bool bEnable);

    int PlayOriginal();
    int PlayNormal();

    /// Returns the new state, which is the old one when the library refused.
    int SetPlayMode(int nMode);
    /// One of EPlayState, not the page's code.
    int GetPlayState() const { return m_nPlayState; }

    /// Always 1.
    int SetPlayPos(float fPos);
    float GetPlayPos() const { return LUMODEC_GetPlayPos(m_nPort); }
    bool RefreshPlay() const { return LUMODEC_RefreshPlay(m_nPort) != 0; }

    /// Texts as "2026-01-31 23:59:59". Always 1.
    int SetPlayTime(const char* szBegin, const char* szEnd);
    /// nMode 2: seconds of the day of the shown picture; else the fraction of the range that lies behind it.
    float GetTimePos(int nMode) const;
    /// Seconds from the range's begin that nPermille of it are.
    int GetSeekSeconds(int nPermille) const;

    int GetBufferValue() const { return LUMODEC_GetBufferValue(m_nPort, LUMODEC_BUFFER_PICTURES); }
    int GetSourceBufferRemain() const { return LUMODEC_GetSourceBufferRemain(m_nPort); }

    int SetDrawCallback(DrawFunction fnDraw, int32_t nUser);

    static bool ChangeFileFormat(const QString& strSrc, const QString& strDst, int nType, LumoConvertCallback fnPos,
                                 intptr_t nUser);

private:
    int start(bool bReady, const char* szTag);
    int stop(const char* szTag);
    bool isSpeedChanged() const;
    bool steps(int nCount, int (*fnStep)(int));
    /// The last call's result; 0 when there is no call to make.
    int callForMode(int nMode);
    int setOriginal(int32_t nFlag);
    bool currentFrameTime(SDateTime& stFrame) const;
    static void drawTrampoline(int nPort, void* hDC, int32_t nUser);

    bool m_bOpen = false;
    bool m_bFile = false;  // a file is open on the port
    bool m_bSound = false; // nothing reads it: the pages keep which port is heard
    bool m_bRecord = false;
    const int32_t m_nPort;
    std::atomic<LumoWindow> m_hWnd{0}; // atomic: the draw trampoline reads it on the port's thread
    int32_t m_nPlayState = kStopped;
    SDateTime m_stBegin;
    SDateTime m_stEnd;
    int32_t m_nColor[4] = {64, 64, 64, 64};
    int32_t m_bOriginal = 0;                     // nothing reads it: the page keeps it by channel
    int32_t m_nStreamType = -1;                  // nothing reads it: likewise
    std::atomic<DrawFunction> m_fnDraw{nullptr}; // atomic: as m_hWnd
    std::atomic<int32_t> m_nDrawUser{0};         // atomic: as m_hWnd
    int32_t m_nDrawWord = 0;
};

/// The page's code for a play state of EPlayState, which the page shows as a window's status: 0 stopped, 2 playing,
/// 4 paused, 5 slow, 6 fast, 7 and 8 single frame. None for what is no state.
std::optional<int> pageCodeOf(int nPlayState);
