// Who may see the streams: digest login with the recorder's user, or user "token" with the token as password.
// Also the place where a silent recorder keeps a request waiting, and where one that was let in is told of, for every
// request passes here first, before the library has taken any lock for it.
#pragma once

#include "Faults.h"
#include "Options.h"

#include <gst/rtsp-server/rtsp-server.h>

namespace lumo::recorder
{

constexpr const char* kToken = "lumo-token";
constexpr const char* kTokenUser = "token";
constexpr const char* kViewerRole = "viewer";

/// A request that was let in, on its client's thread.
using Admitted = void (*)(GstRTSPContext* context, void* user);

/// A new reference. `faults` and `user` must outlive it.
GstRTSPAuth* newRtspAuth(const Options& options, Faults& faults, Admitted admitted, void* user);

} // namespace lumo::recorder
