#include "audio/Talk.h"

#include "audio/EncodeALaw.h"
#include "audio/TalkFrame.h"
#include "device/LumoNet.h"
#include "hub/Json.h"
#include "shell/LightWeightLog.h"

#include <cstring>
#include <vector>

namespace
{

constexpr int kFrameRoom = 4096;      // bytes of one frame to the device, header included
constexpr int kBlockSize = 640;       // bytes of PCM a block: 40 ms at 8000 Hz, 20 ms at 16000 Hz
constexpr int kPortBuffer = 2560000;  // bytes
constexpr int kAbilityRoom = 307200;  // bytes
constexpr int kAbilityWaitMs = 20000; // ms
constexpr int kConfigWaitMs = 15000;  // ms
constexpr int kLastChannel = 119;

int32_t int32Of(const uint8_t (&bytes)[4])
{
    return int32_t(uint32_t(bytes[0]) | uint32_t(bytes[1]) << 8 | uint32_t(bytes[2]) << 16 | uint32_t(bytes[3]) << 24);
}

/// What the device's list says of a channel; -1 asks for any channel. A list too short says no.
bool listAllows(const Json::Value& list, int nChannel)
{
    if (nChannel >= 0)
        return list.get(Json::ArrayIndex(nChannel), 0).asInt() != 0;
    for (Json::ArrayIndex i = 0; i < list.size(); ++i)
        if (list[i].asInt() != 0)
            return true;
    return false;
}

/// The list stands under a name that the answer tells itself. Whatever else stands there allows nothing.
bool answerAllows(const QByteArray& answer, int nChannel)
{
    try {
        Json::Value ability;
        if (!fromText(answer, ability))
            return false;
        return listAllows(ability[ability["Name"].asString()], nChannel);
    } catch (const Json::Exception&) {
        return false;
    }
}

} // namespace

CTalk::CTalk()
{
    std::memset(&m_loginInfo, 0, sizeof m_loginInfo);
}

CTalk::~CTalk() = default;

void CTalk::SetSampleRate16(bool bOn)
{
    if (bOn)
        m_nSampleRate = 16000;
}

void CTalk::SetLoginInfo(const LoginContext& loginInfo)
{
    m_loginInfo = loginInfo;
}

bool CTalk::TalkChannel(int nChannel)
{
    if (nChannel < -1 || nChannel > kLastChannel || !canTalk(nChannel) || !StartTalkChannel(nChannel))
        return false;
    m_bTalking = true;
    return true;
}

bool CTalk::canTalk(int nChannel)
{
    std::vector<char> buffer(kAbilityRoom, 0);
    int nReturned = 0;
    if (LUMONET_GetChannelAbility_Json(m_loginInfo.loginId, "ChannelSystemFunction@SupportIPCTalk", -1, buffer.data(),
                                       kAbilityRoom, &nReturned, kAbilityWaitMs) != 1)
        return false;
    const QByteArray answer(buffer.data(), int(qstrnlen(buffer.data(), kAbilityRoom)));
    writeLog("CTalk::TalkChannel", QString::fromUtf8(answer));
    return answerAllows(answer, nChannel);
}

bool CTalk::StartTalkChannel(int nChannel)
{
    static const char* const szTag = "CTalk::StartTalkChannel";
    if (m_loginInfo.loginId <= 0 || nChannel <= -2 || !StartTalkPlay(TALK_PORT))
        return false;
    const int nTalk = LUMONET_StartVoiceCom_NVR_IPC(m_loginInfo.loginId, nChannel, &CTalk::VoiceCallBack,
                                                    reinterpret_cast<intptr_t>(this));
    if (nTalk <= 0) {
        writeLog(szTag, QString("LUMONET_StartVoiceCom_NVR_IPC error=%1").arg(LUMONET_GetLastError()));
        stopTalkPlay(TALK_PORT);
        return false;
    }
    if (startCapture(nTalk))
        return true;
    writeLog(szTag, QString("LUMODEC_StartAudioCapture %1").arg(LUMONET_GetLastError()));
    LUMONET_StopVoiceCom(nTalk);
    stopTalkPlay(TALK_PORT);
    return false;
}

bool CTalk::TalkDevice()
{
    static const char* const szTag = "CTalk::TalkDevice";
    writeLog(szTag, "TalkDevice");
    LumoTalkInfo info;
    std::memset(&info, 0, sizeof info);
    int nReturned = 0;
    if (LUMONET_GetDevConfig(m_loginInfo.loginId, LUMO_CONFIG_TALK, -1, &info, sizeof info, &nReturned, kConfigWaitMs) <
        0) {
        writeLog(szTag, QString("LUMONET_GetDevConfig=%1").arg(LUMONET_GetLastError()));
        return false;
    }
    if (int32Of(info.nTalkRefused) != 0) {
        writeLog(szTag, "could not talk");
        return false;
    }
    m_byAudioParam = info.byAudioParam;
    return StartTalkDevice();
}

bool CTalk::StartTalkDevice()
{
    static const char* const szTag = "CTalk::StartTalkDevice";
    writeLog(szTag, "StartTalkDevice");
    if (m_loginInfo.loginId <= 0 || !StartTalkPlay(TALK_PORT))
        return false;
    const int nTalk =
        LUMONET_StartVoiceCom_MR(m_loginInfo.loginId, &CTalk::VoiceCallBack, reinterpret_cast<intptr_t>(this));
    if (nTalk <= 0) {
        writeLog(szTag, QString("LUMONET_StartVoiceCom_MR failed m_lError = %1").arg(LUMONET_GetLastError()));
        stopTalkPlay(TALK_PORT);
        return false;
    }
    if (startCapture(nTalk)) {
        m_bTalking = true;
        return true;
    }
    writeLog(szTag, QString("LUMODEC_StartAudioCapture failed m_lError = %1").arg(LUMONET_GetLastError()));
    LUMONET_StopVoiceCom(nTalk);
    stopTalkPlay(TALK_PORT);
    return false;
}

/// The handle is in place before the first block can come.
bool CTalk::startCapture(int nTalkHandle)
{
    m_lTalkHandle = nTalkHandle;
    if (LUMODEC_StartAudioCapture(&CTalk::CaptureCallBack, 16, m_nSampleRate, kBlockSize,
                                  reinterpret_cast<intptr_t>(this)))
        return true;
    m_lTalkHandle = -1;
    return false;
}

/// The library tells no number for a port that does not open: the lines say 0.
bool CTalk::StartTalkPlay(int nPort)
{
    static const char* const szTag = "CTalk::StartTalkPlay";
    const uint8_t header = 0;
    if (!LUMODEC_OpenStream(nPort, &header, 1, kPortBuffer)) {
        writeLog(szTag, QString("LUMODEC_OpenStream failed m_lError = %1").arg(0));
        return false;
    }
    if (!LUMODEC_Play(nPort, 0)) {
        writeLog(szTag, QString("LUMODEC_Play failed m_lError = %1").arg(0));
        LUMODEC_CloseStream(nPort);
        return false;
    }
    if (!LUMODEC_PlaySound(nPort)) {
        writeLog(szTag, QString("LUMODEC_PlaySoundShare failed m_lError = %1").arg(0));
        LUMODEC_Stop(nPort);
        LUMODEC_CloseStream(nPort);
        return false;
    }
    return true;
}

void CTalk::stopTalkPlay(int nPort)
{
    LUMODEC_Stop(nPort);
    LUMODEC_StopSound(nPort);
    LUMODEC_CloseStream(nPort);
}

/// Neither callback runs any more when the two stops have returned.
bool CTalk::StopTalk()
{
    if (m_loginInfo.loginId < 1)
        return false;
    LUMODEC_StopAudioCapture(reinterpret_cast<intptr_t>(this));
    LUMONET_StopVoiceCom(m_lTalkHandle);
    m_lTalkHandle = 0;
    stopTalkPlay(TALK_PORT);
    return true;
}

void CTalk::sendBlock(const uint8_t* pPcm, int nSize)
{
    if (!m_pSendBuffer)
        m_pSendBuffer = std::make_unique<uint8_t[]>(kFrameRoom);
    uint8_t* pFrame = m_pSendBuffer.get();
    std::memset(pFrame, 0, kFrameRoom);
    const int nPayload = EncodeALaw(pPcm, nSize, pFrame + kTalkHeaderSize, kFrameRoom - kTalkHeaderSize);
    writeTalkHeader(pFrame, m_nSampleRate, nPayload);
    LUMONET_VoiceComSendData(m_lTalkHandle, pFrame, nPayload + kTalkHeaderSize);
}

/// Decode library's thread.
void CTalk::CaptureCallBack(const uint8_t* pBlock, int nSize, intptr_t nUser)
{
    if (auto* pTalk = reinterpret_cast<CTalk*>(nUser))
        pTalk->sendBlock(pBlock, nSize);
}

/// Network library's thread. The port takes it or drops it, whatever became of the talk.
void CTalk::VoiceCallBack(long, uint8_t* pData, long nSize, long, intptr_t nUser)
{
    if (nUser)
        LUMODEC_InputData(TALK_PORT, pData, int(nSize));
}
