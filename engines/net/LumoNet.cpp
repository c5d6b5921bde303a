// The C calls of src/device/LumoNet.h for logins and streams: arguments are checked and copied here, errors are kept
// per thread here, and everything else is Engine's. The other calls stand in LumoNetDevice.cpp.
#include "Calls.h"
#include "Defaults.h"
#include "MessageSink.h"
#include "common/LocalText.h"

#include <curl/curl.h>
#include <openssl/crypto.h>

#include <cstdlib>

namespace lumo::net
{
namespace
{

std::mutex g_mutex;
std::shared_ptr<Engine> g_engine; // g_mutex
thread_local int t_lastError = LUMONET_ERR_NONE;

int loginResult(const std::shared_ptr<Engine>& e, NetDeviceInfo* pInfo, int* pError,
                const std::function<int(Engine&, NetDeviceInfo&)>& login)
{
    NetDeviceInfo unused{};
    return answerHandle(e ? login(*e, pInfo ? *pInfo : unused) : int(LUMONET_ERR_NOT_LOGGED_IN), pError);
}

void initLibraries()
{
    static std::once_flag once;
    std::call_once(once, [] {
        // Our threads may still run when the process ends: the libraries must not be taken down under them.
        OPENSSL_init_crypto(OPENSSL_INIT_NO_ATEXIT, nullptr);
        curl_global_init(CURL_GLOBAL_ALL);
        initSockets();
    });
}

} // namespace

std::shared_ptr<Engine> currentEngine()
{
    std::lock_guard lock(g_mutex);
    return g_engine;
}

// No lock: a thread that is no more may have held it.
void abandonEngine()
{
    new std::shared_ptr<Engine>(std::move(g_engine));
}

int refuse(int error)
{
    t_lastError = error;
    return 0;
}

int answer(int error)
{
    return error == 0 ? 1 : refuse(error);
}

int answerHandle(int handleOrError, int* pError)
{
    if (pError)
        *pError = handleOrError > 0 ? LUMONET_ERR_NONE : handleOrError;
    return handleOrError > 0 ? handleOrError : refuse(handleOrError);
}

Defaults& defaults()
{
    static Defaults d = [] {
        Defaults made;
        const char* where = std::getenv("LUMONET_DISCOVERY");
        made.discovery.everyInterface = !(where && std::string(where) == "loopback");
        return made;
    }();
    return d;
}

} // namespace lumo::net

using namespace lumo::net;

int LUMONET_Init(LumoDisconnectCallback fnDisconnect, void* pUser)
{
    initLibraries();
    std::lock_guard lock(g_mutex);
    if (g_engine)
        return refuse(LUMONET_ERR_ARGUMENT);
    const Defaults& d = defaults();
    DiscoveryOptions discovery = d.discovery;
    discovery.waitMs = d.timings.discoveryMs;
    g_engine = std::make_shared<Engine>(d.timings, discovery, fnDisconnect, pUser);
    return 1;
}

// The key opens nothing here: any program may use this library.
int LUMONET_InitAppInfo(const LumoAppInfo* pInfo)
{
    return pInfo ? 1 : refuse(LUMONET_ERR_ARGUMENT);
}

int LUMONET_Cleanup(void)
{
    std::shared_ptr<Engine> ending = currentEngine();
    if (!ending)
        return refuse(LUMONET_ERR_NOT_LOGGED_IN);
    ending->logoutAll();
    std::lock_guard lock(g_mutex);
    g_engine.reset();
    return 1;
}

int LUMONET_GetLastError(void)
{
    return t_lastError;
}

int LUMONET_Login(const char* szAddress, int nPort, const char* szUser, const char* szPassword, NetDeviceInfo* pInfo,
                  int* pError, int nSocketKind)
{
    if (!szAddress || !*szAddress)
        return answerHandle(LUMONET_ERR_ARGUMENT, pError);
    return loginResult(currentEngine(), pInfo, pError, [&](Engine& e, NetDeviceInfo& info) {
        return e.login(lumo::utf8OfLocal(szAddress), nPort, lumo::utf8OfLocal(szUser ? szUser : ""),
                       lumo::utf8OfLocal(szPassword ? szPassword : ""), nSocketKind, info);
    });
}

int LUMONET_LoginEx_V2(const char* szSerialNo, int, const char* szToken, const char*, NetDeviceInfo* pInfo, int,
                       int* pError, int nSocketKind)
{
    if (!szSerialNo || !szToken || nSocketKind != LUMO_LOGIN_BY_SERIAL)
        return answerHandle(LUMONET_ERR_ARGUMENT, pError);
    return loginResult(currentEngine(), pInfo, pError, [&](Engine& e, NetDeviceInfo& info) {
        return e.loginByToken(lumo::utf8OfLocal(szSerialNo), szToken, info);
    });
}

int LUMONET_Logout(int nLoginID)
{
    return withEngine([&](Engine& e) { return e.logout(nLoginID); });
}

// Nothing is held for a login beyond what Logout frees.
int LUMONET_ReleaseLogin(int nLoginID)
{
    return withEngine([&](Engine& e) { return e.checkLogin(nLoginID); });
}

void LUMONET_SetMessageCallback(LumoMessageCallback fnMessage, void* pUser)
{
    messageSink().set(fnMessage, pUser);
}

int LUMONET_OpenMessageChannel(int nLoginID)
{
    return withEngine([&](Engine& e) { return e.openMessages(nLoginID); });
}

int LUMONET_RealPlay(int nLoginID, const StreamOpenInfo* pInfo)
{
    const auto e = currentEngine();
    if (!e)
        return refuse(LUMONET_ERR_NOT_LOGGED_IN);
    return answerHandle(pInfo ? e->realPlay(nLoginID, *pInfo) : int(LUMONET_ERR_ARGUMENT), nullptr);
}

int LUMONET_SetRealDataCallBack(int nRealHandle, LumoRealDataCallback fnData, intptr_t nUser)
{
    return withEngine([&](Engine& e) { return e.setCallback(nRealHandle, fnData, nUser); });
}

int LUMONET_SetRealDataCallBack_V2(int nRealHandle, LumoRealDataCallback_V2 fnData, intptr_t nUser)
{
    return withEngine([&](Engine& e) { return e.setCallbackV2(nRealHandle, fnData, nUser); });
}

int LUMONET_DelRealDataCallBack(int nRealHandle, LumoRealDataCallback, intptr_t)
{
    return withEngine([&](Engine& e) { return e.removeCallback(nRealHandle); });
}

int LUMONET_DelRealDataCallBack_V2(int nRealHandle, LumoRealDataCallback_V2, intptr_t)
{
    return withEngine([&](Engine& e) { return e.removeCallbackV2(nRealHandle); });
}

int LUMONET_StopRealPlay(int nRealHandle, int)
{
    return withEngine([&](Engine& e) { return e.stopRealPlay(nRealHandle); });
}

int LUMONET_RequestChannelFrame(int nLoginID, int nChannel, int nStream)
{
    return withEngine([&](Engine& e) { return e.requestKeyFrame(nLoginID, nChannel, nStream); });
}

int LUMONET_PlayBackByName(int nLoginID, const RecordFileInfo* pInfo, LumoPositionCallback fnPosition,
                           LumoRealDataCallback fnData, intptr_t nUser)
{
    const auto e = currentEngine();
    if (!e)
        return refuse(LUMONET_ERR_NOT_LOGGED_IN);
    const Playback::Callbacks callbacks{fnData, nUser, fnPosition, nUser};
    return answerHandle(pInfo ? e->playBackByName(nLoginID, *pInfo, callbacks) : int(LUMONET_ERR_ARGUMENT), nullptr);
}

int LUMONET_PlayBackByTimeEx(int nLoginID, const RecordTimeInfo* pInfo, LumoRealDataCallback fnData, intptr_t nDataUser,
                             LumoPositionCallback fnPosition, intptr_t nPositionUser)
{
    const auto e = currentEngine();
    if (!e)
        return refuse(LUMONET_ERR_NOT_LOGGED_IN);
    const Playback::Callbacks callbacks{fnData, nDataUser, fnPosition, nPositionUser};
    return answerHandle(pInfo ? e->playBackByTime(nLoginID, *pInfo, callbacks) : int(LUMONET_ERR_ARGUMENT), nullptr);
}

int LUMONET_PlayBackControl(int nPlayHandle, int nAction, int nValue, int)
{
    return withEngine([&](Engine& e) { return e.controlPlayback(nPlayHandle, nAction, nValue); });
}

int LUMONET_StopPlayBack(int nPlayHandle)
{
    return withEngine([&](Engine& e) { return e.stopPlayback(nPlayHandle); });
}

int LUMONET_StartFileDownload(int nLoginID, const RecordFileInfo* pInfo, const char* szPath,
                              LumoPositionCallback fnPosition, intptr_t nUser, int)
{
    const auto e = currentEngine();
    if (!e)
        return refuse(LUMONET_ERR_NOT_LOGGED_IN);
    if (!pInfo || !szPath || !*szPath)
        return answerHandle(LUMONET_ERR_ARGUMENT, nullptr);
    return answerHandle(e->startDownload(nLoginID, *pInfo, szPath, fnPosition, nUser), nullptr);
}

int LUMONET_StopFileDownload(int nDownloadHandle)
{
    return withEngine([&](Engine& e) { return e.stopDownload(nDownloadHandle); });
}

int LUMONET_QueryValue(int, const int32_t*, int32_t*, int)
{
    return refuse(LUMONET_ERR_UNSUPPORTED);
}
