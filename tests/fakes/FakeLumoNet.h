// What the sources of the recording LumoNet share: the way to the runner, and the checks of a correct caller.
#pragma once

#include "Wire.h"
#include "device/LumoNet.h"

#include <cstddef>
#include <string>

namespace fakes::net
{

using fakes::Answer;
using fakes::Args;
using fakes::Fields;

/// Tells the runner and waits for its answer; a field "error" becomes the calling thread's last error. Every call but
/// LUMONET_Init needs the library initialised.
Answer call(const char* name, const Args& args, bool first = false, Wire::OnAnswer onAnswer = {});
/// Ends the process with the reason unless the fact holds.
void require(bool fact, const std::string& name, const char* why);
void requireLogin(const char* name, int login);
bool allZero(const void* data, size_t size);

inline constexpr int kAllLogins = -1;

// FakeLumoNetDevice.cpp: transfers and upgrades.
/// Raises their callbacks; "none" when the handle is not open, or for another kind.
std::string raiseDeviceWork(const std::string& kind, const Fields& fields);
/// Ends those of the login, when none of their callbacks runs.
void endDeviceWork(int login);

// FakeLumoNetVoice.cpp: talks.
std::string raiseVoice(const Fields& fields);
void endTalks(int login);

// FakeLumoNetAlarm.cpp: the device's own messages.
std::string raiseAlarm(const Fields& fields);
void endMessages(int login);

} // namespace fakes::net
