// Sound in: the microphone, one capture in the process, in blocks of exactly the asked size.
//
// Thread: any for both calls; they are serialised, and refused on the capture's own thread, which runs the callback.
// Errors: LUMODEC_ERR_NONE, or why not.
#pragma once

#include "decode/LumoDecode.h"

namespace lumo
{

struct CaptureRequest {
    LumoCaptureCallback call = nullptr;
    int bits = 0;       // 16 only
    int sampleRate = 0; // Hz: 8000 or 16000
    int blockSize = 0;  // bytes: even, 2 to 65534
    intptr_t user = 0;
};

int startCapture(const CaptureRequest& request);
/// Of the capture that was started with this user. When it returns, the callback does not run and will not run again.
int stopCapture(intptr_t user);

} // namespace lumo
