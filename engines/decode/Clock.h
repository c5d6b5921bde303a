// The one clock of this library: milliseconds that only go forward.
#pragma once

#include <chrono>
#include <cstdint>

namespace lumo
{

inline int64_t nowMs()
{
    using namespace std::chrono;
    return duration_cast<milliseconds>(steady_clock::now().time_since_epoch()).count();
}

} // namespace lumo
