/* LumoNet: the device library. Login, live streams, playback, download, talk, files, firmware, commands.
 *
 * A C header without Qt, included alike by the process, by our own library (engines/net) and by the
 * recording library of the tests, so that the three cannot drift apart.
 *
 * Results:   1 on success, 0 on failure, where nothing else is said; LUMONET_GetLastError() tells why.
 * Handles:   positive ints; 0 or less means failure, and LUMONET_GetLastError() tells why.
 * Errors:    negative ints, see LUMONET_ERROR below. LUMONET_GetLastError is per calling thread, of its last failure.
 * Threads:   every call may be made from any thread. Callbacks come on the library's own threads, never on
 *            the thread of a call in progress and never before that call has returned its handle.
 * Ownership: pointers given to a callback are valid for that call only; the library copies what it is given.
 * Stopping:  a call that removes a callback or stops a handle returns only when the callback is not running
 *            and will not run again. So no callback may wait for a thread that makes such a call.
 * Text:      zero-terminated. File paths, what a login takes (but for its token) and NetDeviceInfo, and the address of a
 *            lost device are in the local 8-bit encoding, all else in UTF-8.
 */
#ifndef LUMO_DEVICE_LUMONET_H
#define LUMO_DEVICE_LUMONET_H

#include <stdbool.h>
#include <stddef.h>
#include <stdint.h>

#if defined(_WIN32)
#  if defined(LUMONET_BUILD)
#    define LUMONET_API __declspec(dllexport)
#  else
#    define LUMONET_API /* the import library brings the jump; a test may bring the call itself */
#  endif
#else
#  define LUMONET_API __attribute__((visibility("default")))
#endif

#ifdef __cplusplus
extern "C" {
#endif

/** What the program tells the page apart (CLumoConnect::TranslateError), and what each number means here. */
enum LUMONET_ERROR {
    LUMONET_ERR_NONE             = 0,
    LUMONET_ERR_TIMEOUT          = -10005, /* unreachable, timed out, or connection lost                 */
    LUMONET_ERR_UNSUPPORTED      = -11401, /* the device cannot do this                                   */
    LUMONET_ERR_REFUSED          = -11300, /* the device answered, and refused the request                */
    LUMONET_ERR_USER             = -11301, /* no such user                                                */
    LUMONET_ERR_PASSWORD         = -11302, /* wrong password                                              */
    LUMONET_ERR_LOCKED           = -11303, /* user or address locked out                                  */
    LUMONET_ERR_ALREADY_LOGGED_IN= -11304, /* user is logged in already and may not be twice              */
    LUMONET_ERR_NOT_LOGGED_IN    = -11307, /* handle is none of ours, or its login has ended              */
    LUMONET_ERR_SESSIONS         = -11317, /* the device serves as many sessions as it can                */
    LUMONET_ERR_CLOUD            = -11613, /* the rendezvous by serial number failed; see szCloudError    */
    LUMONET_ERR_ARGUMENT         = -10001, /* argument out of range                                       */
    LUMONET_ERR_BUSY             = -512    /* a device that is at work already refuses an upgrade         */
};

/** Filled by a login; zeroed by the caller before. 832 bytes. */
typedef struct NetDeviceInfo {
    char    szSoftwareVersion[64];
    uint8_t reserved0[128];
    int32_t nBuildYear, nBuildMonth, nBuildDay;
    uint8_t reserved1[20];
    char    szSerialNo[32];
    uint8_t reserved2[32];
    int32_t nChannels;              /* channel count, first kind  */
    uint8_t reserved3[32];
    int32_t nExtraChannels;         /* channel count, second kind */
    uint8_t reserved4[4];
    int32_t nDeviceType;
    char    szDeviceName[64];
    uint8_t reserved5[44];
    char    szCloudError[260];
    uint8_t reserved6[124];
    int32_t nWebKind;               /* input: 1000 for the page kind "O5", else 0 */
} NetDeviceInfo;

/** One live stream to open. 24 bytes. */
typedef struct StreamOpenInfo {
    int32_t nChannel;               /* from 0 */
    int32_t nStream;                /* 0 main, 1 sub */
    int32_t nReserved;
    uint8_t reserved[12];
} StreamOpenInfo;

typedef struct RecordTime8 { int32_t nYear, nMonth, nDay, nUnused1, nHour, nMinute, nSecond, nUnused2; } RecordTime8;
typedef struct RecordTime6 { int32_t nYear, nMonth, nDay, nHour, nMinute, nSecond; } RecordTime6;

/** A recorded file, for playback by name and for download. 200 bytes. */
typedef struct RecordFileInfo {
    int32_t     nChannel;           /* from 0 */
    int32_t     nFileSize;          /* the number that the device's own list gave; our library does not read it */
    char        szFileName[108];
    RecordTime8 stBegin, stEnd;     /* the device's wall clock */
    uint8_t     reserved0[12];
    int32_t     nStreamType;        /* as StreamOpenInfo's nStream */
    uint8_t     reserved1[4];
} RecordFileInfo;

/** A span of recorded time, for playback by time. 168 bytes. */
typedef struct RecordTimeInfo {
    int32_t     nChannel;           /* from 0 */
    int32_t     nFileType;          /* the number that the device's own list gave; our library does not read it */
    RecordTime6 stBegin, stEnd;     /* the device's wall clock */
    uint8_t     reserved0[40];
    int32_t     nStreamType;        /* as StreamOpenInfo's nStream */
    char        szNamePart1[32];    /* of a library that names recordings in two parts; */
    char        szNamePart2[32];    /* the program leaves both empty, our library does not read them */
    uint8_t     reserved1[4];
} RecordTimeInfo;

/** What LUMONET_InitAppInfo takes. */
typedef struct LumoAppInfo {
    char    szName[64];
    char    szKey[64];
    int32_t nKind;
} LumoAppInfo;

/** One block of stream data: one or more whole frames as engines/common/StreamFrame.h lays them out. */
typedef struct LumoFrame {
    int32_t        nFrameType;      /* LUMO_FRAME_... of the first frame in the block */
    int32_t        nReserved;
    const uint8_t* pData;
    uint32_t       nSize;           /* bytes */
    uint8_t        reserved[64 - 2 * 4 - sizeof(void*) - 4];
    uint16_t       nWidth, nHeight; /* pixels; set for key frames, else 0 */
    uint32_t       nReserved2;
} LumoFrame;

/** The newest firmware that a device knows of, read by LUMONET_GetDevConfig with LUMO_CONFIG_VERSION; zeroed before. */
typedef struct LumoVersionInfo {
    int32_t nCount;                 /* versions known; 0 none */
    char    szVersion[128];
    char    szBuildDate[128];
    uint8_t reserved[2884 - 4 - 2 * 128];
} LumoVersionInfo;

/** What a device tells of its own talk, read by LUMONET_GetDevConfig with LUMO_CONFIG_TALK; zeroed before. 229 bytes. */
typedef struct LumoTalkInfo {
    uint8_t reserved0[128];
    uint8_t nTalkRefused[4];        /* an int32, low byte first; other than 0: the device does not talk */
    uint8_t reserved1[59];
    uint8_t byAudioParam;
    uint8_t reserved2[37];
} LumoTalkInfo;

/** What a device reports by itself. 172 bytes. */
typedef struct LumoAlarmMessage {
    int32_t nChannel;               /* from 0, of an input its number; 0 too where it concerns the device as a whole,
                                       -1 where the device names a source that is none of its channels */
    int32_t nEvent;                 /* LUMO_ALARM_... */
    int32_t nStatus;                /* LUMO_ALARM_STATUS_... */
    uint8_t reserved[160];          /* 0 */
} LumoAlarmMessage;

/** Kinds of messages, as the message callback gets them. */
enum { LUMO_MESSAGE_ALARM = 1 };
/** Numbers of alarms that our own library raises; other libraries know more. */
enum {
    LUMO_ALARM_LOCAL_IO         = 1,  /* a digital input                  */
    LUMO_ALARM_VIDEO_MOTION     = 4,
    LUMO_ALARM_VIDEO_LOSS       = 5,
    LUMO_ALARM_VIDEO_BLIND      = 6,  /* covered or turned away           */
    LUMO_ALARM_STORAGE_NO_DISK  = 10,
    LUMO_ALARM_STORAGE_FAILURE  = 11,
    LUMO_ALARM_STORAGE_LOW      = 12,
    LUMO_ALARM_NET_ABORT        = 13,
    LUMO_ALARM_NET_IP_CONFLICT  = 17,
    LUMO_ALARM_VIDEO_ANALYZE    = 25, /* a rule that looks at the picture */
    LUMO_ALARM_LOGIN_FAILED     = 29,
    LUMO_ALARM_VIDEO_BLUR       = 34,
    LUMO_ALARM_PLATE            = 35,
    LUMO_ALARM_HUMAN            = 39,
    LUMO_ALARM_FACE             = 40,
    LUMO_ALARM_FACE_RECOGNISED  = 41
};
enum { LUMO_ALARM_STATUS_START = 0, LUMO_ALARM_STATUS_STOP = 1, LUMO_ALARM_STATUS_PULSE = 2 };

/** What a login goes by. */
enum { LUMO_LOGIN_BY_ADDRESS = 0, LUMO_LOGIN_BY_SERIAL = 2 };
/** What LUMONET_PlayBackControl does. */
enum { LUMO_PLAY_PAUSE = 0, LUMO_PLAY_RESUME = 1, LUMO_PLAY_SEEK = 2, LUMO_PLAY_FAST = 3, LUMO_PLAY_SLOW = 4 };
/** Numbers of device settings. */
enum { LUMO_CONFIG_TALK = 9, LUMO_CONFIG_IMPORT = 52, LUMO_CONFIG_VERSION = 192 };
/** Numbers of abilities. */
enum { LUMO_ABILITY_SYSTEM = 1362 };
/** States of an upgrade; 1 and 3 are final. */
enum { LUMO_UPGRADE_RUNNING = 0, LUMO_UPGRADE_DONE = 1, LUMO_UPGRADE_WRITING = 2, LUMO_UPGRADE_FAILED = 3 };

enum { LUMO_FRAME_OTHER = 0, LUMO_FRAME_VIDEO_I = 1, LUMO_FRAME_VIDEO_P = 2, LUMO_FRAME_AUDIO = 3 };

#ifdef __cplusplus
static_assert(sizeof(NetDeviceInfo) == 832, "record size");
static_assert(offsetof(NetDeviceInfo, nBuildYear) == 192 && offsetof(NetDeviceInfo, szSerialNo) == 224, "offsets");
static_assert(offsetof(NetDeviceInfo, nChannels) == 288 && offsetof(NetDeviceInfo, nExtraChannels) == 324, "offsets");
static_assert(offsetof(NetDeviceInfo, nDeviceType) == 332 && offsetof(NetDeviceInfo, szDeviceName) == 336, "offsets");
static_assert(offsetof(NetDeviceInfo, szCloudError) == 444 && offsetof(NetDeviceInfo, nWebKind) == 828, "offsets");
static_assert(sizeof(StreamOpenInfo) == 24, "record size");
static_assert(sizeof(RecordFileInfo) == 200 && offsetof(RecordFileInfo, szFileName) == 8, "record size");
static_assert(offsetof(RecordFileInfo, stBegin) == 116 && offsetof(RecordFileInfo, stEnd) == 148, "offsets");
static_assert(offsetof(RecordFileInfo, nStreamType) == 192, "offsets");
static_assert(sizeof(RecordTimeInfo) == 168 && offsetof(RecordTimeInfo, stBegin) == 8, "record size");
static_assert(offsetof(RecordTimeInfo, stEnd) == 32 && offsetof(RecordTimeInfo, nStreamType) == 96, "offsets");
static_assert(offsetof(RecordTimeInfo, szNamePart1) == 100 && offsetof(RecordTimeInfo, szNamePart2) == 132, "offsets");
static_assert(sizeof(LumoVersionInfo) == 2884 && offsetof(LumoVersionInfo, szBuildDate) == 132, "record size");
static_assert(sizeof(LumoTalkInfo) == 229 && offsetof(LumoTalkInfo, nTalkRefused) == 128, "record size");
static_assert(offsetof(LumoTalkInfo, byAudioParam) == 191, "offsets");
static_assert(sizeof(LumoAlarmMessage) == 172 && offsetof(LumoAlarmMessage, nStatus) == 8, "record size");
static_assert(sizeof(void*) != 8 || (offsetof(LumoFrame, pData) == 8 && offsetof(LumoFrame, nSize) == 16), "offsets");
static_assert(sizeof(void*) != 8 || (offsetof(LumoFrame, nWidth) == 64 && offsetof(LumoFrame, nHeight) == 66), "offsets");
#endif

/** The device stopped answering. Once per loss; the login's handles stay valid for being stopped. */
typedef void (*LumoDisconnectCallback)(long lLoginID, char* szIP, long nPort, void* pUser);
/** A message of the device. nKind LUMO_MESSAGE_ALARM: pMessage is one LumoAlarmMessage. The result is ignored. */
typedef bool (*LumoMessageCallback)(long lLoginID, char* pMessage, unsigned long nSize, void* pUser, int nKind);
/** Stream data, whole frames; nDataType: LUMO_FRAME_... of the first. The result is ignored. */
typedef int (*LumoRealDataCallback)(long lRealHandle, long nDataType, uint8_t* pData, long nSize, intptr_t nUser);
/** Stream data with its frame record. The result is ignored. Must not block. */
typedef int (*LumoRealDataCallback_V2)(long lRealHandle, const LumoFrame* pFrame, intptr_t nUser);
/** Position of a download, or the end of a playback. The unit is the library's own (ours: milliseconds of recorded time, a
 *  still's bytes, a playback's seconds): only nCurrent / nTotal means something. A download's last call has nCurrent -1. */
typedef int (*LumoPositionCallback)(long lHandle, long nTotal, long nCurrent, intptr_t nUser);

/** Sound of a talk: one or more whole frames, as LUMONET_VoiceComSendData takes them; nDataType: LUMO_FRAME_AUDIO. */
typedef void (*LumoVoiceCallback)(long lTalkHandle, uint8_t* pData, long nSize, long nDataType, intptr_t nUser);
/** The one end of a sent file: nStatus 1 when the device has all of it, else nError tells why. */
typedef void (*LumoSendFileCallback)(long lSendHandle, long nStatus, long nError, long nExtra, intptr_t nUser);
/** Progress of an upgrade, in bytes; LUMONET_GetUpgradeState tells its state. Raised last with a final state. */
typedef void (*LumoUpgradeCallback)(long lLoginID, long lUpgradeHandle, long nTotal, long nSent, intptr_t nUser);

/** Before all else; again only after LUMONET_Cleanup. */
LUMONET_API int  LUMONET_Init(LumoDisconnectCallback fnDisconnect, void* pUser);
/** Who uses the library. */
LUMONET_API int  LUMONET_InitAppInfo(const LumoAppInfo* pInfo);
/** Ends every login. */
LUMONET_API int  LUMONET_Cleanup(void);
/** LUMONET_ERROR. */
LUMONET_API int  LUMONET_GetLastError(void);

/** The login's handle; the error is in *pError too. LUMO_LOGIN_BY_ADDRESS: szAddress is an address or rtsp:// URL;
 *  _BY_SERIAL: it is a serial number, and nPort is 0. Blocks for seconds. */
LUMONET_API int  LUMONET_Login(const char* szAddress, int nPort, const char* szUser, const char* szPassword,
                               NetDeviceInfo* pInfo, int* pError, int nSocketKind);
/** The same by serial number (LUMO_LOGIN_BY_SERIAL) and token. */
LUMONET_API int  LUMONET_LoginEx_V2(const char* szSerialNo, int nReserved, const char* szToken, const char* szReserved,
                                    NetDeviceInfo* pInfo, int nKind, int* pError, int nSocketKind);
/** Ends every stream, playback, download and talk of the login. */
LUMONET_API int  LUMONET_Logout(int nLoginID);
/** Before the logout: what a library holds for a login beside it. Ours holds nothing. */
LUMONET_API int  LUMONET_ReleaseLogin(int nLoginID);
/** One for all logins; null: none. When it returns, the former one is not running and will not run again. */
LUMONET_API void LUMONET_SetMessageCallback(LumoMessageCallback fnMessage, void* pUser);
/** From now on until its logout the login's messages go to the callback, on a thread of that login's own. Success
 *  also when it is open already. The device is asked in the background, again and again where that fails. */
LUMONET_API int  LUMONET_OpenMessageChannel(int nLoginID);

/** Opens a live stream: its handle. Data flow once a callback is set; one of each kind at a time. */
LUMONET_API int  LUMONET_RealPlay(int nLoginID, const StreamOpenInfo* pInfo);
LUMONET_API int  LUMONET_SetRealDataCallBack(int nRealHandle, LumoRealDataCallback fnData, intptr_t nUser);
LUMONET_API int  LUMONET_SetRealDataCallBack_V2(int nRealHandle, LumoRealDataCallback_V2 fnData, intptr_t nUser);
/** Fails when none is set. */
LUMONET_API int  LUMONET_DelRealDataCallBack(int nRealHandle, LumoRealDataCallback fnData, intptr_t nUser);
LUMONET_API int  LUMONET_DelRealDataCallBack_V2(int nRealHandle, LumoRealDataCallback_V2 fnData, intptr_t nUser);
/** Ends the stream and frees its handle. */
LUMONET_API int  LUMONET_StopRealPlay(int nRealHandle, int nReserved);
/** Asks the device for a key frame on the stream, in the background. */
LUMONET_API int  LUMONET_RequestChannelFrame(int nLoginID, int nChannel, int nStream);

/** Both: the playback's handle. Blocks for seconds. */
LUMONET_API int  LUMONET_PlayBackByName(int nLoginID, const RecordFileInfo* pInfo, LumoPositionCallback fnPosition,
                                        LumoRealDataCallback fnData, intptr_t nUser);
LUMONET_API int  LUMONET_PlayBackByTimeEx(int nLoginID, const RecordTimeInfo* pInfo, LumoRealDataCallback fnData,
                                          intptr_t nDataUser, LumoPositionCallback fnPosition, intptr_t nPositionUser);
/** LUMO_PLAY_...; nValue: seconds after begin for a seek; for fast and slow 1 to 4, each twice the one before, 0 normal. */
LUMONET_API int  LUMONET_PlayBackControl(int nPlayHandle, int nAction, int nValue, int nReserved);
/** Ends the playback and frees its handle. */
LUMONET_API int  LUMONET_StopPlayBack(int nPlayHandle);
/** Into a file of that name: the download's handle. Blocks for seconds, then goes on in the background. */
LUMONET_API int  LUMONET_StartFileDownload(int nLoginID, const RecordFileInfo* pInfo, const char* szPath,
                                           LumoPositionCallback fnPosition, intptr_t nUser, int nReserved);
/** Ends the download and frees its handle, also after its last callback; what is not whole by then leaves no file. */
LUMONET_API int  LUMONET_StopFileDownload(int nDownloadHandle);

/** Two-way sound with the device, and with one channel of it (-1: all that can talk): the talk's handle. */
LUMONET_API int  LUMONET_StartVoiceCom_MR(int nLoginID, LumoVoiceCallback fnVoice, intptr_t nUser);
LUMONET_API int  LUMONET_StartVoiceCom_NVR_IPC(int nLoginID, int nChannel, LumoVoiceCallback fnVoice, intptr_t nUser);
/** One talk frame: 00 00 01 FA, codec 14 (G.711 A-law), rate code (2: 8000 Hz, 4: 16000), length (low byte first), payload.
 *  Never blocks: 500 ms are kept, then the oldest go. */
LUMONET_API uint8_t LUMONET_VoiceComSendData(int nTalkHandle, const uint8_t* pFrame, int nSize);
/** Ends the talk and frees its handle. */
LUMONET_API int  LUMONET_StopVoiceCom(int nTalkHandle);

/** Reads one setting into a record; see LUMO_CONFIG_. The bytes written, above 0; else LUMONET_ERROR. Time-outs in ms. */
LUMONET_API int  LUMONET_GetDevConfig(int nLoginID, int nNumber, int nChannel, void* pBuffer, int nSize, int* pReturned,
                                      int nTimeoutMs);
/** Writes one. 1; else LUMONET_ERROR. */
LUMONET_API int  LUMONET_SetDevConfig(int nLoginID, int nNumber, int nChannel, const void* pBuffer, int nSize,
                                      int nTimeoutMs);
/** An ability of all channels as JSON text, ended by a zero; an answer that does not fit is a failure. */
LUMONET_API int  LUMONET_GetChannelAbility_Json(int nLoginID, const char* szName, int nChannel, char* pBuffer, int nSize,
                                                int* pReturned, int nTimeoutMs);
/** The same by number, LUMO_ABILITY_... */
LUMONET_API int  LUMONET_GetSystemAbility_Json(int nLoginID, const char* szName, int nNumber, int nChannel, char* pBuffer,
                                               int nSize, int* pReturned, int nTimeoutMs);
/** An ability by its path, with slashes. The device is asked once per login. */
LUMONET_API bool LUMONET_HasAbility(int nLoginID, const char* szPath, int nReserved);
/** A JSON command. szInput may be empty; nInputSize is the room that it may take, or its length.
 *  The answer is ended by a zero; CmdWithOutput's pOutput has room for 65536 bytes. A "Ret" other than 100 is a failure of
 *  the second and third; the first hands any answer over. */
LUMONET_API int  LUMONET_CmdWithResult_Json(int nLoginID, const char* szName, int nNumber, int nChannel, const char* szInput,
                                            int nInputSize, char* pOutput, int nOutputSize, int* pReturned, int nTimeoutMs);
LUMONET_API int  LUMONET_CmdWithOutput_Json(int nLoginID, const char* szName, int nNumber, int nChannel, const char* szInput,
                                            int nInputSize, char* pOutput, int nTimeoutMs);
LUMONET_API int  LUMONET_Cmd_Json(int nLoginID, const char* szName, int nNumber, int nChannel, const char* szInput,
                                  int nInputSize, int nTimeoutMs);

/** Sends a file that a command announced: the transfer's handle. Goes on in the background. */
LUMONET_API int  LUMONET_SendFileDataToDevice(int nLoginID, const char* szPath, LumoSendFileCallback fnEnd, intptr_t nUser);
/** Ends and frees a transfer; the only call that may be made from its own callback. The last three are the callback's. */
LUMONET_API int  LUMONET_CloseSendFile(int nSendHandle, int nReserved, long nError, long nExtra);
/** The upgrade's handle, to be closed when its state is final. nKind: the program says 1 for a file, 0 for an online one. */
LUMONET_API int  LUMONET_StartLocalUpgrade(int nLoginID, const char* szPath, int nKind, LumoUpgradeCallback fnProgress,
                                           intptr_t nUser);
LUMONET_API int  LUMONET_StartOnlineUpgrade(int nLoginID, const char* szVersion, int nKind, LumoUpgradeCallback fnProgress,
                                            intptr_t nUser);
/** LUMO_UPGRADE_...; 3 for a handle that is none. */
LUMONET_API int  LUMONET_GetUpgradeState(int nUpgradeHandle);
/** Ends the upgrade where it is not over. */
LUMONET_API void LUMONET_CloseUpgradeHandle(int nUpgradeHandle);

/** A library query: a, b, c in pQuery, the answer in *pAnswer. Above 0 on success. Nothing in the program asks today. */
LUMONET_API int  LUMONET_QueryValue(int nHandle, const int32_t pQuery[3], int32_t* pAnswer, int nTimeoutMs);

#ifdef __cplusplus
}
#endif
#endif
