#include "BrowserWindow.h"

#include <algorithm>
#include <cinttypes>
#include <cstdio>

namespace lumo::host
{

namespace
{

std::vector<TopLevelWindow> windowsOf(int64_t pid, const std::vector<TopLevelWindow>& windows)
{
    std::vector<TopLevelWindow> own;
    std::copy_if(windows.begin(), windows.end(), std::back_inserter(own),
                 [pid](const TopLevelWindow& window) { return window.pid == pid; });
    return own;
}

} // namespace

WindowChoice chooseWindow(const std::vector<int64_t>& pids, const std::vector<TopLevelWindow>& windows,
                          std::string_view title)
{
    if (!title.empty())
        for (const int64_t pid : pids)
            for (const TopLevelWindow& window : windowsOf(pid, windows))
                if (window.title.find(title) != std::string::npos)
                    return {window.handle, true};

    for (const int64_t pid : pids) {
        const std::vector<TopLevelWindow> own = windowsOf(pid, windows);
        if (own.empty())
            continue;
        if (own.size() == 1)
            return {own.front().handle, true};
        const auto active = std::find_if(own.begin(), own.end(), [](const TopLevelWindow& w) { return w.active; });
        return {active != own.end() ? active->handle : 0, title.empty()};
    }
    return {};
}

std::string windowText(uint64_t handle)
{
    if (handle == 0)
        return {};
    char text[17];
    std::snprintf(text, sizeof text, "%" PRIx64, handle);
    return text;
}

WindowChoice findBrowserWindow(const PageConnection& connection, std::string_view title)
{
    const std::vector<int64_t> pids = connectionProcesses(connection);
    if (pids.empty())
        return {};
    return chooseWindow(pids, topLevelWindows(), title);
}

} // namespace lumo::host
