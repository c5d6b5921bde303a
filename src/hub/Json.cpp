#include "hub/Json.h"

// jsoncpp calls these two classes deprecated; their output is what stands on the wire.
#pragma GCC diagnostic ignored "-Wdeprecated-declarations"

Json::Value replyTo(const Json::Value& request)
{
    Json::Value reply;
    reply["Msg"] = request["MainType"];
    reply["SubMsg"] = request["SubType"];
    reply["MsgID"] = request["MsgID"];
    return reply;
}

Json::Value eventOf(int nMainEvent, int nSubEvent)
{
    Json::Value event;
    event["MainEvent"] = nMainEvent;
    event["SubEvent"] = nSubEvent;
    return event;
}

QString toText(const Json::Value& value)
{
    Json::FastWriter writer;
    return QString::fromStdString(writer.write(value));
}

bool fromText(const QByteArray& text, Json::Value& value)
{
    Json::Reader reader;
    return reader.parse(text.constData(), text.constData() + text.size(), value, true);
}

std::string utf8OfLocal(const char* szLocal)
{
    return QString::fromLocal8Bit(szLocal).toStdString();
}
