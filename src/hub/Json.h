// What every handler repeats with JSON: a reply from its request, an event's skeleton, the text for the wire.
#pragma once

#include "device/Ret.h"

#include <json/json.h>

#include <QString>

/// Msg, SubMsg and MsgID, copied from the request as they are.
Json::Value replyTo(const Json::Value& request);
Json::Value eventOf(int nMainEvent, int nSubEvent);

/// One compact line, non-ASCII as escapes, a line feed at its end: the page's library counts on this writer.
QString toText(const Json::Value& value);

/// False when the text is not JSON. Throws when it nests too deep.
bool fromText(const QByteArray& text, Json::Value& value);

/// UTF-8 of a text in the local 8-bit encoding.
std::string utf8OfLocal(const char* szLocal);
