#include "LibraryStub.h"

#include "decode/LumoDecode.h"
#include "device/LumoNet.h"

#include <cstdio>
#include <cstring>
#include <sstream>

LibraryStub& LibraryStub::get()
{
    static LibraryStub stub;
    return stub;
}

LibraryStub& LibraryStub::reset()
{
    return get() = LibraryStub();
}

int LibraryStub::call(const std::string& line)
{
    calls.push_back(line);
    if (failAfter > 0 && --failAfter == 0)
        return 0;
    const auto found = results.find(line.substr(0, line.find(' ')));
    return found == results.end() ? 1 : found->second;
}

namespace
{

template <typename... Args> int record(const char* szName, const Args&... args)
{
    std::ostringstream line;
    line << szName;
    ((line << ' ' << args), ...);
    return LibraryStub::get().call(line.str());
}

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

std::string quoted(const char* sz)
{
    return '"' + std::string(sz) + '"';
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

} // namespace

extern "C" {

int LUMODEC_OpenFile(int p, const char* f)
{
    return record("OpenFile", p, f);
}
int LUMODEC_CloseFile(int p)
{
    return record("CloseFile", p);
}
int LUMODEC_Play(int p, LumoWindow w)
{
    return record("Play", p, w);
}
int LUMODEC_Stop(int p)
{
    return record("Stop", p);
}
int LUMODEC_Pause(int p, int b)
{
    return record("Pause", p, b);
}
int LUMODEC_Fast(int p)
{
    return record("Fast", p);
}
int LUMODEC_Slow(int p)
{
    return record("Slow", p);
}
int LUMODEC_OneByOne(int p)
{
    return record("OneByOne", p);
}
int LUMODEC_OneByOneBack(int p)
{
    return record("OneByOneBack", p);
}
int LUMODEC_SetPlayPos(int p, float f)
{
    return record("SetPlayPos", p, f);
}
float LUMODEC_GetPlayPos(int p)
{
    return float(record("GetPlayPos", p));
}
int LUMODEC_SetFileEndCallBack(int p, LumoFileEndCallback, intptr_t u)
{
    return record("SetFileEndCallBack", p, u);
}
int LUMODEC_OpenStream(int p, const uint8_t*, int n, int s)
{
    return record("OpenStream", p, n, s);
}
int LUMODEC_InputData(int p, const uint8_t*, int n)
{
    return record("InputData", p, n);
}
int LUMODEC_CloseStream(int p)
{
    return record("CloseStream", p);
}
int LUMODEC_SetStreamMode(int p, int m)
{
    return record("SetStreamMode", p, m);
}
int LUMODEC_PlaySound(int p)
{
    return record("PlaySound", p);
}
int LUMODEC_StopSound(int p)
{
    return record("StopSound", p);
}
int LUMODEC_GetSourceBufferRemain(int p)
{
    return record("GetSourceBufferRemain", p);
}
int LUMODEC_RefreshPlay(int p)
{
    return record("RefreshPlay", p);
}
int LUMODEC_SetPreviewOption(int p, int o)
{
    return record("SetPreviewOption", p, o);
}
int LUMODEC_SetDisplayRegion(int p, int n, const LumoRect* r, LumoWindow w, int b)
{
    if (!r)
        return record("SetDisplayRegion", p, n, "null", w, b);
    return record("SetDisplayRegion", p, n, r->left, r->top, r->right, r->bottom, w, b);
}
int LUMODEC_RegisterDrawCallback(int p, LumoDrawCallback fn, int32_t user)
{
    // Called at once as the library would after a frame, so that a test sees where the word leads.
    fn(p, reinterpret_cast<void*>(1), user);
    return record("RegisterDrawCallback", p);
}
int LUMODEC_GetBufferValue(int p, int k)
{
    return record("GetBufferValue", p, k);
}
int LUMODEC_SetColor(int p, int r, int b, int c, int s, int h)
{
    return record("SetColor", p, r, b, c, s, h);
}
int LUMODEC_GetColor(int p, int r, int32_t* b, int32_t* c, int32_t* s, int32_t* h)
{
    const int* color = LibraryStub::get().color;
    *b = color[0];
    *c = color[1];
    *s = color[2];
    *h = color[3];
    return record("GetColor", p, r);
}
int LUMODEC_CatchPicture(int p, const char* f, int n)
{
    return record("CatchPicture", p, f, n);
}
int LUMODEC_StartDataRecord(int p, const char* f, int t)
{
    return record("StartDataRecord", p, quoted(f), t);
}
int LUMODEC_StopDataRecord(int p)
{
    return record("StopDataRecord", p);
}
int LUMODEC_GetCurrentFrameTime(int p)
{
    return record("GetCurrentFrameTime", p);
}
int LUMODEC_ConvertFile(const char* s, const char* d, int t, LumoConvertCallback, intptr_t)
{
    return record("ConvertFile", s, d, t);
}
int LUMODEC_SetOriginalMode(int p, int r, const int32_t* f)
{
    return record("SetOriginalMode", p, r, *f);
}

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
void LUMONET_SetMessageCallback(LumoMessageCallback, intptr_t u)
{
    record("SetMessageCallback", u);
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

} // extern "C"
