// The decode library as plain functions.
#include "LibraryStub.h"

#include "decode/LumoDecode.h"

using stub::quoted;
using stub::record;

extern "C" {

int LUMODEC_OpenFile(int p, const char* f)
{
    return record("OpenFile", p, f);
}
int LUMODEC_CloseFile(int p)
{
    return record("CloseFile", p);
}
int LUMODEC_Play(int p, LumoWindow w)
{
    return record("Play", p, w);
}
int LUMODEC_Stop(int p)
{
    return record("Stop", p);
}
int LUMODEC_Pause(int p, int b)
{
    return record("Pause", p, b);
}
int LUMODEC_Fast(int p)
{
    return record("Fast", p);
}
int LUMODEC_Slow(int p)
{
    return record("Slow", p);
}
int LUMODEC_OneByOne(int p)
{
    return record("OneByOne", p);
}
int LUMODEC_OneByOneBack(int p)
{
    return record("OneByOneBack", p);
}
int LUMODEC_SetPlayPos(int p, float f)
{
    return record("SetPlayPos", p, f);
}
float LUMODEC_GetPlayPos(int p)
{
    return float(record("GetPlayPos", p));
}
int LUMODEC_SetFileEndCallBack(int p, LumoFileEndCallback, intptr_t u)
{
    return record("SetFileEndCallBack", p, u);
}
int LUMODEC_OpenStream(int p, const uint8_t*, int n, int s)
{
    return record("OpenStream", p, n, s);
}
int LUMODEC_InputData(int p, const uint8_t*, int n)
{
    return record("InputData", p, n);
}
int LUMODEC_CloseStream(int p)
{
    return record("CloseStream", p);
}
int LUMODEC_SetStreamMode(int p, int m)
{
    return record("SetStreamMode", p, m);
}
int LUMODEC_PlaySound(int p)
{
    return record("PlaySound", p);
}
int LUMODEC_StopSound(int p)
{
    return record("StopSound", p);
}
int LUMODEC_GetSourceBufferRemain(int p)
{
    return record("GetSourceBufferRemain", p);
}
int LUMODEC_RefreshPlay(int p)
{
    return record("RefreshPlay", p);
}
int LUMODEC_SetPreviewOption(int p, int o)
{
    return record("SetPreviewOption", p, o);
}
int LUMODEC_SetDisplayRegion(int p, int n, const LumoRect* r, LumoWindow w, int b)
{
    if (!r)
        return record("SetDisplayRegion", p, n, "null", w, b);
    return record("SetDisplayRegion", p, n, r->left, r->top, r->right, r->bottom, w, b);
}
int LUMODEC_RegisterDrawCallback(int p, LumoDrawCallback fn, int32_t user)
{
    // Called at once as the library would after a frame, so that a test sees where the word leads.
    fn(p, reinterpret_cast<void*>(1), user);
    return record("RegisterDrawCallback", p);
}
int LUMODEC_GetBufferValue(int p, int k)
{
    return record("GetBufferValue", p, k);
}
int LUMODEC_SetColor(int p, int r, int b, int c, int s, int h)
{
    return record("SetColor", p, r, b, c, s, h);
}
int LUMODEC_GetColor(int p, int r, int32_t* b, int32_t* c, int32_t* s, int32_t* h)
{
    const int* color = LibraryStub::get().color;
    *b = color[0];
    *c = color[1];
    *s = color[2];
    *h = color[3];
    return record("GetColor", p, r);
}
int LUMODEC_CatchPicture(int p, const char* f, int n)
{
    return record("CatchPicture", p, f, n);
}
int LUMODEC_StartDataRecord(int p, const char* f, int t)
{
    return record("StartDataRecord", p, quoted(f), t);
}
int LUMODEC_StopDataRecord(int p)
{
    return record("StopDataRecord", p);
}
int LUMODEC_GetCurrentFrameTime(int p)
{
    return record("GetCurrentFrameTime", p);
}
int LUMODEC_ConvertFile(const char* s, const char* d, int t, LumoConvertCallback, intptr_t)
{
    return record("ConvertFile", s, d, t);
}
int LUMODEC_SetOriginalMode(int p, int r, const int32_t* f)
{
    return record("SetOriginalMode", p, r, *f);
}

} // extern "C"
