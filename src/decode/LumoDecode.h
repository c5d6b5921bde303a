/* LumoDecode: the decode library. A port takes pushed stream data or opens a file, decodes it, and paints
 * into a native window.
 *
 * A C header without Qt, included alike by the process, by our own library (engines/decode) and by the
 * recording library of the tests. On Windows the calls are imported by the ordinals noted at each.
 *
 * Results:   non-zero on success, 0 on failure, unless noted.
 * Threads:   any call may be made from any thread; calls on one port are serialised inside. A port decodes
 *            and shows on a thread of its own. Draw and end-of-file callbacks come on that thread, conversion
 *            and capture callbacks on their own. LUMODEC_Stop, _CloseStream and _CloseFile return when the
 *            port's callbacks are not running and will not run again; never call them from one.
 * Ownership: data and paths are copied; callback pointers are valid for the call only.
 * Text:      file paths in the local 8-bit encoding.
 */
#ifndef LUMO_DECODE_LUMODECODE_H
#define LUMO_DECODE_LUMODECODE_H

#include <stddef.h>
#include <stdint.h>

#if defined(_WIN32)
#  if defined(LUMODEC_BUILD)
#    define LUMODEC_API __declspec(dllexport)
#  else
#    define LUMODEC_API /* the import library brings the jump; a test may bring the call itself */
#  endif
#else
#  define LUMODEC_API __attribute__((visibility("default")))
#endif

#ifdef __cplusplus
extern "C" {
#endif

/** A native window: an HWND on Windows, an X11 window id elsewhere; 0 is none. */
typedef uint64_t LumoWindow;

/** A rectangle in the virtual square of 8192 by 8192 units laid over the picture. */
typedef struct LumoRect { int32_t left, top, right, bottom; } LumoRect;

/** Outside Windows the draw callback's device context points at this: the cell as it is about to be shown. */
typedef struct LumoDrawSurface {
    uint8_t* pBits;                 /* 32 bits a pixel, bytes B G R X, top row first */
    int32_t  nWidth, nHeight;       /* pixels */
    int32_t  nStride;               /* bytes per line */
} LumoDrawSurface;

enum { LUMODEC_PORTS = 500 };       /* ports are 0 to 499; any other fails */
enum { LUMODEC_TALK_PORT = 499 };   /* its sound is heard at most 150 ms after its frame came; what is later is left out */
enum { LUMODEC_RECORD_RAW = 0, LUMODEC_RECORD_AVI = 2 };
enum { LUMODEC_STREAM_LIVE = 0, LUMODEC_STREAM_PLAYBACK = 1 };
enum { LUMODEC_PREVIEW_LIVE = 8 };
enum { LUMODEC_BUFFER_PICTURES = 3 };
enum { LUMODEC_REGION_ALL = 0 };    /* the one nRegion that the program uses; our library fails any other */

enum { LUMODEC_ERR_NONE = 0, LUMODEC_ERR_NO_DEVICE = 1, LUMODEC_ERR_BUSY = 2, LUMODEC_ERR_NOT_RUNNING = 3, LUMODEC_ERR_ARGUMENT = 4 };

typedef void (*LumoFileEndCallback)(int nPort, intptr_t nUser);
/** nUser is a 32-bit word by contract: closed libraries carry no more. */
typedef void (*LumoDrawCallback)(int nPort, void* hDC, int32_t nUser);
typedef void (*LumoCaptureCallback)(const uint8_t* pBlock, int nSize, intptr_t nUser);
typedef void (*LumoConvertCallback)(long nCurrent, long nTotal, intptr_t nUser);

/*  1 */ LUMODEC_API int LUMODEC_OpenFile(int nPort, const char* szPath);
/*  2 */ LUMODEC_API int LUMODEC_CloseFile(int nPort);
/** On a playing port: back to normal speed, and into hWnd. */
/*  3 */ LUMODEC_API int LUMODEC_Play(int nPort, LumoWindow hWnd);
/*  4 */ LUMODEC_API int LUMODEC_Stop(int nPort);
/*  5 */ LUMODEC_API int LUMODEC_Pause(int nPort, int bPause);
/** Twice and half as fast as before, from a sixteenth to 16 times; a paused port plays on. Not live. */
/*  6 */ LUMODEC_API int LUMODEC_Fast(int nPort);
/*  7 */ LUMODEC_API int LUMODEC_Slow(int nPort);
/** One picture on, one back; the port is paused then. Not live. */
/*  8 */ LUMODEC_API int LUMODEC_OneByOne(int nPort);
/*  9 */ LUMODEC_API int LUMODEC_OneByOneBack(int nPort);
/** A file's position, 0 its begin, 1 its end; beyond them counts as they do. 0 where there is none. */
/* 10 */ LUMODEC_API int LUMODEC_SetPlayPos(int nPort, float fPos);
/* 11 */ LUMODEC_API float LUMODEC_GetPlayPos(int nPort);
/** Once each time the last picture's time has passed. Forgotten with the file. */
/* 13 */ LUMODEC_API int LUMODEC_SetFileEndCallBack(int nPort, LumoFileEndCallback fnEnd, intptr_t nUser);
/** nBufferSize: bytes of undecoded data the port may hold. */
/* 17 */ LUMODEC_API int LUMODEC_OpenStream(int nPort, const uint8_t* pHeader, int nHeaderSize, int nBufferSize);
/** Harmless on a port that is closed, stopped, never opened or being closed. */
/* 18 */ LUMODEC_API int LUMODEC_InputData(int nPort, const uint8_t* pData, int nSize);
/* 19 */ LUMODEC_API int LUMODEC_CloseStream(int nPort);
/** LUMODEC_STREAM_PLAYBACK: paced by the frames' times; _LIVE: shown at arrival. Counts from the next Play on. */
/* 33 */ LUMODEC_API int LUMODEC_SetStreamMode(int nPort, int nMode);
/* 40 */ LUMODEC_API int LUMODEC_PlaySound(int nPort);
/* 41 */ LUMODEC_API int LUMODEC_StopSound(int nPort);
/** Bytes waiting to be decoded. */
/* 46 */ LUMODEC_API int LUMODEC_GetSourceBufferRemain(int nPort);
/* 47 */ LUMODEC_API int LUMODEC_RefreshPlay(int nPort);
/** LUMODEC_PREVIEW_LIVE: shown at arrival. Counts from the next Play on. */
/* 50 */ LUMODEC_API int LUMODEC_SetPreviewOption(int nPort, int nOption);
/** pRegion in 8192 units of the picture, null with bEnable 0 to show all of it. */
/* 61 */ LUMODEC_API int LUMODEC_SetDisplayRegion(int nPort, int nRegion, const LumoRect* pRegion, LumoWindow hWnd, int bEnable);
/* 67 */ LUMODEC_API int LUMODEC_RegisterDrawCallback(int nPort, LumoDrawCallback fnDraw, int32_t nUser);
/** LUMODEC_BUFFER_PICTURES: decoded pictures waiting to be shown. 0 for any other kind. */
/* 71 */ LUMODEC_API int LUMODEC_GetBufferValue(int nPort, int nKind);
/** Each 0 to 128, 64 is neutral. */
/* 77 */ LUMODEC_API int LUMODEC_SetColor(int nPort, int nRegion, int nBrightness, int nContrast, int nSaturation, int nHue);
/* 78 */ LUMODEC_API int LUMODEC_GetColor(int nPort, int nRegion, int32_t* pBrightness, int32_t* pContrast, int32_t* pSaturation, int32_t* pHue);
/** Writes the current picture, at its full size, as a BMP file. */
/* 82 */ LUMODEC_API int LUMODEC_CatchPicture(int nPort, const char* szPath, int nReserved);
/** nType: LUMODEC_RECORD_... */
/* 83 */ LUMODEC_API int LUMODEC_StartDataRecord(int nPort, const char* szPath, int nType);
/* 84 */ LUMODEC_API int LUMODEC_StopDataRecord(int nPort);
/** The device's wall clock at the shown picture, as calendar seconds (time_t) for localtime; 0 if none. */
/* 95 */ LUMODEC_API int LUMODEC_GetCurrentFrameTime(int nPort);
/** nType: LUMODEC_RECORD_AVI. Above 0 on success; the callback reports on the conversion's own thread, last with nCurrent == nTotal. */
/* 98 */ LUMODEC_API int LUMODEC_ConvertFile(const char* szSource, const char* szTarget, int nType, LumoConvertCallback fnPosition, intptr_t nUser);
/** *pFlag 1: keep the picture's aspect, with black bars; 0: fill the window. */
/*104 */ LUMODEC_API int LUMODEC_SetOriginalMode(int nPort, int nRegion, const int32_t* pFlag);

/** Microphone sound, one capture in the process: blocks of nBlockSize bytes (even, 2 to 65534) of 16-bit signed samples
 *  (nBits 16), low byte first, one channel, at nSampleRate (8000 or 16000). Fails while another captures, and without a
 *  microphone. The callback comes on the capture's own thread. */
/*201 */ LUMODEC_API int LUMODEC_StartAudioCapture(LumoCaptureCallback fnBlock, int nBits, int nSampleRate, int nBlockSize, intptr_t nUser);
/** Of the capture that was started with nUser; 0 when there is none, and from within its callback. Returns when the
 *  callback is not running and will not run again. */
/*202 */ LUMODEC_API int LUMODEC_StopAudioCapture(intptr_t nUser);
/** With port 0 what the last start or stop of a capture came to: LUMODEC_ERR_... Any other port: LUMODEC_ERR_NONE. */
/*203 */ LUMODEC_API int LUMODEC_GetLastError(int nPort);

#ifdef __cplusplus
}
#endif
#endif
