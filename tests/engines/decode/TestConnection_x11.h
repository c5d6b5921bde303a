// The connection on which the tests' windows are made.
#pragma once

#include <xcb/xcb.h>

/// Opened with the first use, for as long as the process lives. Throws where there is no X server.
xcb_connection_t* testConnection();
