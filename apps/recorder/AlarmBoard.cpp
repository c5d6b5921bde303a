#include "AlarmBoard.h"

#include <glib.h>

#include <algorithm>

namespace lumo::recorder
{
namespace
{

constexpr guint kFloodStepMs = 10;

} // namespace

void AlarmBoard::set(AlarmKind kind, int channel, bool on)
{
    const bool changed = on ? m_on.insert({kind, channel}).second : m_on.erase({kind, channel}) > 0;
    if (!changed) {
        return;
    }
    ++m_changes;
    if (onChange) {
        onChange(kind, channel);
    }
}

void AlarmBoard::clear()
{
    m_flood.left = 0;
    while (!m_on.empty()) {
        const Alarm alarm = *m_on.begin();
        set(alarm.first, alarm.second, false);
    }
}

bool AlarmBoard::stepPlan(Plan& p)
{
    if (p.second == 0) {
        p.board->set(p.plan.kind, p.plan.channel, true);
    } else if (p.second == p.plan.onSeconds) {
        p.board->set(p.plan.kind, p.plan.channel, false);
    }
    p.second = (p.second + 1) % p.plan.everySeconds;
    return true;
}

void AlarmBoard::follow(const AlarmPlan& plan)
{
    auto* running = new Plan{this, plan};
    const auto step = [](gpointer p) -> gboolean { return stepPlan(*static_cast<Plan*>(p)); };
    stepPlan(*running);
    g_timeout_add_full(G_PRIORITY_DEFAULT, 1000, step, running, [](gpointer p) { delete static_cast<Plan*>(p); });
}

void AlarmBoard::flood(AlarmKind kind, int channel, int perSecond, int seconds)
{
    set(kind, channel, false);
    const int64_t total = (int64_t{perSecond} * seconds + 1) / 2 * 2; // it ends off
    const unsigned source = m_flood.source;
    m_flood = {{kind, channel}, perSecond, total, g_get_monotonic_time(), total, source};
    if (m_flood.source == 0 && total > 0) {
        m_flood.source = g_timeout_add(
            kFloodStepMs, [](gpointer p) -> gboolean { return static_cast<AlarmBoard*>(p)->stepFlood(); }, this);
    }
}

/// As many as are due: a busy machine makes it catch up, not fall short.
bool AlarmBoard::stepFlood()
{
    const int64_t due = (g_get_monotonic_time() - m_flood.begunUs) * m_flood.perSecond / G_USEC_PER_SEC;
    while (m_flood.left > 0 && m_flood.total - m_flood.left < due) {
        const auto [kind, channel] = m_flood.alarm;
        set(kind, channel, !on(kind, channel));
        --m_flood.left;
    }
    if (m_flood.left > 0) {
        return true;
    }
    m_flood.source = 0;
    return false;
}

} // namespace lumo::recorder
