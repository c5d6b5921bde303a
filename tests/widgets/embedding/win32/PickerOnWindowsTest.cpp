// The picker's dialog, which is the system's own, over the browser that it is asked from.
#include "embedding/win32/TestBrowser.h"

#include <QProcess>
#include <QTest>
#include <gtest/gtest.h>

#include <windows.h>

namespace
{

/// The visible dialog of a process; null while there is none.
HWND dialogOf(qint64 nProcess)
{
    struct SSearch {
        DWORD nProcess;
        HWND hFound;
    } search{static_cast<DWORD>(nProcess), nullptr};
    const auto look = [](HWND w, LPARAM l) -> BOOL {
        auto& search = *reinterpret_cast<SSearch*>(l);
        DWORD nProcess = 0;
        GetWindowThreadProcessId(w, &nProcess);
        wchar_t szClass[16] = {};
        GetClassNameW(w, szClass, 16);
        if (nProcess == search.nProcess && IsWindowVisible(w) && QString::fromWCharArray(szClass) == "#32770")
            search.hFound = w;
        return !search.hFound;
    };
    EnumWindows(look, reinterpret_cast<LPARAM>(&search));
    return search.hFound;
}

/// Of two windows that cover the point.
HWND seenAt(POINT pt)
{
    return GetAncestor(WindowFromPoint(pt), GA_ROOT);
}

} // namespace

TEST(PickerOnWindows, ItsDialogStandsAboveTheBrowserThatIsInFront)
{
    TestBrowser browser;
    const auto main = browser.openChrome("main", QRect(0, 0, 1800, 1100), "Page - Browser");
    browser.tell("front main");
    QProcess picker;
    picker.start(PICKER, QStringList("5"));
    ASSERT_TRUE(picker.waitForStarted(30000)) << picker.errorString().toStdString();
    HWND hDialog = nullptr;
    EXPECT_TRUE(QTest::qWaitFor([&] { return (hDialog = dialogOf(picker.processId())) != nullptr; }, 30000));
    const auto isSeen = [&] {
        RECT rc = {};
        GetWindowRect(hDialog, &rc);
        return seenAt({(rc.left + rc.right) / 2, (rc.top + rc.bottom) / 2}) == hDialog;
    };
    EXPECT_TRUE(QTest::qWaitFor(isSeen, 20000));
    browser.tell("front main");
    EXPECT_EQ(GetForegroundWindow(), reinterpret_cast<HWND>(main.hTop));
    EXPECT_TRUE(isSeen()) << "the browser covers it";
    PostMessageW(hDialog, WM_COMMAND, IDCANCEL, 0);
    EXPECT_TRUE(QTest::qWaitFor([&] { return picker.state() == QProcess::NotRunning; }, 20000));
    EXPECT_EQ(picker.exitCode(), 0);
    EXPECT_TRUE(picker.readAllStandardOutput().isEmpty());
    picker.kill();
}
