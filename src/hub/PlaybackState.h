// What the hub keeps of a playback window or of the download, and what a play state means to the page.
#pragma once

#include <atomic>
#include <cstdint>

class CPluginManage;

constexpr int kPlaybackWnds = 4;

/// What a mode of the playback page plays.
enum EPlaybackMode { kPlayLocal = 0, kPlayByName = 1, kPlayByTime = 2 };

/// Which callback a PlayWndInfo is the user value of.
enum EPlayKind { kKindWindow = 0, kKindDownload = 1, kKindPicture = 2 };

/// The user value of every callback of a window, or of the download. Lives as long as the hub. hub thread, except the
/// two that callbacks read on the libraries' threads.
struct PlayWndInfo {
    CPluginManage* Owner = nullptr;
    int Chn = 0; // device channel, -1 once stopped by command
    std::atomic<int> Wnd{0};
    int State = 0; // of CDecodeChannel; of the download: 0 while its picture is on the screen
    std::atomic<int> Kind{kKindWindow};
    int Tag = 0; // the device's running number when it started; nothing reads it
};

/// The page's code of a play state, see pageCodeOf; 0, as for stopped, for what is no state.
int PlayStateToStatus(int nState);
/// 1 to 4 for the steps of slow and fast, -1 for any other state.
int PlayStateToSpeedStep(int nState);
/// The state that one press of the page's button leads to; from the last step back to normal.
int fasterState(int nState);
int slowerState(int nState);
