#include "LiveRule.h"

namespace lumo
{

LiveRule::Verdict LiveRule::judge(bool key, int64_t backlogMs, bool newest)
{
    if (backlogMs > kLostMs)
        m_untilKey = true;
    else if (key)
        m_untilKey = false;
    if (m_untilKey)
        return Verdict::Skip;
    if (newest || backlogMs < kCaughtUpMs)
        m_catchingUp = false;
    else if (backlogMs > kLateMs)
        m_catchingUp = true;
    return m_catchingUp ? Verdict::DecodeOnly : Verdict::Show;
}

} // namespace lumo
