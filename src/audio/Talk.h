// Two-way speech with the device: the microphone's blocks go out as frames of G.711 A-law, the device's frames go into
// the talk port. One object is one talk; it exists only while the talk runs, and every failed start leaves nothing
// behind.
//
// Thread: hub thread, but for the two callbacks, which come on threads of the libraries and take no lock.
// Blocking: starts ask the device, for up to 20 s; StopTalk waits for a callback that runs.
// Errors: false, and the reason in the log; the page learns no more.
#pragma once

#include "device/LoginContext.h"

#include <atomic>
#include <cstdint>
#include <memory>

class CTalk
{
public:
    CTalk();
    /// Only after StopTalk, or when no start succeeded.
    ~CTalk();
    CTalk(const CTalk&) = delete;
    CTalk& operator=(const CTalk&) = delete;

    // Before a start.
    /// false changes nothing.
    void SetSampleRate16(bool bOn);
    void SetLoginInfo(const LoginContext& loginInfo);

    /// nChannel 0 to 119, or -1 for all channels that can talk.
    bool TalkChannel(int nChannel);
    bool TalkDevice();
    bool StopTalk();

private:
    bool canTalk(int nChannel);
    bool StartTalkChannel(int nChannel);
    bool StartTalkDevice();
    bool StartTalkPlay(int nPort);
    void stopTalkPlay(int nPort);
    bool startCapture(int nTalkHandle);
    void sendBlock(const uint8_t* pPcm, int nSize);

    static void CaptureCallBack(const uint8_t* pBlock, int nSize, intptr_t nUser);
    static void VoiceCallBack(long lTalkHandle, uint8_t* pData, long nSize, long nDataType, intptr_t nUser);

    std::unique_ptr<uint8_t[]> m_pSendBuffer; // capture thread, then the destructor
    std::atomic<int> m_lTalkHandle{-1};       // atomic: written by the hub, read by the capture thread
    uint8_t m_byAudioParam = 0;               // what the device says of its sound; nothing reads it
    bool m_bTalking = false;                  // nothing reads it: a CTalk that does not talk is deleted
    LoginContext m_loginInfo;
    int m_nSampleRate = 8000; // Hz; not changed once a capture runs
};
