#include "StubLumoDecode.h"

#include "decode/LumoDecode.h"

#include <array>
#include <atomic>
#include <map>
#include <mutex>
#include <sstream>
#include <utility>

namespace
{

std::mutex g_mutex;
std::vector<std::string> g_calls;
std::map<std::string, int> g_answers;
std::array<int, 4> g_color{64, 64, 64, 64};
std::atomic<int> g_nInputCalls{0};
std::atomic<int> g_nInputPort{-1};

template <typename... Args> int record(const char* szCall, const Args&... args)
{
    std::ostringstream line;
    line << szCall;
    ((line << ' ' << args), ...);
    const std::lock_guard lock(g_mutex);
    g_calls.push_back(line.str());
    const auto it = g_answers.find(szCall);
    return it == g_answers.end() ? 1 : it->second;
}

std::string text(const LumoRect* pRect)
{
    if (!pRect)
        return "null";
    std::ostringstream line;
    line << pRect->left << ',' << pRect->top << ',' << pRect->right << ',' << pRect->bottom;
    return line.str();
}

} // namespace

namespace stubdecode
{

void reset()
{
    const std::lock_guard lock(g_mutex);
    g_calls.clear();
    g_answers.clear();
    g_color = {64, 64, 64, 64};
    g_nInputCalls = 0;
    g_nInputPort = -1;
}

void answer(const std::string& strCall, int nResult)
{
    const std::lock_guard lock(g_mutex);
    g_answers[strCall] = nResult;
}

void setColor(int nBrightness, int nContrast, int nSaturation, int nHue)
{
    const std::lock_guard lock(g_mutex);
    g_color = {nBrightness, nContrast, nSaturation, nHue};
}

std::vector<std::string> take()
{
    const std::lock_guard lock(g_mutex);
    return std::exchange(g_calls, {});
}

int inputCalls()
{
    return g_nInputCalls;
}

int inputPort()
{
    return g_nInputPort;
}

} // namespace stubdecode

extern "C" {

int LUMODEC_OpenFile(int nPort, const char* szPath)
{
    return record("OpenFile", nPort, szPath);
}
int LUMODEC_CloseFile(int nPort)
{
    return record("CloseFile", nPort);
}
int LUMODEC_Play(int nPort, LumoWindow hWnd)
{
    return record("Play", nPort, hWnd);
}
int LUMODEC_Stop(int nPort)
{
    return record("Stop", nPort);
}
int LUMODEC_Pause(int nPort, int bPause)
{
    return record("Pause", nPort, bPause);
}
int LUMODEC_Fast(int nPort)
{
    return record("Fast", nPort);
}
int LUMODEC_Slow(int nPort)
{
    return record("Slow", nPort);
}
int LUMODEC_OneByOne(int nPort)
{
    return record("OneByOne", nPort);
}
int LUMODEC_OneByOneBack(int nPort)
{
    return record("OneByOneBack", nPort);
}
int LUMODEC_SetPlayPos(int nPort, float fPos)
{
    return record("SetPlayPos", nPort, fPos);
}
float LUMODEC_GetPlayPos(int nPort)
{
    return static_cast<float>(record("GetPlayPos", nPort));
}
int LUMODEC_SetFileEndCallBack(int nPort, LumoFileEndCallback, intptr_t)
{
    return record("SetFileEndCallBack", nPort);
}
int LUMODEC_OpenStream(int nPort, const uint8_t*, int, int nBufferSize)
{
    return record("OpenStream", nPort, nBufferSize);
}
int LUMODEC_InputData(int nPort, const uint8_t*, int)
{
    g_nInputPort = nPort;
    ++g_nInputCalls;
    return 1;
}
int LUMODEC_CloseStream(int nPort)
{
    return record("CloseStream", nPort);
}
int LUMODEC_SetStreamMode(int nPort, int nMode)
{
    return record("SetStreamMode", nPort, nMode);
}
int LUMODEC_PlaySound(int nPort)
{
    return record("PlaySound", nPort);
}
int LUMODEC_StopSound(int nPort)
{
    return record("StopSound", nPort);
}
int LUMODEC_GetSourceBufferRemain(int nPort)
{
    return record("GetSourceBufferRemain", nPort);
}
int LUMODEC_RefreshPlay(int nPort)
{
    return record("RefreshPlay", nPort);
}
int LUMODEC_SetPreviewOption(int nPort, int nOption)
{
    return record("SetPreviewOption", nPort, nOption);
}
int LUMODEC_SetDisplayRegion(int nPort, int, const LumoRect* pRegion, LumoWindow, int bEnable)
{
    return record("SetDisplayRegion", nPort, text(pRegion), bEnable);
}
int LUMODEC_RegisterDrawCallback(int nPort, LumoDrawCallback, int32_t)
{
    return record("RegisterDrawCallback", nPort);
}
int LUMODEC_GetBufferValue(int nPort, int nKind)
{
    return record("GetBufferValue", nPort, nKind);
}
int LUMODEC_SetColor(int nPort, int, int nBrightness, int nContrast, int nSaturation, int nHue)
{
    return record("SetColor", nPort, nBrightness, nContrast, nSaturation, nHue);
}
int LUMODEC_GetColor(int nPort, int, int32_t* pBrightness, int32_t* pContrast, int32_t* pSaturation, int32_t* pHue)
{
    const int nResult = record("GetColor", nPort);
    const std::lock_guard lock(g_mutex);
    *pBrightness = g_color[0];
    *pContrast = g_color[1];
    *pSaturation = g_color[2];
    *pHue = g_color[3];
    return nResult;
}
int LUMODEC_CatchPicture(int nPort, const char* szPath, int)
{
    return record("CatchPicture", nPort, szPath);
}
int LUMODEC_StartDataRecord(int nPort, const char* szPath, int nType)
{
    return record("StartDataRecord", nPort, nType, szPath);
}
int LUMODEC_StopDataRecord(int nPort)
{
    return record("StopDataRecord", nPort);
}
int LUMODEC_GetCurrentFrameTime(int nPort)
{
    return record("GetCurrentFrameTime", nPort);
}
int LUMODEC_ConvertFile(const char* szSource, const char* szTarget, int nType, LumoConvertCallback, intptr_t)
{
    return record("ConvertFile", szSource, szTarget, nType);
}
int LUMODEC_SetOriginalMode(int nPort, int, const int32_t* pFlag)
{
    return record("SetOriginalMode", nPort, *pFlag);
}

} // extern "C"
