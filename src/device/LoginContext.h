// The device session as hub and device link share it: what the login was given, what the device reported, and every
// open handle.
//
// Thread: hub thread; closures on the GUI thread may touch it while the hub waits for them.
// Text is zero-terminated and cut to its field; local 8-bit encoding except token, which is Latin-1.
#pragma once

#include "device/Channels.h"

#include <QByteArray>

#include <cstddef>

struct LoginContext {
    int loginType; // 0 by address, 1 by serial number, 2 by serial number and token
    char serialNo[32];
    char token[64];
    char ip[64];
    int port; // only its low 16 bits reach the device library
    char user[64];
    char password[64];
    int loginId;                      // above 0 while logged in; else 0 or the library's error
    int previewHandles[kMaxChannels]; // per channel; above 0 is open
    int secondLoginId;
    int secondPreviewHandle;
    int playbackHandles[4];
    int downloadHandle;
    int channelCount;          // sum of the next two
    int reportedExtraChannels; // nothing reads these two: their sum is what counts
    int reportedChannels;
    int deviceId; // running number within the process, 0 until the first good login; goes into PlayWndInfo::Tag alone
    int deviceType;
    char cloudError[260];
    char softwareVersion[64];             // nothing reads it, nor deviceName: no command asks for them
    char channelWasPlaying[kMaxChannels]; // per channel: bit 0 it was shown, bit 1 its stream
    char channelWnd[kMaxChannels];        // per channel: the cell it stood in
    int restorePending;
    int buildYear;
    int buildMonth;
    int buildDay;
    char deviceName[64];
    char alarmStyle[64];
    int lastAppCpu; // nothing reads these three: the page has been told
    int lastSystemCpu;
    int lastAppMemory;
};

/// Keeps a sample of the machine's load: percent, percent, MiB. False, and nothing has changed, while no device is
/// logged in or a load is below 0, which means unknown.
bool keepLoad(LoginContext& context, int nAppCpu, int nSystemCpu, int nAppMemory);

/// Copies text cut to the field's width, always with its terminating zero.
void copyField(char* pField, size_t nSize, const char* szText);

template <size_t N> void copyField(char (&field)[N], const QByteArray& text)
{
    copyField(field, N, text.constData());
}
