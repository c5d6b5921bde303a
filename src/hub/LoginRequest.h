// What a login command asks for, read key by key until the first bad one.
#pragma once

#include <json/json.h>

#include <QByteArray>
#include <QString>

struct SLoginRequest {
    int loginType = 0;
    QByteArray ip, serialNo, token; // ip and serialNo in the local 8-bit encoding, token in Latin-1
    QByteArray user, password;      // local 8-bit encoding
    int port = 0;
    QString title;
    QByteArray alarmStyle;
    int browse = 0;
    QString webType;
    bool sampleRate16 = false;
};

/// Reads until a key has the wrong type, or is missing where a text is needed: that is logged, and what was not read
/// keeps its empty default. title is never empty.
SLoginRequest readLoginRequest(const Json::Value& request);
