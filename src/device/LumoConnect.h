// The caller of LumoNet but for a talk's own calls (audio/Talk.h): hides its handles and records, turns its errors into
// the codes the page knows, and logs each step, for a failed session is usually diagnosed from that log.
//
// Thread: hub thread unless noted; calls block for up to 20 s. Results: handles above 0; nothing throws. Holds no
// session state.
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
    /// No caller: the program ends without giving the library up, as the object is never destroyed.
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
    void SetAlarmCallback(LumoMessageCallback callback, void* user);

    /// LumoConnectFiles.cpp. fileKind 0 is a configuration of at most 65536 bytes, 1 to 4 as announceFileText knows
    /// them. A code for the page. For 1 to 4 the transfer then goes on and ends in the callback, on a library thread.
    int ImportFile(int fileKind, int loginId, int channel, QString path, LumoSendFileCallback callback, intptr_t user);
    /// json announces the file. 1 when the transfer goes on; -1 when it was not announced, -2 when it could not start.
    int SendAudioFile(int loginId, const char* path, const char* json, LumoSendFileCallback callback, intptr_t user);

    /// LumoConnectUpgrade.cpp. A code for the page; the answer of all channels in the buffer, ended by a zero.
    int GetChannelAbility(int loginId, const char* name, char* buffer, int size);
    /// A code for the page. Progress comes in the callback, on a library thread.
    int StartLocalUpgrade(int loginId, QString path, LumoUpgradeCallback callback, intptr_t user);
    int StartOnlineUpgrade(int loginId, QString version, LumoUpgradeCallback callback, intptr_t user);
    int GetUpgradeState(int handle);
    /// Nothing for a handle below 1.
    void CloseUpgrade(int handle);
    /// The library's result. newVersion changes only when the device knows of a firmware of another build date.
    int GetNewVersion(int loginId, QString buildDate, QString* newVersion);

    /// LumoConnectTwoLens.cpp. GUI thread. viaPath: the device as a whole is asked, by the ability's path.
    bool GetScaleTwoLensAbility(int loginId, int channel, bool viaPath);
    /// 1, 0 when the answer is no JSON, -1 when the device refused. On 1 the device is also told to stay at *times, and
    /// for stream 0 the other lens to go to 0.
    int GetScaleTwoLensConfig(int loginId, int channel, int stream, float* times, bool wholeDevice, float* maxTimes);
    /// 1 or -1. channel -1: the device as a whole.
    int SetScaleTwoLensConfig(int loginId, int channel, int stream, float fOrignalTimes, float fCurTimes);

private:
    CLumoConnect() = default;
    int login(const LoginContext& context, NetDeviceInfo& info, int& error);
    void takeDeviceInfo(LoginContext& context, const NetDeviceInfo& info);

    bool disconnected = false; // the last device was logged out; nothing reads it: the hub has the login handle
};
