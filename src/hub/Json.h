// What every handler repeats with JSON: a reply from its request, an event's skeleton, the text for the wire.
#pragma once

#include <json/json.h>

#include <QString>

/// Codes towards the page that several handlers use.
enum ERet {
    kRetSuccess = 100,
    kRetStartFailed = 121,   // cell or decoder could not start
    kRetDeviceRefused = 122, // the device refused the stream
    kRetNoBrowser = 1003,
    kRetChannelCount = 1008,
    kRetNoDownload = 1009, // the first download could not start
    kRetCloud = 1012,
    kRetNoPath = 1014, // the user picked no file
    kRetFailure = 1016,
    kRetLoginFailed = 1017,
    kRetUnknown = 1019,
    kRetNothingDone = 1019 // the request named nothing to do
};

/// Msg, SubMsg and MsgID, copied from the request as they are.
Json::Value replyTo(const Json::Value& request);
Json::Value eventOf(int nMainEvent, int nSubEvent);

/// One compact line, non-ASCII as escapes, a line feed at its end: the page's library counts on this writer.
QString toText(const Json::Value& value);

/// False when the text is not JSON. Throws when it nests too deep.
bool fromText(const QByteArray& text, Json::Value& value);

/// UTF-8 of a text in the local 8-bit encoding.
std::string utf8OfLocal(const char* szLocal);
