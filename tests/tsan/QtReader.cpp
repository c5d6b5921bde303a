// Put in front of the program (LD_PRELOAD) while ThreadSanitizer watches it. Qt's X11 plug-in comes from the
// distribution without the sanitizer, which therefore does not see how its reader thread hands events over to the GUI
// thread. That thread runs no code of ours; what it touches is left out. All other threads are watched whole.
#include <dlfcn.h>
#include <sys/prctl.h>
#include <xcb/xcb.h>

#include <cstring>
#include <initializer_list>

namespace
{
using Wait = xcb_generic_event_t* (*)(xcb_connection_t*);
using Annotate = void (*)(const char* file, int line);

void annotate(std::initializer_list<const char*> calls)
{
    for (const char* call : calls)
        if (const auto known = reinterpret_cast<Annotate>(dlsym(RTLD_DEFAULT, call)))
            known(__FILE__, __LINE__);
}

/// One for each thread that waits for events; the sanitizer wants what was begun ended before the thread is.
struct LeftOut {
    bool is = false;

    LeftOut()
    {
        char name[16] = {};
        prctl(PR_GET_NAME, name);
        is = std::strcmp(name, "QXcbEventQueue") == 0;
        if (is)
            annotate({"AnnotateIgnoreReadsBegin", "AnnotateIgnoreWritesBegin"});
    }
    ~LeftOut()
    {
        if (is)
            annotate({"AnnotateIgnoreReadsEnd", "AnnotateIgnoreWritesEnd"});
    }
};
} // namespace

/// The one call in which the reader thread spends its life.
extern "C" [[gnu::visibility("default")]] xcb_generic_event_t* xcb_wait_for_event(xcb_connection_t* connection)
{
    static const auto real = reinterpret_cast<Wait>(dlsym(RTLD_NEXT, "xcb_wait_for_event"));
    thread_local const LeftOut leftOut;
    static_cast<void>(&leftOut); // made at its first use
    return real ? real(connection) : nullptr;
}
