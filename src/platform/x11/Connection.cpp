#include "platform/x11/Connection.h"

#include <QX11Info>
#include <cstring>

namespace platform::x11
{
namespace
{
struct SSession {
    xcb_connection_t* pConnection = nullptr;
    xcb_window_t nRoot = 0;
    SAtoms atoms{};
};

void internAtoms(SSession& session)
{
    struct SRow {
        const char* szName;
        xcb_atom_t SAtoms::*pMember;
    };
    static constexpr SRow kRows[] = {
        {"WM_STATE", &SAtoms::wmState},
        {"WM_CLASS", &SAtoms::wmClass},
        {"WM_NAME", &SAtoms::wmName},
        {"WM_TRANSIENT_FOR", &SAtoms::wmTransientFor},
        {"_NET_WM_NAME", &SAtoms::netWmName},
        {"_NET_WM_PID", &SAtoms::netWmPid},
        {"_NET_ACTIVE_WINDOW", &SAtoms::netActiveWindow},
        {"_NET_CLIENT_LIST", &SAtoms::netClientList},
        {"_NET_SUPPORTING_WM_CHECK", &SAtoms::netSupportingWmCheck},
        {"_NET_WM_WINDOW_TYPE", &SAtoms::netWmWindowType},
        {"_NET_WM_WINDOW_TYPE_NORMAL", &SAtoms::netWmWindowTypeNormal},
        {"RESOURCE_MANAGER", &SAtoms::resourceManager},
        {"UTF8_STRING", &SAtoms::utf8String},
    };
    xcb_intern_atom_cookie_t cookies[std::size(kRows)];
    for (std::size_t i = 0; i < std::size(kRows); ++i)
        cookies[i] = xcb_intern_atom(session.pConnection, 0, static_cast<uint16_t>(std::strlen(kRows[i].szName)),
                                     kRows[i].szName);
    for (std::size_t i = 0; i < std::size(kRows); ++i) {
        Reply<xcb_intern_atom_reply_t> reply(xcb_intern_atom_reply(session.pConnection, cookies[i], nullptr));
        if (reply)
            session.atoms.*kRows[i].pMember = reply->atom;
    }
}

SSession open()
{
    SSession session;
    int nScreen = 0;
    session.pConnection = xcb_connect(nullptr, &nScreen);
    if (xcb_connection_has_error(session.pConnection)) {
        xcb_disconnect(session.pConnection);
        session.pConnection = nullptr;
        return session;
    }
    auto screens = xcb_setup_roots_iterator(xcb_get_setup(session.pConnection));
    for (; nScreen > 0 && screens.rem > 1; --nScreen)
        xcb_screen_next(&screens);
    session.nRoot = screens.data->root;
    internAtoms(session);
    return session;
}

/// Opened at first use, kept to the end of the process: the server cleans up after us.
const SSession& session()
{
    static const SSession s = open();
    return s;
}
} // namespace

xcb_connection_t* connection()
{
    xcb_connection_t* pConnection = session().pConnection;
    return pConnection && !xcb_connection_has_error(pConnection) ? pConnection : nullptr;
}

xcb_window_t rootWindow()
{
    return session().nRoot;
}

const SAtoms& atoms()
{
    return session().atoms;
}

QByteArray property(xcb_window_t nWindow, xcb_atom_t nAtom, int nMaxBytes)
{
    if (!connection() || !nWindow || !nAtom)
        return {};
    const uint32_t nUnits = static_cast<uint32_t>((nMaxBytes + 3) / 4);
    const auto reply = waitFor(xcb_get_property_reply,
                               xcb_get_property(connection(), 0, nWindow, nAtom, XCB_GET_PROPERTY_TYPE_ANY, 0, nUnits));
    if (!reply || reply->format == 0)
        return {};
    const int nSize = xcb_get_property_value_length(reply.get());
    return QByteArray(static_cast<const char*>(xcb_get_property_value(reply.get())), qMin(nSize, nMaxBytes));
}

QVector<quint32> values(xcb_window_t nWindow, xcb_atom_t nAtom, int nMaxValues)
{
    const QByteArray bytes = property(nWindow, nAtom, nMaxValues * 4);
    QVector<quint32> result(bytes.size() / 4);
    std::memcpy(result.data(), bytes.constData(), static_cast<std::size_t>(result.size()) * 4);
    return result;
}

void awaitQt()
{
    if (!QX11Info::isPlatformX11())
        return;
    xcb_connection_t* pQt = QX11Info::connection();
    // Nothing said since the last answer, nothing to wait for: the browser's window is looked at ten times a second,
    // with several questions each time.
    static uint64_t nAnswered = 0;
    xcb_flush(pQt);
    if (xcb_total_written(pQt) == nAnswered)
        return;
    Reply<xcb_get_input_focus_reply_t>(xcb_get_input_focus_reply(pQt, xcb_get_input_focus(pQt), nullptr));
    nAnswered = xcb_total_written(pQt);
}

void flush()
{
    xcb_connection_t* pConnection = connection();
    if (!pConnection)
        return;
    xcb_flush(pConnection);
    while (auto* pEvent = xcb_poll_for_event(pConnection))
        std::free(pEvent);
}
} // namespace platform::x11
