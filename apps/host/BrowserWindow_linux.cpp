// Linux and X11: the connection's owner from /proc, the windows over XCB (an Xlib error would end the host).
#include "BrowserWindow.h"

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <memory>
#include <optional>
#include <sstream>

#include <xcb/xcb.h>

namespace lumo::host
{

namespace fs = std::filesystem;

namespace
{

constexpr int kMaxParents = 64;         // a chain longer than this is no chain of processes
constexpr int kTreeDepth = 3;           // root, a frame, the client in it
constexpr size_t kMaxWindows = 4096;    // more are not looked at
constexpr uint32_t kMaxNameWords = 256; // of a title, in units of 4 bytes

// ---- The process behind the connection

std::optional<uint16_t> portOf(const std::string& address)
{
    const size_t colon = address.rfind(':');
    if (colon == std::string::npos)
        return std::nullopt;
    return static_cast<uint16_t>(std::strtoul(address.c_str() + colon + 1, nullptr, 16));
}

/// The inode of the socket whose own port is the page's and whose peer's port is ours; empty when not listed.
std::string socketInode(const char* table, const PageConnection& connection)
{
    std::ifstream file(table);
    std::string line;
    while (std::getline(file, line)) {
        std::istringstream fields(line);
        std::string slot, local, remote, state, queues, timer, retransmits, user, timeout, inode;
        if (!(fields >> slot >> local >> remote >> state >> queues >> timer >> retransmits >> user >> timeout >> inode))
            continue;
        if (portOf(local) == connection.peerPort && portOf(remote) == connection.ownPort && inode != "0")
            return inode;
    }
    return {};
}

bool holdsSocket(const fs::path& process, const std::string& link)
{
    std::error_code failed;
    for (fs::directory_iterator entry(process / "fd", failed), end; !failed && entry != end; entry.increment(failed)) {
        std::error_code unreadable;
        if (fs::read_symlink(entry->path(), unreadable) == link)
            return true;
    }
    return false;
}

int64_t socketOwner(const std::string& inode)
{
    const std::string link = "socket:[" + inode + "]";
    std::error_code failed;
    for (fs::directory_iterator entry("/proc", failed), end; !failed && entry != end; entry.increment(failed)) {
        const std::string name = entry->path().filename().string();
        if (name.find_first_not_of("0123456789") == std::string::npos && holdsSocket(entry->path(), link))
            return std::strtoll(name.c_str(), nullptr, 10);
    }
    return 0;
}

int64_t parentOf(int64_t pid)
{
    std::ifstream file("/proc/" + std::to_string(pid) + "/stat");
    std::string text;
    std::getline(file, text);
    // The second field is the program's name in parentheses and may hold anything, so read behind its end.
    const size_t nameEnd = text.rfind(')');
    if (nameEnd == std::string::npos)
        return 0;
    std::istringstream fields(text.substr(nameEnd + 1));
    std::string state;
    int64_t parent = 0;
    fields >> state >> parent;
    return parent;
}

// ---- The windows

struct Disconnect {
    void operator()(xcb_connection_t* c) const { xcb_disconnect(c); }
};

template <class T> struct Free {
    void operator()(T* p) const { std::free(p); }
};

template <class T> using Reply = std::unique_ptr<T, Free<T>>;

class Screen
{
public:
    Screen() : connection_(xcb_connect(nullptr, &number_))
    {
        if (xcb_connection_has_error(connection_.get()))
            return;
        xcb_screen_iterator_t it = xcb_setup_roots_iterator(xcb_get_setup(connection_.get()));
        for (int i = 0; i < number_ && it.rem > 1; ++i)
            xcb_screen_next(&it);
        root_ = it.rem > 0 ? it.data->root : XCB_NONE;
    }

    std::vector<TopLevelWindow> topLevels()
    {
        if (root_ == XCB_NONE)
            return {};
        std::vector<uint32_t> ids = words(root_, atom("_NET_CLIENT_LIST"), kMaxWindows);
        if (ids.empty())
            collectClients(root_, kTreeDepth, ids);

        std::vector<TopLevelWindow> windows;
        for (const uint32_t id : ids)
            windows.push_back({id, pidOf(id), titleOf(id), false});
        markActive(windows);
        return windows;
    }

private:
    xcb_atom_t atom(const std::string& name)
    {
        const auto cookie = xcb_intern_atom(connection_.get(), 1, static_cast<uint16_t>(name.size()), name.data());
        const Reply<xcb_intern_atom_reply_t> reply(xcb_intern_atom_reply(connection_.get(), cookie, nullptr));
        return reply ? reply->atom : static_cast<xcb_atom_t>(XCB_ATOM_NONE);
    }

    Reply<xcb_get_property_reply_t> property(uint32_t window, xcb_atom_t name, uint32_t maxWords)
    {
        if (name == XCB_ATOM_NONE)
            return nullptr;
        const auto cookie =
            xcb_get_property(connection_.get(), 0, window, name, XCB_GET_PROPERTY_TYPE_ANY, 0, maxWords);
        return Reply<xcb_get_property_reply_t>(xcb_get_property_reply(connection_.get(), cookie, nullptr));
    }

    std::vector<uint32_t> words(uint32_t window, xcb_atom_t name, uint32_t maxWords)
    {
        const auto reply = property(window, name, maxWords);
        if (!reply || reply->format != 32)
            return {};
        const auto* first = static_cast<const uint32_t*>(xcb_get_property_value(reply.get()));
        return {first, first + xcb_get_property_value_length(reply.get()) / 4};
    }

    std::string text(uint32_t window, xcb_atom_t name)
    {
        const auto reply = property(window, name, kMaxNameWords);
        if (!reply || reply->format != 8)
            return {};
        return {static_cast<const char*>(xcb_get_property_value(reply.get())),
                static_cast<size_t>(xcb_get_property_value_length(reply.get()))};
    }

    int64_t pidOf(uint32_t window)
    {
        const std::vector<uint32_t> pid = words(window, atom("_NET_WM_PID"), 1);
        return pid.empty() ? 0 : pid.front();
    }

    std::string titleOf(uint32_t window)
    {
        const std::string title = text(window, atom("_NET_WM_NAME"));
        return title.empty() ? text(window, XCB_ATOM_WM_NAME) : title;
    }

    Reply<xcb_query_tree_reply_t> tree(uint32_t window)
    {
        return Reply<xcb_query_tree_reply_t>(
            xcb_query_tree_reply(connection_.get(), xcb_query_tree(connection_.get(), window), nullptr));
    }

    /// Without a window manager: what lies below the root and tells its process.
    void collectClients(uint32_t window, int depth, std::vector<uint32_t>& found)
    {
        const auto children = tree(window);
        if (!children)
            return;
        const xcb_window_t* first = xcb_query_tree_children(children.get());
        const int count = xcb_query_tree_children_length(children.get());
        for (int i = 0; i < count && found.size() < kMaxWindows; ++i) {
            if (pidOf(first[i]) != 0)
                found.push_back(first[i]);
            else if (depth > 1)
                collectClients(first[i], depth - 1, found);
        }
    }

    /// The window manager's word, or else the window that holds the keyboard.
    void markActive(std::vector<TopLevelWindow>& windows)
    {
        const std::vector<uint32_t> told = words(root_, atom("_NET_ACTIVE_WINDOW"), 1);
        uint32_t window = told.empty() ? focusWindow() : told.front();
        for (int depth = 0; window > 1 && window != root_ && depth < 32; ++depth) {
            const auto it = std::find_if(windows.begin(), windows.end(),
                                         [window](const TopLevelWindow& w) { return w.handle == window; });
            if (it != windows.end()) {
                it->active = true;
                return;
            }
            const auto above = tree(window);
            window = above ? above->parent : XCB_NONE;
        }
    }

    uint32_t focusWindow()
    {
        const Reply<xcb_get_input_focus_reply_t> reply(
            xcb_get_input_focus_reply(connection_.get(), xcb_get_input_focus(connection_.get()), nullptr));
        return reply ? reply->focus : XCB_NONE;
    }

    int number_ = 0;
    std::unique_ptr<xcb_connection_t, Disconnect> connection_;
    xcb_window_t root_ = XCB_NONE;
};

} // namespace

std::vector<int64_t> connectionProcesses(const PageConnection& connection)
{
    std::string inode = socketInode("/proc/net/tcp", connection);
    if (inode.empty())
        inode = socketInode("/proc/net/tcp6", connection);
    std::vector<int64_t> pids;
    int64_t pid = inode.empty() ? 0 : socketOwner(inode);
    for (int i = 0; pid > 1 && i < kMaxParents; ++i) {
        pids.push_back(pid);
        pid = parentOf(pid);
    }
    return pids;
}

std::vector<TopLevelWindow> topLevelWindows()
{
    return Screen().topLevels();
}

} // namespace lumo::host
