// Windows ends all threads of a process before its libraries hear of the end. What waits for them then, as a condition
// variable does for one that slept on it, waits for ever.
#include "Calls.h"

#include <windows.h>

extern "C" BOOL WINAPI DllMain(HINSTANCE, DWORD nReason, LPVOID pProcessEnds)
{
    if (nReason == DLL_PROCESS_DETACH && pProcessEnds)
        lumo::net::abandonEngine();
    return TRUE;
}
