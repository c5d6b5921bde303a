// The library's calls. Each finds its port and lets nothing thrown pass out of the library.
#include "Converter.h"
#include "Port.h"
#include "SoundIn.h"

#include <atomic>
#include <exception>

using namespace lumo;

namespace
{

/// 1 when the port exists and what is asked of it succeeds.
template <typename Ask> int onPort(int number, Ask ask)
{
    try {
        Port* port = portOf(number);
        return port && ask(*port) ? 1 : 0;
    } catch (const std::exception&) {
        return 0; // out of memory, or out of threads
    }
}

/// A number from the port; 0 when there is none.
template <typename Ask> auto fromPort(int number, Ask ask) -> decltype(ask(*portOf(number)))
{
    try {
        Port* port = portOf(number);
        return port ? ask(*port) : 0;
    } catch (const std::exception&) {
        return 0;
    }
}

std::atomic<int> g_captureError{LUMODEC_ERR_NONE}; // of the last start or stop

/// 1 when ask() gives LUMODEC_ERR_NONE; what it gives is kept.
template <typename Ask> int tellCapture(Ask ask)
{
    int error = LUMODEC_ERR_NO_DEVICE; // out of memory, or out of threads
    try {
        error = ask();
    } catch (const std::exception&) {
    }
    g_captureError = error;
    return error == LUMODEC_ERR_NONE ? 1 : 0;
}

} // namespace

extern "C" {

// ---- files

int LUMODEC_OpenFile(int nPort, const char* szPath)
{
    return onPort(nPort, [&](Port& port) { return szPath && port.openFile(szPath); });
}

int LUMODEC_CloseFile(int nPort)
{
    return onPort(nPort, [](Port& port) { return port.closeFile(); });
}

int LUMODEC_SetPlayPos(int nPort, float fPos)
{
    return onPort(nPort, [&](Port& port) { return port.seek(fPos); });
}

float LUMODEC_GetPlayPos(int nPort)
{
    return fromPort(nPort, [](Port& port) { return port.position(); });
}

int LUMODEC_SetFileEndCallBack(int nPort, LumoFileEndCallback fnEnd, intptr_t nUser)
{
    return onPort(nPort, [&](Port& port) { return port.setFileEndHook({fnEnd, nUser}); });
}

int LUMODEC_ConvertFile(const char* szSource, const char* szTarget, int nType, LumoConvertCallback fnPosition,
                        intptr_t nUser)
{
    try {
        return szSource && szTarget && nType == LUMODEC_RECORD_AVI &&
               startConverting(szSource, szTarget, fnPosition, nUser);
    } catch (const std::exception&) {
        return 0;
    }
}

// ---- speed and steps, of files and of pushed recordings

int LUMODEC_Fast(int nPort)
{
    return onPort(nPort, [](Port& port) { return port.changeSpeed(1); });
}

int LUMODEC_Slow(int nPort)
{
    return onPort(nPort, [](Port& port) { return port.changeSpeed(-1); });
}

int LUMODEC_OneByOne(int nPort)
{
    return onPort(nPort, [](Port& port) { return port.step(1); });
}

int LUMODEC_OneByOneBack(int nPort)
{
    return onPort(nPort, [](Port& port) { return port.step(-1); });
}

// ---- streams

int LUMODEC_OpenStream(int nPort, const uint8_t*, int, int nBufferSize)
{
    return onPort(nPort, [&](Port& port) { return port.openStream(nBufferSize); });
}

int LUMODEC_CloseStream(int nPort)
{
    return onPort(nPort, [](Port& port) { return port.closeStream(); });
}

int LUMODEC_InputData(int nPort, const uint8_t* pData, int nSize)
{
    return onPort(nPort, [&](Port& port) { return port.input(pData, nSize); });
}

int LUMODEC_Play(int nPort, LumoWindow hWnd)
{
    return onPort(nPort, [&](Port& port) { return port.play(hWnd); });
}

int LUMODEC_Stop(int nPort)
{
    return onPort(nPort, [](Port& port) { return port.stop(); });
}

int LUMODEC_Pause(int nPort, int bPause)
{
    return onPort(nPort, [&](Port& port) { return port.pause(bPause != 0); });
}

int LUMODEC_SetStreamMode(int nPort, int nMode)
{
    return onPort(nPort, [&](Port& port) { return port.setStreamMode(nMode); });
}

int LUMODEC_SetPreviewOption(int nPort, int nOption)
{
    return onPort(nPort, [&](Port& port) { return port.setPreviewOption(nOption); });
}

int LUMODEC_GetSourceBufferRemain(int nPort)
{
    return fromPort(nPort, [](Port& port) { return port.waitingBytes(); });
}

int LUMODEC_GetBufferValue(int nPort, int nKind)
{
    return fromPort(nPort, [&](Port& port) { return nKind == LUMODEC_BUFFER_PICTURES ? port.waitingPictures() : 0; });
}

int LUMODEC_GetCurrentFrameTime(int nPort)
{
    return fromPort(nPort, [](Port& port) { return port.frameTime(); });
}

// ---- showing

int LUMODEC_RefreshPlay(int nPort)
{
    return onPort(nPort, [](Port& port) { return port.refresh(); });
}

int LUMODEC_SetDisplayRegion(int nPort, int nRegion, const LumoRect* pRegion, LumoWindow, int bEnable)
{
    return onPort(nPort, [&](Port& port) {
        return nRegion == LUMODEC_REGION_ALL && port.setDisplayRegion(pRegion, bEnable != 0);
    });
}

int LUMODEC_SetOriginalMode(int nPort, int nRegion, const int32_t* pFlag)
{
    return onPort(nPort,
                  [&](Port& port) { return nRegion == LUMODEC_REGION_ALL && pFlag && port.setOriginal(*pFlag != 0); });
}

int LUMODEC_SetColor(int nPort, int nRegion, int nBrightness, int nContrast, int nSaturation, int nHue)
{
    return onPort(nPort, [&](Port& port) {
        return nRegion == LUMODEC_REGION_ALL && port.setColor({nBrightness, nContrast, nSaturation, nHue});
    });
}

int LUMODEC_GetColor(int nPort, int nRegion, int32_t* pBrightness, int32_t* pContrast, int32_t* pSaturation,
                     int32_t* pHue)
{
    return onPort(nPort, [&](Port& port) {
        ColorLevels color;
        const bool good = port.getColor(color);
        if (nRegion != LUMODEC_REGION_ALL || !pBrightness || !pContrast || !pSaturation || !pHue)
            return false;
        // Also on a closed port: callers take the values whatever the result.
        *pBrightness = color.brightness;
        *pContrast = color.contrast;
        *pSaturation = color.saturation;
        *pHue = color.hue;
        return good;
    });
}

int LUMODEC_RegisterDrawCallback(int nPort, LumoDrawCallback fnDraw, int32_t nUser)
{
    return onPort(nPort, [&](Port& port) { return port.setDrawHook({fnDraw, nUser}); });
}

// ---- sound, snapshots, recordings

int LUMODEC_PlaySound(int nPort)
{
    return onPort(nPort, [](Port& port) { return port.playSound(); });
}

int LUMODEC_StopSound(int nPort)
{
    return onPort(nPort, [](Port& port) { return port.stopSound(); });
}

int LUMODEC_CatchPicture(int nPort, const char* szPath, int)
{
    return onPort(nPort, [&](Port& port) { return szPath && port.catchPicture(szPath); });
}

int LUMODEC_StartDataRecord(int nPort, const char* szPath, int nType)
{
    return onPort(nPort, [&](Port& port) { return szPath && port.startRecord(szPath, nType); });
}

int LUMODEC_StopDataRecord(int nPort)
{
    return onPort(nPort, [](Port& port) { return port.stopRecord(); });
}

// ---- microphone

int LUMODEC_StartAudioCapture(LumoCaptureCallback fnBlock, int nBits, int nSampleRate, int nBlockSize, intptr_t nUser)
{
    return tellCapture([&] { return startCapture({fnBlock, nBits, nSampleRate, nBlockSize, nUser}); });
}

int LUMODEC_StopAudioCapture(intptr_t nUser)
{
    return tellCapture([&] { return stopCapture(nUser); });
}

int LUMODEC_GetLastError(int nPort)
{
    return nPort == 0 ? g_captureError.load() : LUMODEC_ERR_NONE;
}

} // extern "C"
