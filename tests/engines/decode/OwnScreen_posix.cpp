// Gives this test process an X server to itself: the first of LUMO_SCREENS (names parted by blanks, else DISPLAY alone)
// that no other test process holds, for as long as it lives. The first one of several is not among them: it is where
// all other tests have their windows. Tests read pixels back, and all their windows stand in the corner: two processes
// on one screen would see each other's.
#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <sstream>
#include <string>
#include <vector>

namespace
{

/// Held until the process ends; -1 when another process has it.
int lockOf(const std::string& screen, bool wait)
{
    std::string name = "lumo-screen" + screen + ".lock";
    for (char& c : name)
        c = c == ':' || c == '/' ? '-' : c;
    const int file =
        ::open((std::filesystem::temp_directory_path() / name).c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0666);
    if (file < 0 || ::flock(file, wait ? LOCK_EX : LOCK_EX | LOCK_NB) == 0)
        return file;
    ::close(file);
    return -1;
}

std::string freeScreen(const std::vector<std::string>& screens)
{
    for (const std::string& screen : screens) {
        if (lockOf(screen, false) >= 0)
            return screen;
    }
    lockOf(screens.front(), true);
    return screens.front();
}

[[maybe_unused]] const bool g_chosen = [] {
    const char* own = std::getenv("DISPLAY");
    const char* given = std::getenv("LUMO_SCREENS");
    std::istringstream names(given ? given : own ? own : "");
    std::vector<std::string> screens;
    for (std::string name; names >> name;)
        screens.push_back(name);
    if (screens.size() > 1)
        screens.erase(screens.begin());
    if (!screens.empty())
        ::setenv("DISPLAY", freeScreen(screens).c_str(), 1);
    return true;
}();

} // namespace
