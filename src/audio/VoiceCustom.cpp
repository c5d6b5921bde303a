#include "audio/VoiceCustom.h"

#include "audio/EncodeALaw.h"
#include "audio/TalkFrame.h"
#include "hub/Json.h"
#include "platform/Paths.h"
#include "shell/LightWeightLog.h"

#include <QFile>
#include <QThread>

#include <thread>

namespace
{

enum EState { kIdle = 0, kRecording = 1, kTestPlay = 2 };

constexpr int kFileLimit = 40960;    // bytes; what the device keeps
constexpr int kBlockSize = 320;      // bytes of PCM a block
constexpr int kCodeRoom = 2048;      // bytes of A-law a block
constexpr int kPortBuffer = 5120000; // bytes
constexpr int kLargestChunk = 320;   // bytes

// Of A-law: what TestChunkMs of m_nSampleRate are. Atomic: written by the hub, read by the test thread.
std::atomic<int> TestChunkBytes{160};
constexpr int TestChunkMs = 20;

intptr_t userOf(VoiceCustom* pVoice)
{
    return reinterpret_cast<intptr_t>(pVoice);
}

} // namespace

VoiceCustom* VoiceCustom::instance()
{
    static VoiceCustom* const pInstance = new VoiceCustom;
    return pInstance;
}

VoiceCustom::VoiceCustom() : m_strFile(platform::applicationDir() + "/customAlarmVoice.pcm")
{
    connect(this, &VoiceCustom::returnToMainThread, this, [](std::function<void(void)> closure) { closure(); });
}

void VoiceCustom::SetSampleRate16(bool bOn)
{
    if (!bOn)
        return;
    TestChunkBytes = 320;
    m_nSampleRate = 16000;
}

/// Recording is noted before the first block can come, which may already end it.
int VoiceCustom::StartRecordVoice()
{
    if (m_nState != kIdle)
        return -3;
    QFile file(m_strFile);
    file.open(QIODevice::WriteOnly);
    file.close();
    m_nState = kRecording;
    if (LUMODEC_StartAudioCapture(&VoiceCustom::CaptureCallBack, 16, m_nSampleRate, kBlockSize, userOf(this)))
        return 0;
    m_nState = kIdle;
    return -2;
}

int VoiceCustom::StopRecordVoice()
{
    if (m_nState != kRecording)
        return 0;
    if (!LUMODEC_StopAudioCapture(userOf(this))) {
        writeLog("VoiceCustom::StopRecordVoice", QString("Sound Play Error :%1").arg(LUMODEC_GetLastError(0)));
        return -1;
    }
    m_nState = kIdle;
    Json::Value event = eventOf(6, 1);
    event["Ret"] = kRetSuccess;
    emit VoiceRecordTime(toText(event));
    return 0;
}

/// Decode library's thread.
void VoiceCustom::CaptureCallBack(const uint8_t* pBlock, int nSize, intptr_t nUser)
{
    if (auto* pVoice = reinterpret_cast<VoiceCustom*>(nUser))
        pVoice->recordBlock(pBlock, nSize);
}

/// The file is opened and closed for every block, so that its size is true and a stop at any moment leaves it whole.
void VoiceCustom::recordBlock(const uint8_t* pPcm, int nSize)
{
    QFile file(m_strFile);
    // Unbuffered: a disk that is full is a failed write, not a failed close.
    file.open(QIODevice::ReadWrite | QIODevice::Append | QIODevice::Unbuffered);
    uint8_t codes[kCodeRoom] = {};
    const int nCodes = EncodeALaw(pPcm, nSize, codes, kCodeRoom);
    if (!file.isOpen())
        return;
    Json::Value event;
    if (file.write(reinterpret_cast<const char*>(codes), nCodes) != nCodes) {
        endRecord();
        event = eventOf(6, 1);
        event["Ret"] = kRetFailure;
    } else {
        // The bytes just written count twice: the page's countdown is made for it.
        const qint64 nTotal = file.size() + nCodes;
        const int nPercent = int(nTotal * 100 / kFileLimit);
        event = eventOf(6, 0);
        event["Ret"] = kRetSuccess;
        event["Pos"] = (100 - nPercent) / 20;
        if (nTotal > kFileLimit) {
            endRecord();
            event["SubEvent"] = 1;
        }
    }
    file.close();
    emit VoiceRecordTime(toText(event));
}

/// Capture thread.
void VoiceCustom::endRecord()
{
    emit returnToMainThread([this] { LUMODEC_StopAudioCapture(userOf(this)); });
    m_nState = kIdle;
}

int VoiceCustom::StartTest()
{
    if (m_nState != kIdle)
        return -1;
    QFile file(m_strFile);
    if (!file.open(QIODevice::ReadWrite))
        return -2;
    const qint64 nSize = file.size();
    file.close();
    if (nSize <= 0)
        return -3;
    if (!openPort())
        return -4;
    m_bStopTest = 0;
    m_nState = kTestPlay;
    std::thread(&VoiceCustom::playFile, this).detach();
    return 0;
}

bool VoiceCustom::openPort()
{
    const uint8_t header = 0;
    if (!LUMODEC_OpenStream(TALK_PORT, &header, 1, kPortBuffer))
        return false;
    if (!LUMODEC_SetStreamMode(TALK_PORT, LUMODEC_STREAM_LIVE) || !LUMODEC_Play(TALK_PORT, 0)) {
        LUMODEC_CloseStream(TALK_PORT);
        return false;
    }
    if (!LUMODEC_PlaySound(TALK_PORT)) {
        LUMODEC_Stop(TALK_PORT);
        LUMODEC_CloseStream(TALK_PORT);
        return false;
    }
    return true;
}

void VoiceCustom::closePort()
{
    LUMODEC_StopSound(TALK_PORT);
    LUMODEC_Stop(TALK_PORT);
    LUMODEC_CloseStream(TALK_PORT);
}

/// Test thread.
void VoiceCustom::playFile()
{
    static const char* const szTag = "VoiceCustom::StartTest";
    writeLog(szTag, "TestRecord begin");
    feedFile();
    writeLog(szTag, "TestRecord end");
    Json::Value event = eventOf(6, 3);
    event["Ret"] = kRetSuccess;
    emit VoiceRecordTime(toText(event));
    m_nState = kIdle;
}

/// Test thread. The header is made once: a short last chunk still declares a full one.
void VoiceCustom::feedFile()
{
    QFile file(m_strFile);
    if (file.open(QIODevice::ReadOnly)) {
        uint8_t frame[kTalkHeaderSize + kLargestChunk];
        writeTalkHeader(frame, m_nSampleRate, TestChunkBytes);
        while (!m_bStopTest) {
            QThread::msleep(TestChunkMs);
            const qint64 nRead = file.read(reinterpret_cast<char*>(frame + kTalkHeaderSize), TestChunkBytes);
            if (nRead <= 0)
                break;
            LUMODEC_InputData(TALK_PORT, frame, kTalkHeaderSize + int(nRead));
        }
    }
    closePort();
}

int VoiceCustom::StopTest()
{
    m_bStopTest = 1;
    return 0;
}
