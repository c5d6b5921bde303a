// What the process settles with its system before anything else.
#pragma once

#include <QByteArray>
#include <vector>

namespace platform
{
/// First call of main, before any thread and before the application object. Gives the process a UTF-8 locale when
/// the environment names none, so that local 8-bit text keeps its characters; on X11 chooses Qt's xcb plug-in when
/// the user has not chosen another, since windows of other programs are reached through it. On Windows a crash ends the
/// process without a box to click away.
void prepareProcess();

/// What main was given, in UTF-8, the program's own name first.
std::vector<QByteArray> commandLine(int argc, char* argv[]);
} // namespace platform
