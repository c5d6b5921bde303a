#include "device/LumoConnect.h"

#include "device/Ret.h"
#include "shell/LightWeightLog.h"

#include <algorithm>
#include <cstdio>
#include <cstring>

namespace
{

constexpr int kQueryTimeoutMs = 10000;

int g_nextDeviceId = 1; // hub thread only

/// What both translations share; 0 when the error is in neither's common part.
int translateCommon(int error)
{
    switch (error) {
    case LUMONET_ERR_USER:
    case LUMONET_ERR_PASSWORD:
        return kRetWrongUser;
    case LUMONET_ERR_REFUSED:
        return kRetRefused;
    case LUMONET_ERR_LOCKED:
        return kRetLocked;
    case LUMONET_ERR_ALREADY_LOGGED_IN:
        return kRetLoggedInAlready;
    case LUMONET_ERR_NOT_LOGGED_IN:
        return kRetNotLoggedIn;
    case LUMONET_ERR_SESSIONS:
        return kRetSessions;
    case LUMONET_ERR_TIMEOUT:
        return kRetTimeout;
    default:
        return 0;
    }
}

int translateLoginError(int error)
{
    if (error == LUMONET_ERR_CLOUD)
        return kRetCloud;
    const int nRet = translateCommon(error);
    return nRet ? nRet : kRetLoginFailed;
}

struct SixNumbers {
    int n[6] = {};
};

SixNumbers parseTime(const char* szText)
{
    SixNumbers t;
    std::sscanf(szText, "%04d-%02d-%02d %02d:%02d:%02d", &t.n[0], &t.n[1], &t.n[2], &t.n[3], &t.n[4], &t.n[5]);
    return t;
}

RecordTime8 recordTime8(const char* szText)
{
    const SixNumbers t = parseTime(szText);
    return {t.n[0], t.n[1], t.n[2], 0, t.n[3], t.n[4], t.n[5], 0};
}

RecordTime6 recordTime6(const char* szText)
{
    const SixNumbers t = parseTime(szText);
    return {t.n[0], t.n[1], t.n[2], t.n[3], t.n[4], t.n[5]};
}

RecordFileInfo recordFileInfo(int channel, int fileSize, const char* szName, const char* szBegin, const char* szEnd,
                              int streamType)
{
    RecordFileInfo info;
    std::memset(&info, 0, sizeof info);
    info.nChannel = channel;
    info.nFileSize = fileSize;
    copyField(info.szFileName, sizeof info.szFileName, szName);
    info.stBegin = recordTime8(szBegin);
    info.stEnd = recordTime8(szEnd);
    info.nStreamType = streamType;
    return info;
}

StreamOpenInfo streamOpenInfo(int channel, int stream)
{
    StreamOpenInfo info;
    std::memset(&info, 0, sizeof info);
    info.nChannel = channel;
    info.nStream = stream;
    return info;
}

bool isSlow(int mode)
{
    return mode >= 16 && mode <= 19;
}
bool isFast(int mode)
{
    return mode >= 32 && mode <= 35;
}

} // namespace

CLumoConnect* CLumoConnect::instance()
{
    static CLumoConnect* const pInstance = new CLumoConnect;
    return pInstance;
}

CLumoConnect::~CLumoConnect()
{
    LUMONET_Cleanup();
}

int CLumoConnect::CleanUp()
{
    return LUMONET_Cleanup();
}

int CLumoConnect::InitLumoNet(LumoDisconnectCallback disconnectFunction, void* user)
{
    static const char* const szTag = "CLumoConnect::InitLumoNet";
    writeLog(szTag, "LUMONET_Init begin");
    const int nResult = LUMONET_Init(disconnectFunction, user);
    writeLog(szTag, "LUMONET_Init end");
    // The library's own time-outs are left alone; the line stays for those who read the log.
    writeLog(szTag, "LUMONET_SetConnectTime end");
    LumoAppInfo info;
    std::memset(&info, 0, sizeof info);
    copyField(info.szName, sizeof info.szName, "lumoview");
    copyField(info.szKey, sizeof info.szKey, "lumoview-open");
    info.nKind = 4;
    writeLog(szTag, QString("LUMONET_InitAppInfo Ret=%1").arg(LUMONET_InitAppInfo(&info)));
    return nResult;
}

int CLumoConnect::login(const LoginContext& context, NetDeviceInfo& info, int& error)
{
    switch (context.loginType) {
    case 0:
        return LUMONET_Login(context.ip, context.port & 0xFFFF, context.user, context.password, &info, &error,
                             LUMO_LOGIN_BY_ADDRESS);
    case 1:
        return LUMONET_Login(context.serialNo, 0, context.user, context.password, &info, &error, LUMO_LOGIN_BY_SERIAL);
    case 2:
        writeLog("CLumoConnect::ConnectDevice",
                 QString("LUMONET_LoginEx_V2 SN=%1 Token=%2")
                     .arg(QString::fromLocal8Bit(context.serialNo), QString::fromLatin1(context.token)));
        return LUMONET_LoginEx_V2(context.serialNo, 0, context.token, "", &info, 7, &error, LUMO_LOGIN_BY_SERIAL);
    default:
        return 0;
    }
}

void CLumoConnect::takeDeviceInfo(LoginContext& context, const NetDeviceInfo& info)
{
    if (context.deviceId == 0)
        context.deviceId = g_nextDeviceId++;
    context.buildYear = info.nBuildYear;
    context.buildMonth = info.nBuildMonth;
    context.buildDay = info.nBuildDay;
    context.deviceType = info.nDeviceType;
    context.reportedChannels = info.nChannels;
    context.reportedExtraChannels = info.nExtraChannels;
    // Added as unsigned: whatever a device reports, the sum is defined and then refused by its range.
    context.channelCount = int(unsigned(info.nChannels) + unsigned(info.nExtraChannels));
    writeLog("CLumoConnect::ConnectDevice", QString("NetDeviceInfo----------devType:%1").arg(info.nDeviceType));
    const auto text = [](const auto& field) { return QByteArray(field, int(qstrnlen(field, sizeof field))); };
    if (context.loginType == 0)
        copyField(context.serialNo, text(info.szSerialNo));
    copyField(context.deviceName, text(info.szDeviceName));
    copyField(context.softwareVersion, text(info.szSoftwareVersion));
}

int CLumoConnect::ConnectDevice(LoginContext* context, int* ret, const char* webType)
{
    static const char* const szTag = "CLumoConnect::ConnectDevice";
    disconnected = false;
    NetDeviceInfo info;
    std::memset(&info, 0, sizeof info);
    if (std::strcmp(webType, "O5") == 0)
        info.nWebKind = 1000;
    int error = 0;
    const int nLogin = login(*context, info, error);
    if (nLogin > 0) {
        takeDeviceInfo(*context, info);
        if (std::strcmp(context->alarmStyle, "Tool") == 0)
            LUMONET_OpenMessageChannel(nLogin);
        writeLog(szTag, QString("ConnectDevice success,LoginID=%1").arg(nLogin));
        return nLogin;
    }
    *ret = translateLoginError(error);
    if (error == LUMONET_ERR_CLOUD) {
        const QByteArray cloud(info.szCloudError, int(qstrnlen(info.szCloudError, sizeof info.szCloudError)));
        copyField(context->cloudError, cloud);
        writeLog(szTag, QString("Cloud Error:%1").arg(QString::fromLocal8Bit(context->cloudError)), kLogError);
    }
    writeLog(szTag, QString("ConnectDevice fail, sdk error=%1 return=%2").arg(error).arg(*ret), kLogError);
    writeLog(szTag, QString("ConnectDevice fail, error=%1").arg(*ret), kLogError);
    return std::min(error, 0); // a caller takes anything above 0 for a login
}

int CLumoConnect::DisconnectDevice(int loginId)
{
    LUMONET_ReleaseLogin(loginId);
    const int nResult = LUMONET_Logout(loginId);
    writeLog("CLumoConnect::DisconnectDevice", QString("Disconnect Device LoginID=%1").arg(loginId));
    disconnected = true;
    return nResult;
}

int CLumoConnect::QueryValue(int handle, int a, int b, int c)
{
    const int32_t query[3] = {a, b, c};
    int32_t nAnswer = 0;
    return LUMONET_QueryValue(handle, query, &nAnswer, kQueryTimeoutMs) > 0 ? nAnswer : 0;
}

int CLumoConnect::TranslateError(int error)
{
    if (error == LUMONET_ERR_UNSUPPORTED)
        return kRetUnsupported;
    const int nRet = translateCommon(error);
    return nRet ? nRet : kRetFailure;
}

int CLumoConnect::ConnectChanel(int loginId, int channel, int stream, LumoRealDataCallback callback, intptr_t user)
{
    static const char* const szTag = "CLumoConnect::ConnectChanel";
    const StreamOpenInfo info = streamOpenInfo(channel, stream);
    const int nPlay = LUMONET_RealPlay(loginId, &info);
    if (nPlay < 1) {
        writeLog(szTag, QString("LUMONET_RealPlay error=%1").arg(LUMONET_GetLastError()));
        return nPlay;
    }
    LUMONET_SetRealDataCallBack(nPlay, callback, user);
    LUMONET_RequestChannelFrame(loginId, channel, stream);
    writeLog(szTag, QString("LUMONET_RealPlay lPlayOK=%1").arg(nPlay));
    return nPlay;
}

int CLumoConnect::ConnectChanel_V2(int loginId, int channel, int stream, LumoRealDataCallback_V2 callback,
                                   intptr_t user)
{
    static const char* const szTag = "CLumoConnect::ConnectChanel_V2";
    const StreamOpenInfo info = streamOpenInfo(channel, stream);
    const int nPlay = LUMONET_RealPlay(loginId, &info);
    if (nPlay < 1) {
        const int nError = LUMONET_GetLastError();
        writeLog(szTag, QString("LUMONET_RealPlay error=%1").arg(nError), kLogError);
        return std::min(nError, 0); // a caller takes anything above 0 for a stream
    }
    const int bRet = LUMONET_SetRealDataCallBack_V2(nPlay, callback, user);
    const int bRet1 = LUMONET_RequestChannelFrame(loginId, channel, stream);
    writeLog(szTag, QString("LUMONET_RealPlay lPlayOK=%1 bRet=%2 bRet1=%3").arg(nPlay).arg(bRet).arg(bRet1));
    return nPlay;
}

int CLumoConnect::DisconnectChannel(int handle, LumoRealDataCallback callback, intptr_t user)
{
    LUMONET_DelRealDataCallBack(handle, callback, user);
    const int bRes = LUMONET_StopRealPlay(handle, 0);
    writeLog("CLumoConnect::DisconnectChannel", QString("LUMONET_StopRealPlay lPlay=%1 bRes=%2").arg(handle).arg(bRes));
    return bRes;
}

int CLumoConnect::DisconnectChannel_V2(int handle, LumoRealDataCallback_V2 callback, intptr_t user)
{
    static const char* const szTag = "CLumoConnect::DisconnectChannel_V2";
    writeLog(szTag, QString("LUMONET_DelRealDataCallBack_V2 begin lPlay=%1").arg(handle));
    int bRes = LUMONET_DelRealDataCallBack_V2(handle, callback, user);
    writeLog(szTag, QString("LUMONET_DelRealDataCallBack_V2 end lPlay=%1 bRes=%2").arg(handle).arg(bRes));
    bRes = LUMONET_StopRealPlay(handle, 0);
    writeLog(szTag, QString("LUMONET_StopRealPlay lPlay=%1 end bRes=%2").arg(handle).arg(bRes));
    return bRes;
}

int CLumoConnect::BeginPlayback(int loginId, int channel, int mode, const PlaybackRequest* request,
                                LumoRealDataCallback dataCallback, LumoPositionCallback positionCallback, intptr_t user)
{
    const char* szCall = mode == 2 ? "LUMONET_PlayBackByTimeEx" : "LUMONET_PlayBackByName";
    int nPlay = 0;
    if (mode == 2) {
        RecordTimeInfo info;
        std::memset(&info, 0, sizeof info);
        info.nChannel = channel;
        info.nFileType = request->fileType;
        info.stBegin = recordTime6(request->beginTime);
        info.stEnd = recordTime6(request->endTime);
        info.nStreamType = request->streamType;
        copyField(info.szNamePart1, sizeof info.szNamePart1, request->namePart1);
        copyField(info.szNamePart2, sizeof info.szNamePart2, request->namePart2);
        nPlay = LUMONET_PlayBackByTimeEx(loginId, &info, dataCallback, user, positionCallback, user);
    } else {
        if (!request->beginTime[0])
            return -1;
        const RecordFileInfo info = recordFileInfo(channel, request->fileSize, request->fileName, request->beginTime,
                                                   request->endTime, request->streamType);
        nPlay = LUMONET_PlayBackByName(loginId, &info, positionCallback, dataCallback, user);
    }
    const QString strResult = nPlay > 0 ? QString(" lLogin=%1 lPlay=%2").arg(loginId).arg(nPlay)
                                        : QString(" lLogin=%1 nError=%2").arg(loginId).arg(LUMONET_GetLastError());
    writeLog("CLumoConnect::BeginPlayback", szCall + strResult);
    return nPlay;
}

int CLumoConnect::EndPlayback(int handle)
{
    static const char* const szTag = "CLumoConnect::EndPlayback";
    writeLog(szTag, QString("LUMONET_StopPlayBack lPlay=%1").arg(handle));
    const int bResult = LUMONET_StopPlayBack(handle);
    writeLog(szTag, QString("LUMONET_StopPlayBack lPlay=%1 bResult=%2").arg(handle).arg(bResult));
    return bResult;
}

int CLumoConnect::SetPlaybackMode(int handle, int requested, int current)
{
    const auto control = [handle](int action, int value) {
        return LUMONET_PlayBackControl(handle, action, value, 0) != 0;
    };
    bool bOk = false;
    if (isFast(requested)) {
        bOk = control(LUMO_PLAY_FAST, requested - 31);
    } else if (isSlow(requested)) {
        bOk = control(LUMO_PLAY_SLOW, requested - 15);
    } else if (requested == 0) {
        bOk = isSlow(current)   ? control(LUMO_PLAY_SLOW, 0)
              : isFast(current) ? control(LUMO_PLAY_FAST, 0)
                                : control(LUMO_PLAY_RESUME, 0);
    } else if (requested == 2 && isSlow(current)) {
        bOk = control(LUMO_PLAY_SLOW, 0) && control(LUMO_PLAY_PAUSE, 0);
    } else if (requested == 2 && isFast(current)) {
        bOk = control(LUMO_PLAY_FAST, 0) && control(LUMO_PLAY_PAUSE, 0);
    }
    return bOk ? requested : current;
}

int CLumoConnect::SeekPlayback(int handle, int value)
{
    return LUMONET_PlayBackControl(handle, LUMO_PLAY_SEEK, value, 0);
}

int CLumoConnect::StartDownLoad(int loginId, const DownloadRequest* request, const char* path,
                                LumoPositionCallback positionCallback, intptr_t user)
{
    const RecordFileInfo info = recordFileInfo(request->channel, request->fileSize, request->fileName,
                                               request->beginTime, request->endTime, request->streamType);
    const int nDownload = LUMONET_StartFileDownload(loginId, &info, path, positionCallback, user, 0);
    if (nDownload <= 0)
        writeLog("CLumoConnect::StartDownLoad", QString("LastError:%1").arg(LUMONET_GetLastError()));
    return nDownload;
}

int CLumoConnect::StopDownLoad(int handle)
{
    return handle == 0 ? 0 : LUMONET_StopFileDownload(handle);
}

int CLumoConnect::RequestChannelFrame(int loginId, int channel, int stream)
{
    return LUMONET_RequestChannelFrame(loginId, channel, stream);
}

void CLumoConnect::SetAlarmCallback(LumoMessageCallback callback, void* user)
{
    LUMONET_SetMessageCallback(callback, user);
}
