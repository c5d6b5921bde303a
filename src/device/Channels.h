// How many channels a device may have, and the two numbers that stand for all of them.
#pragma once

/// A device that reports more is not taken. Channels count from 0.
constexpr int kMaxChannels = 64;

constexpr int kPageAllChannels = 255;  // the page's word, beside -1
constexpr int kDeviceAllChannels = -1; // the device's word: the device as a whole

/// The device's number for what the page asks for.
constexpr int deviceChannelOf(int nPageChannel)
{
    return nPageChannel == kPageAllChannels ? kDeviceAllChannels : nPageChannel;
}
