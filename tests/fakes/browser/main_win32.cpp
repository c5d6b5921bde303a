// A browser for tests: real windows of the classes that browsers have, without anything in them. Told line by line by
// its standard input, and answers each line by one on its standard output when it is done.
//
//   open NAME chrome|explorer X,Y WxH TITLE
//                                a top-level window; answers "NAME TOP RENDER TOOLBAR", handles in hexadecimal
//   title NAME TITLE             as another tab's or another page's title
//   tab NAME on|off              shows or hides the page's window, as a change of the tab does
//   move NAME X,Y                the whole window, frame included; so the next
//   resize NAME WxH
//   minimise NAME, restore NAME
//   front NAME                   makes it the foreground window
//   tear NAME OTHER              the page's window of NAME goes into the window OTHER
//   leave NAME OTHER             the same, and NAME closes with it
//   close NAME
//   connect PORT TITLE           opens a page at the host that listens there, TITLE as in an address; answers when it
//                                is taken
//   quit
//
// Thread: one thread waits for lines; windows are made and changed on the main thread.
#include "../Socket.h"

#include <cstdio>
#include <cstdlib>
#include <iostream>
#include <map>
#include <sstream>
#include <string>
#include <thread>

#include <windows.h>

namespace
{

constexpr UINT kLine = WM_APP + 1; // lParam: std::string*, owned by the receiver
constexpr int kToolbarHeight = 80; // of the bar above the page

struct Browser {
    HWND top = nullptr;
    HWND toolbar = nullptr;
    HWND render = nullptr;
};

std::map<std::string, Browser> g_browsers;
HWND g_control = nullptr;

std::wstring wide(const std::string& text)
{
    std::wstring out(text.size(), L'\0');
    out.resize(size_t(
        MultiByteToWideChar(CP_UTF8, 0, text.data(), int(text.size()), out.data(), static_cast<int>(out.size()))));
    return out;
}

std::string hex(HWND window)
{
    char text[32];
    std::snprintf(text, sizeof text, "%llx", static_cast<unsigned long long>(reinterpret_cast<uintptr_t>(window)));
    return text;
}

HWND child(HWND parent, const wchar_t* className, const wchar_t* title, int y, int width, int height)
{
    return CreateWindowExW(0, className, title, WS_CHILD | WS_VISIBLE | WS_CLIPSIBLINGS | WS_CLIPCHILDREN, 0, y, width,
                           height, parent, nullptr, GetModuleHandleW(nullptr), nullptr);
}

/// The page fills what the bar leaves, also after a change of size.
void layOut(const Browser& browser, HWND top)
{
    RECT area = {};
    GetClientRect(top, &area);
    if (browser.toolbar && GetParent(browser.toolbar) == top)
        MoveWindow(browser.toolbar, 0, 0, area.right, kToolbarHeight, TRUE);
    if (browser.render && GetParent(browser.render) == top)
        MoveWindow(browser.render, 0, kToolbarHeight, area.right, area.bottom - kToolbarHeight, TRUE);
}

std::string open(std::istringstream& words, const std::string& name)
{
    std::string kind, title;
    int x = 0, y = 0, width = 0, height = 0;
    char mark;
    words >> kind >> x >> mark >> y >> width >> mark >> height >> std::ws;
    std::getline(words, title);
    const bool explorer = kind == "explorer";
    Browser browser;
    browser.top = CreateWindowExW(0, explorer ? L"IEFrame" : L"Chrome_WidgetWin_1", wide(title).c_str(),
                                  WS_OVERLAPPEDWINDOW | WS_CLIPCHILDREN, x, y, width, height, nullptr, nullptr,
                                  GetModuleHandleW(nullptr), nullptr);
    RECT area = {};
    GetClientRect(browser.top, &area);
    const int pageHeight = area.bottom - kToolbarHeight;
    browser.toolbar = child(browser.top, L"BrowserToolbar", L"Address", 0, area.right, kToolbarHeight);
    child(browser.toolbar, L"Edit", L"http://camera/", 10, area.right / 2, 24);
    HWND pane = browser.top;
    int pageTop = kToolbarHeight;
    if (explorer) {
        pane = child(browser.top, L"Frame Tab", L"", kToolbarHeight, area.right, pageHeight);
        pane = child(pane, L"Shell DocObject View", L"", 0, area.right, pageHeight);
        pageTop = 0;
    } else {
        child(browser.top, L"Intermediate D3D Window", L"", kToolbarHeight, area.right, pageHeight);
    }
    browser.render = child(pane, explorer ? L"Internet Explorer_Server" : L"Chrome_RenderWidgetHostHWND",
                           L"Chrome Legacy Window", pageTop, area.right, pageHeight);
    SetWindowPos(browser.render, HWND_TOP, 0, 0, 0, 0, SWP_NOMOVE | SWP_NOSIZE | SWP_NOACTIVATE);
    g_browsers[name] = browser;
    ShowWindow(browser.top, SW_SHOWNORMAL);
    UpdateWindow(browser.top);
    return name + " " + hex(browser.top) + " " + hex(browser.render) + " " + hex(browser.toolbar);
}

void tear(Browser& from, Browser& to)
{
    SetParent(from.render, to.top);
    DestroyWindow(to.render); // the empty page it had until then
    to.render = from.render;
    from.render = nullptr;
    layOut(to, to.top);
}

std::string change(const std::string& verb, Browser& browser, std::istringstream& words)
{
    std::string rest;
    std::getline(words >> std::ws, rest);
    int a = 0, b = 0;
    std::sscanf(rest.c_str(), "%d%*c%d", &a, &b);
    if (verb == "title")
        SetWindowTextW(browser.top, wide(rest).c_str());
    else if (verb == "tab")
        ShowWindow(browser.render, rest == "on" ? SW_SHOWNA : SW_HIDE);
    else if (verb == "move")
        SetWindowPos(browser.top, nullptr, a, b, 0, 0, SWP_NOSIZE | SWP_NOZORDER | SWP_NOACTIVATE);
    else if (verb == "resize")
        SetWindowPos(browser.top, nullptr, 0, 0, a, b, SWP_NOMOVE | SWP_NOZORDER | SWP_NOACTIVATE);
    else if (verb == "minimise")
        ShowWindow(browser.top, SW_MINIMIZE);
    else if (verb == "restore")
        ShowWindow(browser.top, SW_RESTORE);
    else if (verb == "front")
        SetForegroundWindow(browser.top);
    else if (verb == "close")
        DestroyWindow(browser.top);
    else if ((verb == "tear" || verb == "leave") && g_browsers.count(rest)) {
        tear(browser, g_browsers[rest]);
        if (verb == "leave")
            DestroyWindow(browser.top);
    } else
        return "? " + verb;
    return "done " + verb;
}

/// A page's web socket, up to the host's answer. It stays open, and what comes then is not read.
std::string connectPage(const std::string& port, std::istringstream& words)
{
    std::string title;
    words >> title;
    const fakes::SocketHandle page = fakes::connectLoopback(static_cast<uint16_t>(std::atoi(port.c_str())));
    if (page == fakes::kNoSocket)
        return "? nobody listens";
    const std::string host = "127.0.0.1:" + port;
    const std::string request = "GET /?title=" + title + " HTTP/1.1\r\nHost: " + host + "\r\nOrigin: http://" + host +
                                "\r\nUpgrade: websocket\r\nConnection: Upgrade\r\nSec-WebSocket-Version: 13\r\n"
                                "Sec-WebSocket-Key: dGhlIHNhbXBsZSBub25jZQ==\r\n\r\n";
    if (!fakes::sendAll(page, request.data(), request.size()))
        return "? the host is gone";
    std::string answer;
    for (char c = 0; answer.find("\r\n") == std::string::npos && fakes::receiveSome(page, &c, 1) == 1;)
        answer += c;
    return answer.rfind("HTTP/1.1 101 ", 0) == 0 ? "done connect" : "? " + answer.substr(0, answer.find('\r'));
}

std::string obey(const std::string& line)
{
    std::istringstream words(line);
    std::string verb, name;
    words >> verb >> name;
    if (verb == "quit") {
        PostQuitMessage(0);
        return "done quit";
    }
    if (verb == "open")
        return open(words, name);
    if (verb == "connect")
        return connectPage(name, words);
    const auto found = g_browsers.find(name);
    return found == g_browsers.end() ? "? no window " + name : change(verb, found->second, words);
}

LRESULT CALLBACK onMessage(HWND window, UINT message, WPARAM w, LPARAM l)
{
    if (message == kLine) {
        const auto* line = reinterpret_cast<std::string*>(l);
        std::printf("%s\n", obey(*line).c_str());
        std::fflush(stdout);
        delete line;
        return 0;
    }
    if (message == WM_SIZE)
        for (const auto& [name, browser] : g_browsers)
            if (browser.top == window)
                layOut(browser, window);
    return DefWindowProcW(window, message, w, l);
}

void registerClasses()
{
    for (const wchar_t* name :
         {L"Chrome_WidgetWin_1", L"IEFrame", L"BrowserToolbar", L"Frame Tab", L"Shell DocObject View",
          L"Intermediate D3D Window", L"Chrome_RenderWidgetHostHWND", L"Internet Explorer_Server", L"BrowserControl"}) {
        WNDCLASSW c = {};
        c.lpfnWndProc = onMessage;
        c.hInstance = GetModuleHandleW(nullptr);
        c.hbrBackground = CreateSolidBrush(RGB(0x20, 0x80, 0x40));
        c.hCursor = LoadCursorW(nullptr, reinterpret_cast<LPCWSTR>(IDC_ARROW));
        c.lpszClassName = name;
        RegisterClassW(&c);
    }
}

} // namespace

int main()
{
    registerClasses();
    g_control =
        CreateWindowW(L"BrowserControl", L"", 0, 0, 0, 0, 0, HWND_MESSAGE, nullptr, GetModuleHandleW(nullptr), nullptr);
    std::thread([] {
        for (std::string line; std::getline(std::cin, line);) {
            if (!line.empty() && line.back() == '\r')
                line.pop_back();
            PostMessageW(g_control, kLine, 0, reinterpret_cast<LPARAM>(new std::string(line)));
        }
        // Who told it is gone: it must not stay behind.
        PostMessageW(g_control, kLine, 0, reinterpret_cast<LPARAM>(new std::string("quit")));
    }).detach();
    MSG message;
    while (GetMessageW(&message, nullptr, 0, 0) > 0) {
        TranslateMessage(&message);
        DispatchMessageW(&message);
    }
    std::fflush(stdout);
    std::_Exit(0); // the reading thread waits for a line that need not come
}
