// The recording LumoNet: every call goes to the conversation runner, which scripts its result. Strict about what a
// correct caller never does, tolerant of what this program is known to do: removing a callback or stopping with a
// handle of 0 or below, stopping playback handle 1, never releasing the handles of a login that a second one replaced.
#include "FakeLumoNet.h"

#include <algorithm>
#include <condition_variable>
#include <cstring>
#include <map>
#include <mutex>
#include <string>
#include <vector>

namespace
{

using namespace fakes::net;

enum class Kind { Plain, V2, Playback, Download };

/// The program keeps the decoder's success where it keeps a playback's handle, and may pass that on.
constexpr int kLocalPlay = 1;

/// A stream, playback or download that is open.
struct Stream {
    Kind kind = Kind::Plain;
    int login = 0;
    LumoRealDataCallback plain = nullptr;
    LumoRealDataCallback_V2 v2 = nullptr;
    LumoPositionCallback position = nullptr;
    intptr_t user = 0;
    intptr_t positionUser = 0;
};

struct Library {
    std::mutex mutex;
    std::condition_variable idle;
    bool initialised = false;
    bool named = false;
    LumoDisconnectCallback disconnect = nullptr;
    void* disconnectUser = nullptr;
    std::map<int, bool> logins; // handle, released
    std::map<int, Stream> streams;
    int running = 0; // the stream handle whose callback is running; 0 none
};

thread_local int t_lastError = 0;

Library& lib()
{
    static Library* instance = new Library; // never destroyed: threads outlive main
    return *instance;
}

std::string raise(const std::string& kind, const Fields& fields);

fakes::Wire& wire()
{
    static fakes::Wire* instance = new fakes::Wire("LumoNet", raise);
    return *instance;
}

template <size_t N> void copyText(char (&target)[N], const std::string& text)
{
    std::memset(target, 0, N);
    std::memcpy(target, text.data(), text.size() < N ? text.size() : N - 1);
}

void requireFresh(const char* name, const NetDeviceInfo* info)
{
    require(info != nullptr, name, "no device record");
    require(allZero(info, offsetof(NetDeviceInfo, nWebKind)), name, "the device record was not zeroed");
}

void fill(NetDeviceInfo* info, const Answer& a)
{
    copyText(info->szSoftwareVersion, a.text("software"));
    info->nBuildYear = a.number("year");
    info->nBuildMonth = a.number("month");
    info->nBuildDay = a.number("day");
    copyText(info->szSerialNo, a.text("serial"));
    info->nChannels = a.number("channels");
    info->nExtraChannels = a.number("extra");
    info->nDeviceType = a.number("type");
    copyText(info->szDeviceName, a.text("name"));
    copyText(info->szCloudError, a.text("cloud"));
}

int finishLogin(const char* name, NetDeviceInfo* info, int* error, const Answer& a)
{
    fill(info, a);
    const int handle = a.result();
    *error = handle > 0 ? 0 : a.number("error");
    if (handle > 0) {
        const std::lock_guard lock(lib().mutex);
        require(lib().logins.emplace(handle, false).second, name, "the script gives a login handle that is in use");
    }
    return handle;
}

int openStream(const char* name, const Answer& a, const Stream& stream)
{
    const int handle = a.result();
    if (handle > 0) {
        const std::lock_guard lock(lib().mutex);
        require(lib().streams.emplace(handle, stream).second, name, "the script gives a stream handle that is in use");
    }
    return handle;
}

/// Waits until no callback of the stream runs, as the real library does.
void waitIdle(std::unique_lock<std::mutex>& lock, int handle)
{
    lib().idle.wait(lock, [handle] { return lib().running != handle; });
}

Stream* findStream(const char* name, int handle)
{
    const auto it = lib().streams.find(handle);
    require(it != lib().streams.end(), name, "no such stream");
    return &it->second;
}

/// Opens a playback or download, known from the moment that the script answers its handle.
int openRecorded(const char* name, const Args& args, const Stream& stream)
{
    return call(name, args, false, [&](const Answer& a) { openStream(name, a, stream); }).result();
}

template <size_t N> void requireEnded(const char* name, const char (&field)[N])
{
    require(strnlen(field, N) < N, name, "a text without its end");
}

void requireFile(const char* name, const RecordFileInfo* info)
{
    require(info != nullptr, name, "no record");
    requireEnded(name, info->szFileName);
    require(allZero(info->reserved0, sizeof info->reserved0) && allZero(info->reserved1, sizeof info->reserved1) &&
                info->stBegin.nUnused1 == 0 && info->stBegin.nUnused2 == 0 && info->stEnd.nUnused1 == 0 &&
                info->stEnd.nUnused2 == 0,
            name, "reserved bytes not zero");
}

/// Stops a handle once: a second stop of the same handle is a fault, a handle of 0 or below is not.
int stop(const char* name, int handle, Kind expected, const Answer& a)
{
    if (handle <= 0 || a.result() == 0) {
        return a.result();
    }
    std::unique_lock lock(lib().mutex);
    const Stream* stream = findStream(name, handle);
    const bool recorded = stream->kind == Kind::Playback || stream->kind == Kind::Download;
    require(recorded || (!stream->plain && !stream->v2), name, "stopped while its data callback is still registered");
    require(stream->kind == expected || (!recorded && expected == Kind::Plain), name, "a handle of another kind");
    waitIdle(lock, handle);
    lib().streams.erase(handle);
    return a.result();
}

Args& times(Args& args, const int32_t* t, bool eight)
{
    std::string text = "[";
    const int order8[] = {0, 1, 2, 4, 5, 6};
    for (int i = 0; i < 6; ++i) {
        text += (i ? "," : "") + std::to_string(t[eight ? order8[i] : i]);
    }
    return args.raw(text + "]");
}

Args fileArgs(int login, const RecordFileInfo* info)
{
    Args args;
    args.number(login).number(info->nChannel).number(info->nFileSize);
    args.text(std::string_view(info->szFileName, strnlen(info->szFileName, sizeof info->szFileName)));
    times(args, &info->stBegin.nYear, true);
    times(args, &info->stEnd.nYear, true);
    args.number(info->nStreamType);
    return args;
}

// --- callbacks, on the library's own thread ---

std::string raiseDisconnect(const Fields& f)
{
    LumoDisconnectCallback callback = nullptr;
    void* user = nullptr;
    {
        const std::lock_guard lock(lib().mutex);
        callback = lib().disconnect;
        user = lib().disconnectUser;
    }
    if (!callback) {
        return "none";
    }
    std::string ip = f.at("ip");
    callback(std::atol(f.at("login").c_str()), ip.data(), std::atol(f.at("port").c_str()), user);
    return "0";
}

std::string bytesOf(const std::string& hex)
{
    std::string bytes;
    for (size_t i = 0; i + 1 < hex.size(); i += 2) {
        bytes += static_cast<char>(std::strtol(hex.substr(i, 2).c_str(), nullptr, 16));
    }
    return bytes;
}

int callV2(const Stream& stream, int handle, const Fields& f, std::string& data)
{
    LumoFrame frame{};
    frame.nFrameType = std::atoi(f.at("type").c_str());
    frame.pData = reinterpret_cast<const uint8_t*>(data.data());
    frame.nSize = static_cast<uint32_t>(data.size());
    frame.nWidth = static_cast<uint16_t>(std::atoi(f.at("width").c_str()));
    frame.nHeight = static_cast<uint16_t>(std::atoi(f.at("height").c_str()));
    return stream.v2(handle, &frame, stream.user);
}

std::string raiseFrame(const Fields& f)
{
    const int handle = std::atoi(f.at("handle").c_str());
    Stream stream;
    {
        const std::lock_guard lock(lib().mutex);
        const auto it = lib().streams.find(handle);
        if (it == lib().streams.end() || (!it->second.plain && !it->second.v2)) {
            return "none";
        }
        stream = it->second;
        lib().running = handle;
    }
    std::string data = f.count("hex") ? bytesOf(f.at("hex")) : f.at("data");
    const int result =
        stream.v2 ? callV2(stream, handle, f, data)
                  : stream.plain(handle, std::atol(f.at("type").c_str()), reinterpret_cast<uint8_t*>(data.data()),
                                 static_cast<long>(data.size()), stream.user);
    const std::lock_guard lock(lib().mutex);
    lib().running = 0;
    lib().idle.notify_all();
    return std::to_string(result);
}

/// Of a playback or download that is open.
std::string raisePosition(const Fields& f)
{
    const int handle = std::atoi(f.at("handle").c_str());
    Stream stream;
    {
        const std::lock_guard lock(lib().mutex);
        const auto it = lib().streams.find(handle);
        if (it == lib().streams.end() || !it->second.position) {
            return "none";
        }
        stream = it->second;
        lib().running = handle;
    }
    const int result = stream.position(handle, std::atol(f.at("total").c_str()), std::atol(f.at("current").c_str()),
                                       stream.positionUser);
    const std::lock_guard lock(lib().mutex);
    lib().running = 0;
    lib().idle.notify_all();
    return std::to_string(result);
}

std::string raise(const std::string& kind, const Fields& fields)
{
    if (kind == "disconnect") {
        return raiseDisconnect(fields);
    }
    if (kind == "frame") {
        return raiseFrame(fields);
    }
    if (kind == "position") {
        return raisePosition(fields);
    }
    if (kind == "voice") {
        return raiseVoice(fields);
    }
    if (kind == "alarm") {
        return raiseAlarm(fields);
    }
    return raiseDeviceWork(kind, fields);
}

} // namespace

namespace fakes::net
{

void require(bool fact, const std::string& name, const char* why)
{
    if (!fact) {
        wire().fault(name + ": " + why);
    }
}

Answer call(const char* name, const Args& args, bool first, fakes::Wire::OnAnswer onAnswer)
{
    {
        const std::lock_guard lock(lib().mutex);
        require(first || lib().initialised, name, "called before LUMONET_Init");
    }
    const Answer answer = wire().call(name, args, std::move(onAnswer));
    if (answer.fields.count("error")) {
        t_lastError = answer.number("error");
    }
    return answer;
}

void requireLogin(const char* name, int login)
{
    const std::lock_guard lock(lib().mutex);
    require(lib().logins.count(login) != 0, name, "no such login");
}

bool allZero(const void* data, size_t size)
{
    const auto* bytes = static_cast<const uint8_t*>(data);
    return std::all_of(bytes, bytes + size, [](uint8_t b) { return b == 0; });
}

} // namespace fakes::net

int LUMONET_Init(LumoDisconnectCallback fnDisconnect, void* pUser)
{
    require(fnDisconnect != nullptr, "LUMONET_Init", "no disconnect callback");
    require(!lib().initialised, "LUMONET_Init", "called twice");
    const Answer a = call("LUMONET_Init", Args(), true);
    const std::lock_guard lock(lib().mutex);
    // Known again whatever the script answers: the program logs the result and goes on.
    lib().initialised = true;
    lib().disconnect = fnDisconnect;
    lib().disconnectUser = pUser;
    return a.result();
}

int LUMONET_InitAppInfo(const LumoAppInfo* pInfo)
{
    require(pInfo != nullptr, "LUMONET_InitAppInfo", "no record");
    require(!lib().named, "LUMONET_InitAppInfo", "called twice");
    require(strnlen(pInfo->szName, sizeof pInfo->szName) < sizeof pInfo->szName, "LUMONET_InitAppInfo",
            "name not ended");
    lib().named = true;
    return call("LUMONET_InitAppInfo", Args().text(pInfo->szName).number(pInfo->nKind)).result();
}

int LUMONET_Cleanup(void)
{
    const Answer a = call("LUMONET_Cleanup", Args());
    endDeviceWork(kAllLogins);
    endTalks(kAllLogins);
    endMessages(kAllLogins);
    const std::lock_guard lock(lib().mutex);
    lib().logins.clear();
    lib().streams.clear();
    lib().initialised = false;
    return a.result();
}

/// Not recorded: a question to the library about the calling thread's last call.
int LUMONET_GetLastError(void)
{
    return t_lastError;
}

int LUMONET_Login(const char* szAddress, int nPort, const char* szUser, const char* szPassword, NetDeviceInfo* pInfo,
                  int* pError, int nSocketKind)
{
    const char* name = "LUMONET_Login";
    require(szAddress && szUser && szPassword && pError, name, "null argument");
    require(nPort >= 0 && nPort <= 65535, name, "the port has more than 16 bits");
    require(nSocketKind == LUMO_LOGIN_BY_ADDRESS || (nSocketKind == LUMO_LOGIN_BY_SERIAL && nPort == 0), name,
            "unknown socket kind");
    requireFresh(name, pInfo);
    Args args;
    args.text(szAddress).number(nPort).text(szUser).text(szPassword).number(pInfo->nWebKind).number(nSocketKind);
    return finishLogin(name, pInfo, pError, call(name, args));
}

int LUMONET_LoginEx_V2(const char* szSerialNo, int nReserved, const char* szToken, const char* szReserved,
                       NetDeviceInfo* pInfo, int nKind, int* pError, int nSocketKind)
{
    const char* name = "LUMONET_LoginEx_V2";
    require(szSerialNo && szToken && szReserved && pError, name, "null argument");
    requireFresh(name, pInfo);
    Args args;
    args.text(szSerialNo).number(nReserved).text(szToken).text(szReserved);
    args.number(pInfo->nWebKind).number(nKind).number(nSocketKind);
    return finishLogin(name, pInfo, pError, call(name, args));
}

int LUMONET_Logout(int nLoginID)
{
    requireLogin("LUMONET_Logout", nLoginID);
    const Answer a = call("LUMONET_Logout", Args().number(nLoginID));
    endDeviceWork(nLoginID);
    endTalks(nLoginID);
    endMessages(nLoginID);
    std::unique_lock lock(lib().mutex);
    // Ends every stream of the login, whatever was left open.
    for (auto it = lib().streams.begin(); it != lib().streams.end();) {
        if (it->second.login == nLoginID) {
            waitIdle(lock, it->first);
            it = lib().streams.erase(it);
        } else {
            ++it;
        }
    }
    lib().logins.erase(nLoginID);
    return a.result();
}

int LUMONET_ReleaseLogin(int nLoginID)
{
    requireLogin("LUMONET_ReleaseLogin", nLoginID);
    {
        const std::lock_guard lock(lib().mutex);
        require(!lib().logins[nLoginID], "LUMONET_ReleaseLogin", "called twice for one login");
        lib().logins[nLoginID] = true;
    }
    return call("LUMONET_ReleaseLogin", Args().number(nLoginID)).result();
}

int LUMONET_RealPlay(int nLoginID, const StreamOpenInfo* pInfo)
{
    const char* name = "LUMONET_RealPlay";
    require(pInfo != nullptr, name, "no record");
    require(pInfo->nReserved == 0 && allZero(pInfo->reserved, sizeof pInfo->reserved), name, "reserved bytes not zero");
    Stream stream;
    stream.login = nLoginID;
    Args args;
    args.number(nLoginID).number(pInfo->nChannel).number(pInfo->nStream);
    return openStream(name, call(name, args), stream);
}

int LUMONET_SetRealDataCallBack(int nRealHandle, LumoRealDataCallback fnData, intptr_t nUser)
{
    const char* name = "LUMONET_SetRealDataCallBack";
    require(fnData != nullptr, name, "no callback");
    const Answer a = call(name, Args().number(nRealHandle));
    const std::lock_guard lock(lib().mutex);
    Stream* stream = findStream(name, nRealHandle);
    stream->plain = fnData;
    stream->user = nUser;
    return a.result();
}

int LUMONET_SetRealDataCallBack_V2(int nRealHandle, LumoRealDataCallback_V2 fnData, intptr_t nUser)
{
    const char* name = "LUMONET_SetRealDataCallBack_V2";
    require(fnData != nullptr, name, "no callback");
    const Answer a = call(name, Args().number(nRealHandle).number(nUser));
    const std::lock_guard lock(lib().mutex);
    Stream* stream = findStream(name, nRealHandle);
    require(!stream->v2, name, "the stream has a callback already");
    stream->kind = Kind::V2;
    stream->v2 = fnData;
    stream->user = nUser;
    return a.result();
}

int LUMONET_DelRealDataCallBack(int nRealHandle, LumoRealDataCallback fnData, intptr_t nUser)
{
    const char* name = "LUMONET_DelRealDataCallBack";
    require(fnData != nullptr, name, "no callback");
    const Answer a = call(name, Args().number(nRealHandle));
    if (nRealHandle > 0) {
        std::unique_lock lock(lib().mutex);
        Stream* stream = findStream(name, nRealHandle);
        require(stream->plain == fnData && stream->user == nUser, name, "not the callback that was set");
        stream->plain = nullptr;
        waitIdle(lock, nRealHandle);
    }
    return a.result();
}

int LUMONET_DelRealDataCallBack_V2(int nRealHandle, LumoRealDataCallback_V2 fnData, intptr_t nUser)
{
    const char* name = "LUMONET_DelRealDataCallBack_V2";
    require(fnData != nullptr, name, "no callback");
    const Answer a = call(name, Args().number(nRealHandle).number(nUser));
    if (nRealHandle > 0) {
        std::unique_lock lock(lib().mutex);
        Stream* stream = findStream(name, nRealHandle);
        require(stream->v2 == fnData && stream->user == nUser, name, "not the callback that was set");
        stream->v2 = nullptr;
        waitIdle(lock, nRealHandle);
    }
    return a.result();
}

int LUMONET_StopRealPlay(int nRealHandle, int nReserved)
{
    const Answer a = call("LUMONET_StopRealPlay", Args().number(nRealHandle).number(nReserved));
    return stop("LUMONET_StopRealPlay", nRealHandle, Kind::Plain, a);
}

int LUMONET_RequestChannelFrame(int nLoginID, int nChannel, int nStream)
{
    const char* name = "LUMONET_RequestChannelFrame";
    requireLogin(name, nLoginID);
    return call(name, Args().number(nLoginID).number(nChannel).number(nStream)).result();
}

int LUMONET_PlayBackByName(int nLoginID, const RecordFileInfo* pInfo, LumoPositionCallback fnPosition,
                           LumoRealDataCallback fnData, intptr_t nUser)
{
    const char* name = "LUMONET_PlayBackByName";
    requireFile(name, pInfo);
    require(fnPosition && fnData, name, "no callback");
    return openRecorded(name, fileArgs(nLoginID, pInfo),
                        {Kind::Playback, nLoginID, fnData, nullptr, fnPosition, nUser, nUser});
}

int LUMONET_PlayBackByTimeEx(int nLoginID, const RecordTimeInfo* pInfo, LumoRealDataCallback fnData, intptr_t nDataUser,
                             LumoPositionCallback fnPosition, intptr_t nPositionUser)
{
    const char* name = "LUMONET_PlayBackByTimeEx";
    require(pInfo != nullptr, name, "no record");
    require(fnPosition && fnData, name, "no callback");
    require(allZero(pInfo->reserved0, sizeof pInfo->reserved0) && allZero(pInfo->reserved1, sizeof pInfo->reserved1),
            name, "reserved bytes not zero");
    requireEnded(name, pInfo->szNamePart1);
    requireEnded(name, pInfo->szNamePart2);
    Args args;
    args.number(nLoginID).number(pInfo->nChannel).number(pInfo->nFileType);
    times(args, &pInfo->stBegin.nYear, false);
    times(args, &pInfo->stEnd.nYear, false);
    args.number(pInfo->nStreamType).text(pInfo->szNamePart1).text(pInfo->szNamePart2);
    return openRecorded(name, args, {Kind::Playback, nLoginID, fnData, nullptr, fnPosition, nDataUser, nPositionUser});
}

int LUMONET_PlayBackControl(int nPlayHandle, int nAction, int nValue, int nReserved)
{
    const char* name = "LUMONET_PlayBackControl";
    require(nAction >= 0 && nAction <= 4, name, "unknown action");
    const bool speed = nAction == 3 || nAction == 4;
    require(!speed || (nValue >= 0 && nValue <= 4), name, "no such speed");
    require(speed || nAction == 2 || nValue == 0, name, "an action without a value has one");
    if (nPlayHandle != kLocalPlay) {
        const std::lock_guard lock(lib().mutex);
        require(findStream(name, nPlayHandle)->kind == Kind::Playback, name, "no playback");
    }
    return call(name, Args().number(nPlayHandle).number(nAction).number(nValue).number(nReserved)).result();
}

int LUMONET_StopPlayBack(int nPlayHandle)
{
    const Answer a = call("LUMONET_StopPlayBack", Args().number(nPlayHandle));
    return nPlayHandle == kLocalPlay ? a.result() : stop("LUMONET_StopPlayBack", nPlayHandle, Kind::Playback, a);
}

int LUMONET_StartFileDownload(int nLoginID, const RecordFileInfo* pInfo, const char* szPath,
                              LumoPositionCallback fnPosition, intptr_t nUser, int nReserved)
{
    const char* name = "LUMONET_StartFileDownload";
    requireFile(name, pInfo);
    require(szPath && *szPath && fnPosition, name, "no path or no callback");
    Args args = fileArgs(nLoginID, pInfo);
    args.path(szPath).number(nReserved);
    return openRecorded(name, args, {Kind::Download, nLoginID, nullptr, nullptr, fnPosition, nUser, nUser});
}

int LUMONET_StopFileDownload(int nDownloadHandle)
{
    const Answer a = call("LUMONET_StopFileDownload", Args().number(nDownloadHandle));
    return stop("LUMONET_StopFileDownload", nDownloadHandle, Kind::Download, a);
}

int LUMONET_QueryValue(int nHandle, const int32_t pQuery[3], int32_t* pAnswer, int nTimeoutMs)
{
    require(pQuery && pAnswer, "LUMONET_QueryValue", "null argument");
    Args args;
    args.number(nHandle).number(pQuery[0]).number(pQuery[1]).number(pQuery[2]).number(nTimeoutMs);
    const Answer a = call("LUMONET_QueryValue", args);
    *pAnswer = a.number("answer");
    return a.result();
}
