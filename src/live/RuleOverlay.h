// The one rule that is drawn over the picture of channel 0: written by the GUI thread, read by the decode library's
// thread for every picture, with no lock. A drawing that runs during a change may see half of each; the next picture
// puts it right.
//
// Lives as long as the process: a picture may be drawn while the live page comes or goes.
#pragma once

#include "live/RuleLines.h"
#include "platform/WindowSystem.h"

namespace ruleoverlay
{

/// GUI thread.
void set(const RuleInfo& rule);
/// Any thread. All zero before the first set.
RuleInfo get();
/// The library's thread, once a picture: draws the rule, if it is to be shown, on the draw callback's device context,
/// in the size of the cell hWnd.
void draw(void* hDC, platform::WindowHandle hWnd);

} // namespace ruleoverlay
