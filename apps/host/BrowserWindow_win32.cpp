// Windows: the connection's owner from the IP helper library, the windows from USER32.
#include "BrowserWindow.h"

#include <map>

#include <winsock2.h>
#include <ws2tcpip.h>

#include <windows.h>

#include <iphlpapi.h>
#include <tlhelp32.h>

namespace lumo::host
{

namespace
{

constexpr int kMaxParents = 64;

/// The owner of the row with these ports; 0 when there is none. Table and Row are the IPv4 or the IPv6 pair.
template <class Table> int64_t ownerIn(ULONG family, const PageConnection& connection)
{
    DWORD size = 0;
    GetExtendedTcpTable(nullptr, &size, FALSE, family, TCP_TABLE_OWNER_PID_CONNECTIONS, 0);
    std::vector<char> bytes(size + 4096); // connections may come up in between
    size = static_cast<DWORD>(bytes.size());
    if (GetExtendedTcpTable(bytes.data(), &size, FALSE, family, TCP_TABLE_OWNER_PID_CONNECTIONS, 0) != NO_ERROR)
        return 0;
    const auto* table = reinterpret_cast<const Table*>(bytes.data());
    for (DWORD i = 0; i < table->dwNumEntries; ++i) {
        const auto& row = table->table[i];
        if (ntohs(static_cast<u_short>(row.dwLocalPort)) == connection.peerPort &&
            ntohs(static_cast<u_short>(row.dwRemotePort)) == connection.ownPort)
            return row.dwOwningPid;
    }
    return 0;
}

std::map<int64_t, int64_t> parentsOfAll()
{
    std::map<int64_t, int64_t> parents;
    const HANDLE snapshot = CreateToolhelp32Snapshot(TH32CS_SNAPPROCESS, 0);
    if (snapshot == INVALID_HANDLE_VALUE)
        return parents;
    PROCESSENTRY32W entry = {};
    entry.dwSize = sizeof entry;
    for (BOOL more = Process32FirstW(snapshot, &entry); more; more = Process32NextW(snapshot, &entry))
        parents[entry.th32ProcessID] = entry.th32ParentProcessID;
    CloseHandle(snapshot);
    return parents;
}

std::string utf8(const std::wstring& text)
{
    const int size =
        WideCharToMultiByte(CP_UTF8, 0, text.data(), static_cast<int>(text.size()), nullptr, 0, nullptr, nullptr);
    std::string out(static_cast<size_t>(size), '\0');
    WideCharToMultiByte(CP_UTF8, 0, text.data(), static_cast<int>(text.size()), out.data(), size, nullptr, nullptr);
    return out;
}

BOOL CALLBACK addWindow(HWND window, LPARAM target)
{
    if (!IsWindowVisible(window))
        return TRUE;
    DWORD pid = 0;
    GetWindowThreadProcessId(window, &pid);
    wchar_t title[1024];
    const int length = GetWindowTextW(window, title, 1024);
    if (length > 0) // a browser's helper windows bear no title
        reinterpret_cast<std::vector<TopLevelWindow>*>(target)->push_back(
            {reinterpret_cast<uintptr_t>(window), pid, utf8(std::wstring(title, static_cast<size_t>(length))),
             window == GetForegroundWindow()});
    return TRUE;
}

} // namespace

std::vector<int64_t> connectionProcesses(const PageConnection& connection)
{
    int64_t pid = ownerIn<MIB_TCPTABLE_OWNER_PID>(AF_INET, connection);
    if (pid == 0)
        pid = ownerIn<MIB_TCP6TABLE_OWNER_PID>(AF_INET6, connection);
    const std::map<int64_t, int64_t> parents = parentsOfAll();
    std::vector<int64_t> pids;
    for (int i = 0; pid > 4 && i < kMaxParents; ++i) {
        pids.push_back(pid);
        const auto parent = parents.find(pid);
        pid = parent == parents.end() ? 0 : parent->second;
    }
    return pids;
}

std::vector<TopLevelWindow> topLevelWindows()
{
    std::vector<TopLevelWindow> windows;
    EnumWindows(addWindow, reinterpret_cast<LPARAM>(&windows));
    return windows;
}

} // namespace lumo::host
