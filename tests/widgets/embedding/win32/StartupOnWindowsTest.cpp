// What the process settles with Windows before there is an application object.
#include "platform/Startup.h"

#include <cstdlib>
#include <gtest/gtest.h>

#include <windows.h>

TEST(StartupOnWindows, NoBoxOnTheScreenHoldsAProcessThatAbortsOrCrashes)
{
    const int nBefore = _set_error_mode(_OUT_TO_MSGBOX);
    const UINT nModeBefore = SetErrorMode(0);
    platform::prepareProcess();
    EXPECT_EQ(_set_error_mode(_REPORT_ERRMODE), _OUT_TO_STDERR);
    const UINT nMode = GetErrorMode();
    EXPECT_TRUE(nMode & SEM_NOGPFAULTERRORBOX);
    EXPECT_TRUE(nMode & SEM_FAILCRITICALERRORS);
    _set_error_mode(nBefore);
    SetErrorMode(nModeBefore);
}
