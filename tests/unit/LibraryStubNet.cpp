// The device library as plain functions.
#include "LibraryStub.h"

#include "device/LumoNet.h"

#include <algorithm>
#include <cstdio>
#include <cstring>

using stub::quoted;
using stub::record;

namespace
{

std::string text(const RecordTime8& t)
{
    char buffer[64];
    std::snprintf(buffer, sizeof buffer, "%d-%d-%d/%d:%d:%d", t.nYear, t.nMonth, t.nDay, t.nHour, t.nMinute, t.nSecond);
    return buffer;
}

std::string text(const RecordTime6& t)
{
    char buffer[64];
    std::snprintf(buffer, sizeof buffer, "%d-%d-%d/%d:%d:%d", t.nYear, t.nMonth, t.nDay, t.nHour, t.nMinute, t.nSecond);
    return buffer;
}

void fillDevice(NetDeviceInfo* pInfo, int* pError)
{
    const LibraryStub& stub = LibraryStub::get();
    *pError = stub.loginError;
    std::strncpy(pInfo->szCloudError, stub.cloudError.c_str(), sizeof pInfo->szCloudError);
    std::strncpy(pInfo->szSerialNo, stub.serialNo.c_str(), sizeof pInfo->szSerialNo);
    std::strncpy(pInfo->szDeviceName, stub.deviceName.c_str(), sizeof pInfo->szDeviceName);
    std::strncpy(pInfo->szSoftwareVersion, stub.softwareVersion.c_str(), sizeof pInfo->szSoftwareVersion);
    pInfo->nChannels = stub.channels;
    pInfo->nExtraChannels = stub.extraChannels;
    pInfo->nDeviceType = stub.deviceType;
}

/// What the test has scripted as the call's JSON answer, cut to the buffer.
void writeOutput(const char* szCall, char* pBuffer, int nSize)
{
    const std::string& text = LibraryStub::get().outputs[szCall];
    std::memcpy(pBuffer, text.data(), std::min(text.size(), size_t(nSize)));
}

} // namespace

extern "C" {

int LUMONET_Init(LumoDisconnectCallback, void*)
{
    return record("Init");
}
int LUMONET_InitAppInfo(const LumoAppInfo* i)
{
    return record("InitAppInfo", i->szName, i->nKind);
}
int LUMONET_Cleanup(void)
{
    return record("Cleanup");
}
int LUMONET_GetLastError(void)
{
    return record("GetLastError");
}
int LUMONET_Login(const char* a, int port, const char* u, const char* p, NetDeviceInfo* i, int* e, int k)
{
    fillDevice(i, e);
    return record("Login", quoted(a), port, quoted(u), quoted(p), k, i->nWebKind);
}
int LUMONET_LoginEx_V2(const char* sn, int z, const char* t, const char* r, NetDeviceInfo* i, int k, int* e, int s)
{
    fillDevice(i, e);
    return record("LoginEx_V2", quoted(sn), z, quoted(t), quoted(r), k, s);
}
int LUMONET_Logout(int l)
{
    return record("Logout", l);
}
int LUMONET_ReleaseLogin(int l)
{
    return record("ReleaseLogin", l);
}
void LUMONET_SetMessageCallback(LumoMessageCallback, void* u)
{
    record("SetMessageCallback", intptr_t(u));
}
int LUMONET_OpenMessageChannel(int l)
{
    return record("OpenMessageChannel", l);
}
int LUMONET_RealPlay(int l, const StreamOpenInfo* i)
{
    return record("RealPlay", l, i->nChannel, i->nStream);
}
int LUMONET_SetRealDataCallBack(int h, LumoRealDataCallback, intptr_t u)
{
    return record("SetRealDataCallBack", h, u);
}
int LUMONET_SetRealDataCallBack_V2(int h, LumoRealDataCallback_V2, intptr_t u)
{
    return record("SetRealDataCallBack_V2", h, u);
}
int LUMONET_DelRealDataCallBack(int h, LumoRealDataCallback, intptr_t u)
{
    return record("DelRealDataCallBack", h, u);
}
int LUMONET_DelRealDataCallBack_V2(int h, LumoRealDataCallback_V2, intptr_t u)
{
    return record("DelRealDataCallBack_V2", h, u);
}
int LUMONET_StopRealPlay(int h, int n)
{
    return record("StopRealPlay", h, n);
}
int LUMONET_RequestChannelFrame(int l, int c, int s)
{
    return record("RequestChannelFrame", l, c, s);
}
int LUMONET_PlayBackByName(int l, const RecordFileInfo* i, LumoPositionCallback, LumoRealDataCallback, intptr_t u)
{
    return record("PlayBackByName", l, i->nChannel, i->nFileSize, i->szFileName, text(i->stBegin), text(i->stEnd),
                  i->nStreamType, u);
}
int LUMONET_PlayBackByTimeEx(int l, const RecordTimeInfo* i, LumoRealDataCallback, intptr_t du, LumoPositionCallback,
                             intptr_t pu)
{
    return record("PlayBackByTimeEx", l, i->nChannel, i->nFileType, text(i->stBegin), text(i->stEnd), i->nStreamType,
                  i->szNamePart1, i->szNamePart2, du, pu);
}
int LUMONET_PlayBackControl(int h, int a, int v, int n)
{
    return record("PlayBackControl", h, a, v, n);
}
int LUMONET_StopPlayBack(int h)
{
    return record("StopPlayBack", h);
}
int LUMONET_StartFileDownload(int l, const RecordFileInfo* i, const char* p, LumoPositionCallback, intptr_t u, int n)
{
    return record("StartFileDownload", l, i->nChannel, i->nFileSize, i->szFileName, text(i->stBegin), text(i->stEnd),
                  i->nStreamType, p, u, n);
}
int LUMONET_StopFileDownload(int h)
{
    return record("StopFileDownload", h);
}
int LUMONET_QueryValue(int h, const int32_t q[3], int32_t* a, int t)
{
    *a = 42;
    return record("QueryValue", h, q[0], q[1], q[2], t);
}

int LUMONET_GetDevConfig(int l, int n, int c, void* b, int z, int* r, int t)
{
    LumoVersionInfo info{};
    const LibraryStub& stub = LibraryStub::get();
    info.nCount = stub.versionCount;
    std::strncpy(info.szVersion, stub.version.c_str(), sizeof info.szVersion);
    std::strncpy(info.szBuildDate, stub.versionDate.c_str(), sizeof info.szBuildDate);
    std::memcpy(b, &info, std::min(size_t(z), sizeof info));
    *r = z;
    return record("GetDevConfig", l, n, c, z, t);
}
int LUMONET_SetDevConfig(int l, int n, int c, const void* b, int z, int t)
{
    return record("SetDevConfig", l, n, c, std::string(static_cast<const char*>(b), size_t(std::min(z, 8))), z, t);
}
int LUMONET_GetChannelAbility_Json(int l, const char* n, int c, char* b, int z, int* r, int t)
{
    writeOutput("GetChannelAbility_Json", b, z);
    *r = z;
    return record("GetChannelAbility_Json", l, n, c, z, t);
}
int LUMONET_GetSystemAbility_Json(int l, const char* n, int k, int c, char* b, int z, int* r, int t)
{
    writeOutput("GetSystemAbility_Json", b, z);
    *r = z;
    return record("GetSystemAbility_Json", l, n, k, c, z, t);
}
bool LUMONET_HasAbility(int l, const char* p, int n)
{
    return record("HasAbility", l, p, n) != 0;
}
int LUMONET_CmdWithResult_Json(int l, const char* n, int k, int c, const char* i, int s, char* b, int z, int* r, int t)
{
    writeOutput("CmdWithResult_Json", b, z);
    *r = z;
    return record("CmdWithResult_Json", l, n, k, c, i, s, z, t);
}
int LUMONET_CmdWithOutput_Json(int l, const char* n, int k, int c, const char* i, int s, char* b, int t)
{
    *b = 0;
    return record("CmdWithOutput_Json", l, n, k, c, i, s, t);
}
int LUMONET_Cmd_Json(int l, const char* n, int k, int c, const char* i, int s, int t)
{
    return record("Cmd_Json", l, n, k, c, i, s, t);
}
int LUMONET_SendFileDataToDevice(int l, const char* p, LumoSendFileCallback, intptr_t u)
{
    return record("SendFileDataToDevice", l, p, u);
}
int LUMONET_StartLocalUpgrade(int l, const char* p, int k, LumoUpgradeCallback, intptr_t u)
{
    return record("StartLocalUpgrade", l, p, k, u);
}
int LUMONET_StartOnlineUpgrade(int l, const char* v, int k, LumoUpgradeCallback, intptr_t u)
{
    return record("StartOnlineUpgrade", l, v, k, u);
}
int LUMONET_GetUpgradeState(int h)
{
    return record("GetUpgradeState", h);
}
void LUMONET_CloseUpgradeHandle(int h)
{
    record("CloseUpgradeHandle", h);
}

} // extern "C"
