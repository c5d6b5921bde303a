// The recording LumoDecode: every call goes to the conversation runner, which scripts its result. Strict about what a
// correct caller never does, tolerant of what this program is known to do: input on any port in any state, sound and
// snapshots on a port that is closed, opening ports 320 and 499 while open, registering a draw callback before opening,
// closing a file port without a file, playing and pausing a port of the playback page that did not open.
#include "DrawCell.h"
#include "Wire.h"
#include "decode/LumoDecode.h"

#include <algorithm>
#include <condition_variable>
#include <map>
#include <mutex>
#include <string>
#include <vector>

namespace
{

using fakes::Answer;
using fakes::Args;
using fakes::Fields;

constexpr int kColourPort = 320;

struct Port {
    bool open = false;     // OpenStream
    bool file = false;     // OpenFile
    bool playing = false;  // Play
    LumoWindow window = 0; // of the last Play
    LumoDrawCallback draw = nullptr;
    int32_t drawUser = 0;
    LumoFileEndCallback end = nullptr;
    intptr_t endUser = 0;
};

struct Library {
    std::mutex mutex;
    std::condition_variable idle;
    std::map<int, Port> ports;
    LumoConvertCallback convert = nullptr;
    intptr_t convertUser = 0;
    int running = -1; // the port whose callback is running
    LumoCaptureCallback capture = nullptr;
    intptr_t captureUser = 0;
    bool captureRunning = false; // its callback
};

Library& lib()
{
    static Library* instance = new Library; // never destroyed: threads outlive main
    return *instance;
}

std::string raise(const std::string& kind, const Fields& fields);

fakes::Wire& wire()
{
    static fakes::Wire* instance = new fakes::Wire("LumoDecode", raise);
    return *instance;
}

void require(bool fact, const char* name, const char* why)
{
    if (!fact) {
        wire().fault(std::string(name) + ": " + why);
    }
}

bool filePort(int port)
{
    return port >= 128 && port <= 131;
}

/// A window of the playback page counts as started when its port did not open, and is commanded all the same.
bool playbackPort(int port)
{
    return filePort(port) || (port >= 64 && port <= 67);
}

void requirePort(const char* name, int port)
{
    require(port >= 0 && port < LUMODEC_PORTS, name, "no such port");
}

Port stateOf(const char* name, int port)
{
    requirePort(name, port);
    const std::lock_guard lock(lib().mutex);
    return lib().ports[port];
}

/// Changes a port when the call succeeded.
template <class Change> int answer(const char* name, int port, const Args& args, Change change)
{
    const Answer a = wire().call(name, args);
    if (a.result() != 0) {
        std::unique_lock lock(lib().mutex);
        change(lib().ports[port], lock);
    }
    return a.result();
}

int plainCall(const char* name, int port, const Args& args)
{
    requirePort(name, port);
    return wire().call(name, args).result();
}

int playingCall(const char* name, int port, const Args& args)
{
    require(stateOf(name, port).playing || playbackPort(port), name, "the port is stopped");
    return wire().call(name, args).result();
}

void waitIdle(std::unique_lock<std::mutex>& lock, int port)
{
    lib().idle.wait(lock, [port] { return lib().running != port; });
}

// --- callbacks, on the library's own thread ---

/// Hands the callback an empty cell. The pixels that it drew: "0" for none, else "left,top,right,bottom", the last ones
/// included; all must be blue.
std::string raiseDraw(int port, const Port& state, int width, int height)
{
    fakes::DrawCell cell(state.window, width, height);
    state.draw(port, cell.context(), state.drawUser);
    int left = width, top = height, right = -1, bottom = -1;
    for (int y = 0; y < height; ++y) {
        for (int x = 0; x < width; ++x) {
            const uint32_t pixel = cell.pixel(x, y);
            if (pixel == 0) {
                continue;
            }
            require((pixel & 0xffffff) == 0x0000ff, "the draw callback", "a pixel that is not blue");
            left = std::min(left, x);
            top = std::min(top, y);
            right = std::max(right, x);
            bottom = std::max(bottom, y);
        }
    }
    if (right < 0) {
        return "0";
    }
    return std::to_string(left) + "," + std::to_string(top) + "," + std::to_string(right) + "," +
           std::to_string(bottom);
}

std::string raiseOnPort(const std::string& kind, const Fields& f)
{
    const int port = std::atoi(f.at("port").c_str());
    std::string result = "0";
    Port state;
    {
        const std::lock_guard lock(lib().mutex);
        state = lib().ports[port];
        if (kind == "draw" ? !state.draw : !state.end) {
            return "none";
        }
        lib().running = port;
    }
    if (kind == "draw") {
        result = raiseDraw(port, state, std::atoi(f.at("width").c_str()), std::atoi(f.at("height").c_str()));
    } else {
        state.end(port, state.endUser);
    }
    const std::lock_guard lock(lib().mutex);
    lib().running = -1;
    lib().idle.notify_all();
    return result;
}

/// The last call of a conversion is that with current equal to total; there is none after it.
std::string raiseConvert(long current, long total)
{
    LumoConvertCallback callback = nullptr;
    intptr_t user = 0;
    {
        const std::lock_guard lock(lib().mutex);
        callback = lib().convert;
        user = lib().convertUser;
        if (current == total) {
            lib().convert = nullptr;
        }
    }
    if (!callback) {
        return "none";
    }
    callback(current, total, user);
    return "0";
}

/// A block of size bytes whose samples are all the same.
std::string raiseCapture(int size, int sample)
{
    LumoCaptureCallback callback = nullptr;
    intptr_t user = 0;
    {
        const std::lock_guard lock(lib().mutex);
        if (!lib().capture) {
            return "none";
        }
        callback = lib().capture;
        user = lib().captureUser;
        lib().captureRunning = true;
    }
    std::vector<uint8_t> block(static_cast<size_t>(size));
    for (size_t i = 0; i < block.size(); ++i) {
        block[i] = static_cast<uint8_t>(sample >> (i % 2 * 8));
    }
    callback(block.data(), size, user);
    const std::lock_guard lock(lib().mutex);
    lib().captureRunning = false;
    lib().idle.notify_all();
    return "0";
}

std::string raise(const std::string& kind, const Fields& f)
{
    if (kind == "capture") {
        return raiseCapture(std::atoi(f.at("size").c_str()), std::atoi(f.at("sample").c_str()));
    }
    if (kind == "draw" || kind == "fileend") {
        return raiseOnPort(kind, f);
    }
    if (kind == "convert") {
        return raiseConvert(std::atol(f.at("current").c_str()), std::atol(f.at("total").c_str()));
    }
    return "none";
}

} // namespace

int LUMODEC_OpenFile(int nPort, const char* szPath)
{
    const char* name = "LUMODEC_OpenFile";
    require(szPath != nullptr, name, "no path");
    require(!stateOf(name, nPort).file, name, "the port has a file already");
    return answer(name, nPort, Args().number(nPort).path(szPath), [](Port& p, auto&) { p.file = true; });
}

int LUMODEC_CloseFile(int nPort)
{
    const char* name = "LUMODEC_CloseFile";
    require(stateOf(name, nPort).file || filePort(nPort), name, "the port has no file");
    return answer(name, nPort, Args().number(nPort), [nPort](Port& p, auto& lock) {
        waitIdle(lock, nPort);
        p = Port{.playing = p.playing}; // a refused stop is tried again
    });
}

int LUMODEC_Play(int nPort, LumoWindow hWnd)
{
    const char* name = "LUMODEC_Play";
    const Port state = stateOf(name, nPort);
    require(state.open || state.file || playbackPort(nPort), name, "the port is not open");
    require(hWnd != 0 || nPort == LUMODEC_TALK_PORT, name, "no window");
    return answer(name, nPort, Args().number(nPort).number(static_cast<long long>(hWnd)), [hWnd](Port& p, auto&) {
        p.playing = true;
        p.window = hWnd;
    });
}

int LUMODEC_Stop(int nPort)
{
    const char* name = "LUMODEC_Stop";
    require(stateOf(name, nPort).playing || playbackPort(nPort), name, "the port is stopped already");
    return answer(name, nPort, Args().number(nPort), [nPort](Port& p, auto& lock) {
        waitIdle(lock, nPort);
        p.playing = false;
    });
}

int LUMODEC_Pause(int nPort, int bPause)
{
    require(bPause == 0 || bPause == 1, "LUMODEC_Pause", "neither 0 nor 1");
    return playingCall("LUMODEC_Pause", nPort, Args().number(nPort).number(bPause));
}

int LUMODEC_Fast(int nPort)
{
    return playingCall("LUMODEC_Fast", nPort, Args().number(nPort));
}

int LUMODEC_Slow(int nPort)
{
    return playingCall("LUMODEC_Slow", nPort, Args().number(nPort));
}

int LUMODEC_OneByOne(int nPort)
{
    return plainCall("LUMODEC_OneByOne", nPort, Args().number(nPort));
}

int LUMODEC_OneByOneBack(int nPort)
{
    return plainCall("LUMODEC_OneByOneBack", nPort, Args().number(nPort));
}

int LUMODEC_SetPlayPos(int nPort, float fPos)
{
    return plainCall("LUMODEC_SetPlayPos", nPort, Args().number(nPort).real(fPos));
}

float LUMODEC_GetPlayPos(int nPort)
{
    requirePort("LUMODEC_GetPlayPos", nPort);
    return static_cast<float>(wire().call("LUMODEC_GetPlayPos", Args().number(nPort)).value);
}

int LUMODEC_SetFileEndCallBack(int nPort, LumoFileEndCallback fnEnd, intptr_t nUser)
{
    const char* name = "LUMODEC_SetFileEndCallBack";
    require(fnEnd != nullptr, name, "no callback");
    require(stateOf(name, nPort).file, name, "the port has no file");
    return answer(name, nPort, Args().number(nPort), [=](Port& p, auto&) {
        p.end = fnEnd;
        p.endUser = nUser;
    });
}

int LUMODEC_OpenStream(int nPort, const uint8_t* pHeader, int nHeaderSize, int nBufferSize)
{
    const char* name = "LUMODEC_OpenStream";
    const Port state = stateOf(name, nPort);
    require(!state.open || nPort == kColourPort || nPort == LUMODEC_TALK_PORT, name, "the port is open already");
    require(pHeader && nHeaderSize > 0 && nBufferSize > 0, name, "no header or no buffer");
    const uint8_t* end = pHeader + nHeaderSize; // all of it is read: a memory checker sees one shorter than it says
    require(std::all_of(pHeader, end, [](uint8_t byte) { return byte == 0; }), name, "the header is not a zero byte");
    return answer(name, nPort, Args().number(nPort).number(nHeaderSize).number(nBufferSize),
                  [](Port& p, auto&) { p.open = true; });
}

int LUMODEC_InputData(int nPort, const uint8_t* pData, int nSize)
{
    requirePort("LUMODEC_InputData", nPort);
    require(pData && nSize > 0, "LUMODEC_InputData", "no data");
    Args args;
    args.number(nPort).text(std::string_view(reinterpret_cast<const char*>(pData), static_cast<size_t>(nSize)));
    return wire().call("LUMODEC_InputData", args).result();
}

int LUMODEC_CloseStream(int nPort)
{
    const char* name = "LUMODEC_CloseStream";
    require(stateOf(name, nPort).open, name, "the port is not open");
    return answer(name, nPort, Args().number(nPort), [nPort](Port& p, auto& lock) {
        waitIdle(lock, nPort);
        p.open = false;
        p.draw = nullptr;
    });
}

int LUMODEC_SetStreamMode(int nPort, int nMode)
{
    return plainCall("LUMODEC_SetStreamMode", nPort, Args().number(nPort).number(nMode));
}

int LUMODEC_PlaySound(int nPort)
{
    return plainCall("LUMODEC_PlaySound", nPort, Args().number(nPort));
}

int LUMODEC_StopSound(int nPort)
{
    return plainCall("LUMODEC_StopSound", nPort, Args().number(nPort));
}

int LUMODEC_GetSourceBufferRemain(int nPort)
{
    return plainCall("LUMODEC_GetSourceBufferRemain", nPort, Args().number(nPort));
}

int LUMODEC_RefreshPlay(int nPort)
{
    return plainCall("LUMODEC_RefreshPlay", nPort, Args().number(nPort));
}

int LUMODEC_SetPreviewOption(int nPort, int nOption)
{
    require(stateOf("LUMODEC_SetPreviewOption", nPort).open, "LUMODEC_SetPreviewOption", "the port is not open");
    return plainCall("LUMODEC_SetPreviewOption", nPort, Args().number(nPort).number(nOption));
}

int LUMODEC_SetDisplayRegion(int nPort, int nRegion, const LumoRect* pRegion, LumoWindow hWnd, int bEnable)
{
    const char* name = "LUMODEC_SetDisplayRegion";
    require(bEnable == 0 || pRegion, name, "enabled without a rectangle");
    Args args;
    args.number(nPort).number(nRegion);
    if (pRegion) {
        args.raw("[" + std::to_string(pRegion->left) + "," + std::to_string(pRegion->top) + "," +
                 std::to_string(pRegion->right) + "," + std::to_string(pRegion->bottom) + "]");
    } else {
        args.raw("null");
    }
    args.number(static_cast<long long>(hWnd)).number(bEnable);
    return plainCall(name, nPort, args);
}

int LUMODEC_RegisterDrawCallback(int nPort, LumoDrawCallback fnDraw, int32_t nUser)
{
    const char* name = "LUMODEC_RegisterDrawCallback";
    requirePort(name, nPort);
    return answer(name, nPort, Args().number(nPort), [=](Port& p, auto&) {
        p.draw = fnDraw;
        p.drawUser = nUser;
    });
}

int LUMODEC_GetBufferValue(int nPort, int nKind)
{
    return plainCall("LUMODEC_GetBufferValue", nPort, Args().number(nPort).number(nKind));
}

int LUMODEC_SetColor(int nPort, int nRegion, int nBrightness, int nContrast, int nSaturation, int nHue)
{
    Args args;
    args.number(nPort).number(nRegion).number(nBrightness).number(nContrast).number(nSaturation).number(nHue);
    return plainCall("LUMODEC_SetColor", nPort, args);
}

int LUMODEC_GetColor(int nPort, int nRegion, int32_t* pBrightness, int32_t* pContrast, int32_t* pSaturation,
                     int32_t* pHue)
{
    const char* name = "LUMODEC_GetColor";
    requirePort(name, nPort);
    require(pBrightness && pContrast && pSaturation && pHue, name, "null argument");
    const Answer a = wire().call(name, Args().number(nPort).number(nRegion));
    // A failing library leaves the outputs as they are.
    if (a.fields.count("brightness")) {
        *pBrightness = a.number("brightness");
        *pContrast = a.number("contrast");
        *pSaturation = a.number("saturation");
        *pHue = a.number("hue");
    }
    return a.result();
}

int LUMODEC_CatchPicture(int nPort, const char* szPath, int nReserved)
{
    require(szPath != nullptr, "LUMODEC_CatchPicture", "no path");
    return plainCall("LUMODEC_CatchPicture", nPort, Args().number(nPort).path(szPath).number(nReserved));
}

int LUMODEC_StartDataRecord(int nPort, const char* szPath, int nType)
{
    require(szPath != nullptr, "LUMODEC_StartDataRecord", "no path");
    return playingCall("LUMODEC_StartDataRecord", nPort, Args().number(nPort).path(szPath).number(nType));
}

int LUMODEC_StopDataRecord(int nPort)
{
    return plainCall("LUMODEC_StopDataRecord", nPort, Args().number(nPort));
}

int LUMODEC_GetCurrentFrameTime(int nPort)
{
    return plainCall("LUMODEC_GetCurrentFrameTime", nPort, Args().number(nPort));
}

int LUMODEC_ConvertFile(const char* szSource, const char* szTarget, int nType, LumoConvertCallback fnPosition,
                        intptr_t nUser)
{
    const char* name = "LUMODEC_ConvertFile";
    require(szSource && *szSource && szTarget && *szTarget && fnPosition, name, "no path or no callback");
    require(nType == LUMODEC_RECORD_AVI, name, "unknown type");
    // Known from the moment that the script answers, for it may raise the callback at once.
    const auto remember = [=](const Answer& a) {
        const std::lock_guard lock(lib().mutex);
        lib().convert = a.result() > 0 ? fnPosition : nullptr;
        lib().convertUser = nUser;
    };
    return wire().call(name, Args().path(szSource).path(szTarget).number(nType), remember).result();
}

int LUMODEC_SetOriginalMode(int nPort, int nRegion, const int32_t* pFlag)
{
    const char* name = "LUMODEC_SetOriginalMode";
    require(pFlag && (*pFlag == 0 || *pFlag == 1), name, "no flag, or neither 0 nor 1");
    return plainCall(name, nPort, Args().number(nPort).number(nRegion).number(*pFlag));
}

int LUMODEC_StartAudioCapture(LumoCaptureCallback fnBlock, int nBits, int nSampleRate, int nBlockSize, intptr_t nUser)
{
    const char* name = "LUMODEC_StartAudioCapture";
    require(fnBlock && nBits == 16 && nBlockSize > 0 && nBlockSize % 2 == 0, name, "no callback, or no 16-bit samples");
    require(nSampleRate == 8000 || nSampleRate == 16000, name, "no such rate");
    // Known from the moment that the script answers, for it may raise a block at once.
    const auto remember = [=](const Answer& a) {
        if (a.result() != 0) {
            const std::lock_guard lock(lib().mutex);
            require(!lib().capture, name, "the script starts a second capture");
            lib().capture = fnBlock;
            lib().captureUser = nUser;
        }
    };
    return wire().call(name, Args().number(nBits).number(nSampleRate).number(nBlockSize), remember).result();
}

int LUMODEC_StopAudioCapture(intptr_t nUser)
{
    const char* name = "LUMODEC_StopAudioCapture";
    // Gone from the moment that the script answers, for it may let another thread start the next one at once.
    const auto forget = [=](const Answer& a) {
        if (a.result() != 0) {
            const std::lock_guard lock(lib().mutex);
            require(lib().capture && lib().captureUser == nUser, name, "not the capture that was started");
            lib().capture = nullptr;
        }
    };
    const Answer a = wire().call(name, Args(), forget);
    std::unique_lock lock(lib().mutex);
    if (a.result() != 0) {
        lib().idle.wait(lock, [] { return !lib().captureRunning; });
    }
    return a.result();
}

int LUMODEC_GetLastError(int nPort)
{
    return plainCall("LUMODEC_GetLastError", nPort, Args().number(nPort));
}
