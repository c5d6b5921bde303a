// The list of recorded files in a request, as the device link takes it.
//
// Errors: a key of the wrong type throws; a missing one is 0 or empty. Texts are cut to their fields.
#pragma once

#include "device/LumoConnect.h"
#include "hub/Json.h"

#include <vector>

/// For playback. nMode 1 by name, where all files go into window nSelectWnd; 2 by time, where each names its own
/// channel and window. Any other mode takes only the stream.
std::vector<PlaybackRequest> readPlayFiles(const Json::Value& request, int nMode, int nSelectWnd);

std::vector<DownloadRequest> readDownloadFiles(const Json::Value& request);
