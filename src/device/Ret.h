// The result codes towards the page. docs/protocol.md says what they mean; tests/lint holds the two together.
#pragma once

enum ERet {
    kRetSuccess = 100,
    kRetWrongUser = 106, // or a wrong password
    kRetRefused = 107,
    kRetNoFile = 109,        // missing or empty
    kRetStartFailed = 121,   // cell or decoder could not start
    kRetDeviceRefused = 122, // the device refused the stream
    kRetLocked = 206,
    kRetLoggedInAlready = 207,
    kRetSessions = 218, // the device serves as many as it can
    kRetNotLoggedIn = 999,
    kRetNoBrowser = 1003,
    kRetTimeout = 1006, // or the device cannot be reached
    kRetUpgradeRefused = 1007,
    kRetChannelCount = 1008,
    kRetNoDownload = 1009, // the first download could not start
    kRetCloud = 1012,
    kRetUnsupported = 1013,
    kRetNoPath = 1014,  // the user picked no file
    kRetTooLong = 1015, // a configuration file
    kRetFailure = 1016,
    kRetLoginFailed = 1017,
    kRetUnknown = 1019,
    kRetNothingDone = 1019 // the request named nothing to do
};
