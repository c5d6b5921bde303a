#include "platform/Startup.h"

#include <QString>
#include <cstdlib>
#include <windows.h>
// shellapi.h needs windows.h before it
#include <shellapi.h>

namespace platform
{
// Windows gives every program a code page and Qt its only plug-in. A program that aborts or crashes must end, since the
// host waits for that: no box on the screen may hold it until somebody clicks.
void prepareProcess()
{
    _set_error_mode(_OUT_TO_STDERR); // of the C library, for abort
    SetErrorMode(SEM_FAILCRITICALERRORS | SEM_NOGPFAULTERRORBOX);
}

// What main is given stands in the code page, which need not know a folder's name.
std::vector<QByteArray> commandLine(int argc, char* argv[])
{
    int nCount = 0;
    LPWSTR* pWords = CommandLineToArgvW(GetCommandLineW(), &nCount);
    if (!pWords)
        return {argv, argv + argc};
    std::vector<QByteArray> words;
    for (int i = 0; i < nCount; ++i)
        words.push_back(QString::fromWCharArray(pWords[i]).toUtf8());
    LocalFree(pWords);
    return words;
}
} // namespace platform
