// What becomes of a live picture, given how far it lies behind: up to 400 ms it is shown; beyond, pictures are only
// decoded until the port has caught up; past 2 s everything up to the next key frame goes undecoded. So a live picture
// never grows old.
#pragma once

#include <cstdint>

namespace lumo
{

class LiveRule
{
public:
    enum class Verdict { Show, DecodeOnly, Skip };

    static constexpr int64_t kLateMs = 400;
    static constexpr int64_t kLostMs = 2000;
    static constexpr int64_t kCaughtUpMs = 100;

    /// newest: no other picture waits behind this one, so that nothing fresher can be shown.
    Verdict judge(bool key, int64_t backlogMs, bool newest = false);
    void reset() { *this = {}; }

private:
    bool m_catchingUp = false;
    bool m_untilKey = false;
};

} // namespace lumo
