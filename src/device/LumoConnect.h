// The one caller of LumoNet: hides its handles and records, turns its errors into the codes the page knows, and logs
// each step, for a failed session is usually diagnosed from that log.
//
// Thread: hub thread unless noted. Results: handles above 0; nothing throws. Holds no session state.
#pragma once

#include "device/LoginContext.h"
#include "device/LumoNet.h"

#include <QString>

/// What BeginPlayback takes. Times as "2026-01-31 23:59:59".
struct PlaybackRequest {
    int channel;
    int streamType;
    char beginTime[32];
    char endTime[32];
    char namePart1[32];
    char namePart2[32];
    int fileSize;
    char fileName[108];
    int wnd;
    int fileType;
};

/// What StartDownLoad takes.
struct DownloadRequest {
    int channel;
    int fileSize;
    char fileName[108];
    char beginTime[32];
    char endTime[32];
    int streamType;
};

class CLumoConnect
{
public:
    /// Created on first use, lives to the end of the process.
    static CLumoConnect* instance();

    virtual ~CLumoConnect();
    /// GUI thread, once, before the hub's thread runs.
    virtual int InitLumoNet(LumoDisconnectCallback disconnectFunction, void* user);
    virtual int CleanUp();
    /// The login handle; on failure the library's error, 0 or negative, with its translation in *ret.
    virtual int ConnectDevice(LoginContext* context, int* ret, const char* webType);
    virtual int DisconnectDevice(int loginId);
    /// A library query with a time-out of 10000 ms; 0 when it fails.
    virtual int QueryValue(int handle, int a, int b, int c);

    /// Library error to the page's code.
    static int TranslateError(int error);

    /// The stream handle, or the library's result as it is.
    int ConnectChanel(int loginId, int channel, int stream, LumoRealDataCallback callback, intptr_t user);
    /// The stream handle, or the library's error.
    int ConnectChanel_V2(int loginId, int channel, int stream, LumoRealDataCallback_V2 callback, intptr_t user);
    int DisconnectChannel(int handle, LumoRealDataCallback callback, intptr_t user);
    int DisconnectChannel_V2(int handle, LumoRealDataCallback_V2 callback, intptr_t user);

    /// mode 2 by time, any other by name. By name needs a begin time: -1 without.
    int BeginPlayback(int loginId, int channel, int mode, const PlaybackRequest* request,
                      LumoRealDataCallback dataCallback, LumoPositionCallback positionCallback, intptr_t user);
    int EndPlayback(int handle);
    /// requested when the device took it, else current. Modes: 0, 2, 16 to 19, 32 to 35.
    int SetPlaybackMode(int handle, int requested, int current);
    int SeekPlayback(int handle, int value);

    int StartDownLoad(int loginId, const DownloadRequest* request, const char* path,
                      LumoPositionCallback positionCallback, intptr_t user);
    int StopDownLoad(int handle);

    int RequestChannelFrame(int loginId, int channel, int stream);
    void SetAlarmCallback(LumoMessageCallback callback, intptr_t user);

private:
    CLumoConnect() = default;
    int login(const LoginContext& context, NetDeviceInfo& info, int& error);
    void takeDeviceInfo(LoginContext& context, const NetDeviceInfo& info);

    bool disconnected = false;
};
