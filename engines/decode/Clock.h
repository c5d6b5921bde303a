// The one clock of this library: it only goes forward.
#pragma once

#include <chrono>
#include <cstdint>

namespace lumo
{

inline int64_t nowUs()
{
    using namespace std::chrono;
    return duration_cast<microseconds>(steady_clock::now().time_since_epoch()).count();
}

inline int64_t nowMs()
{
    return nowUs() / 1000;
}

} // namespace lumo
