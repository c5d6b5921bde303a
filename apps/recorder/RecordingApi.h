// What the page asks about recordings. JSON out, times as the device's own wall clock shows them.
//
//   GET /api/recordings?channel=C&date=2025-03-29   {"channel","date","files":[{"name","begin","end","length","type",
//                                                   "stream"}],"pictures":[{"name","time","length"}]}
//   GET /api/recordings/days?channel=C              {"days":["2025-03-29",...]}
// Thread: any. Blocking: the first may have to wait for recordings that are not encoded yet.
#pragma once

#include "RecordingStore.h"
#include "TestApi.h"

#include <string>

namespace lumo::recorder
{

class RecordingApi
{
public:
    RecordingApi(const Options& options, const DeviceZone& zone, RecordingStore& store)
        : m_options(options), m_zone(zone), m_store(store)
    {
    }

    static bool knows(const std::string& path) { return path.rfind("/api/recordings", 0) == 0; }
    ApiAnswer handle(const std::string& method, const std::string& path, const std::string& query);

private:
    ApiAnswer list(int channel, const std::string& date);
    ApiAnswer days(int channel);

    const Options& m_options;
    const DeviceZone& m_zone;
    RecordingStore& m_store;
};

} // namespace lumo::recorder
