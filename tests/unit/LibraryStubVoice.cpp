// Speech of both libraries as plain functions.
#include "LibraryStub.h"

#include "decode/LumoDecode.h"
#include "device/LumoNet.h"

using stub::record;

extern "C" {

int LUMODEC_StartAudioCapture(LumoCaptureCallback, int bits, int rate, int size, intptr_t)
{
    return record("StartAudioCapture", bits, rate, size);
}
int LUMODEC_StopAudioCapture(intptr_t)
{
    return record("StopAudioCapture");
}
int LUMODEC_GetLastError(int p)
{
    return record("DecodeLastError", p);
}

int LUMONET_StartVoiceCom_MR(int l, LumoVoiceCallback, intptr_t)
{
    return record("StartVoiceCom_MR", l);
}
int LUMONET_StartVoiceCom_NVR_IPC(int l, int c, LumoVoiceCallback, intptr_t)
{
    return record("StartVoiceCom_NVR_IPC", l, c);
}
uint8_t LUMONET_VoiceComSendData(int h, const uint8_t*, int n)
{
    return uint8_t(record("VoiceComSendData", h, n));
}
int LUMONET_StopVoiceCom(int h)
{
    return record("StopVoiceCom", h);
}
int LUMONET_CloseSendFile(int h, int r, long e, long x)
{
    return record("CloseSendFile", h, r, e, x);
}

} // extern "C"
