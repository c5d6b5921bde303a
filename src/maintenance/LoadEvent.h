// What the page is told of the machine's load.
#pragma once

#include <json/json.h>

/// Percent of the whole machine, 0 to 100; memory in MiB.
Json::Value loadEvent(int nAppCpu, int nSystemCpu, int nAppMemory);
