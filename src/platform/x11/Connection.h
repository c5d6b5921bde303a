// Our own connection to the X server, apart from Qt's. Windows of other programs vanish at any moment; an error that
// comes of it arrives here, is dropped here, and cannot disturb the widgets or end the process.
//
// Thread: any; libxcb serialises. Errors: what cannot be had is 0, empty or null.
#pragma once

#include <QByteArray>
#include <QVector>
#include <cstdlib>
#include <memory>
#include <xcb/xcb.h>

namespace platform::x11
{
struct SFree {
    void operator()(void* p) const { std::free(p); }
};
template <typename T> using Reply = std::unique_ptr<T, SFree>;

struct SAtoms {
    xcb_atom_t wmState, wmClass, wmName, wmTransientFor, netWmName, netWmPid, netActiveWindow, netClientList,
        netSupportingWmCheck, netWmWindowType, netWmWindowTypeNormal, resourceManager, utf8String;
};

/// Null when there is no server or it has gone.
xcb_connection_t* connection();
xcb_window_t rootWindow();
const SAtoms& atoms();

/// The reply, or null after an error.
template <typename TReply, typename TCookie>
Reply<TReply> waitFor(TReply* (*fnReply)(xcb_connection_t*, TCookie, xcb_generic_error_t**), TCookie cookie)
{
    xcb_generic_error_t* pError = nullptr;
    Reply<TReply> reply(fnReply(connection(), cookie, &pError));
    std::free(pError);
    return reply;
}

/// The property's bytes, at most nMaxBytes of them.
QByteArray property(xcb_window_t nWindow, xcb_atom_t nAtom, int nMaxBytes);
/// A property of 32-bit values.
QVector<quint32> values(xcb_window_t nWindow, xcb_atom_t nAtom, int nMaxValues);
/// Returns when the server has done what Qt has asked of it so far. Before a question about one of our own widgets:
/// what Qt asked on its connection may otherwise be answered after what is asked on ours.
void awaitQt();
/// Sends what is buffered and drops the errors and events that have come in.
void flush();
} // namespace platform::x11
