#include "live/RuleOverlay.h"

#include "platform/Pen.h"

#include <array>
#include <atomic>
#include <cstring>
#include <type_traits>

namespace ruleoverlay
{
namespace
{

constexpr int kPenWidthPx = 4;
constexpr quint32 kPenColor = 0xff0000; // blue, as 0x00BBGGRR

static_assert(std::is_trivially_copyable_v<RuleInfo> && sizeof(RuleInfo) % sizeof(uint32_t) == 0);
using Words = std::array<uint32_t, sizeof(RuleInfo) / sizeof(uint32_t)>;
constinit std::array<std::atomic<uint32_t>, Words().size()> g_words{}; // atomic: see the head of this unit

} // namespace

void set(const RuleInfo& rule)
{
    Words words;
    std::memcpy(words.data(), &rule, sizeof rule);
    for (size_t i = 0; i < words.size(); ++i)
        g_words[i].store(words[i], std::memory_order_relaxed);
}

RuleInfo get()
{
    Words words;
    for (size_t i = 0; i < words.size(); ++i)
        words[i] = g_words[i].load(std::memory_order_relaxed);
    RuleInfo rule;
    std::memcpy(&rule, words.data(), sizeof rule);
    return rule;
}

/// The system is asked for the cell's size: on this thread no widget may be.
void draw(void* hDC, platform::WindowHandle hWnd)
{
    const RuleInfo rule = get();
    if (rule.bShowRule == 0 || rule.nChannel != kRuleChannel)
        return;
    const platform::DrawContext hContext = platform::callbackContext(hDC);
    const QSize szCell = platform::callbackSize(hContext, hWnd);
    const platform::PenHandle hPen = platform::createPen(kPenWidthPx, kPenColor);
    const platform::PenHandle hOldPen = platform::selectPen(hContext, hPen);
    for (const SRuleLine& line : linesOfRule(rule, szCell.width(), szCell.height())) {
        platform::moveTo(hContext, line.nFromX, line.nFromY);
        platform::lineTo(hContext, line.nToX, line.nToY);
    }
    platform::selectPen(hContext, hOldPen);
    platform::deletePen(hPen);
    platform::releaseCallbackContext(hContext);
}

} // namespace ruleoverlay
