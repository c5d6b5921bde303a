// Who may see the streams: digest login with the recorder's user, or user "token" with the token as password.
// Also the place where a silent recorder keeps a request waiting, for every request passes here first.
#pragma once

#include "Faults.h"
#include "Options.h"

#include <gst/rtsp-server/rtsp-server.h>

namespace lumo::recorder
{

constexpr const char* kToken = "lumo-token";
constexpr const char* kTokenUser = "token";
constexpr const char* kViewerRole = "viewer";

/// A new reference. `faults` must outlive it.
GstRTSPAuth* newRtspAuth(const Options& options, Faults& faults);

} // namespace lumo::recorder
