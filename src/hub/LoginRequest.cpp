#include "hub/LoginRequest.h"

#include "shell/LightWeightLog.h"

namespace
{

const char* const kTag = "CPluginManage::onMainMsgLogin";

/// Throws when the key is absent: asCString refuses null, where asString would not.
QString text(const Json::Value& value)
{
    return QString::fromUtf8(value.asCString());
}

void readKeys(const Json::Value& request, SLoginRequest& login)
{
    const Json::Value& device = request["Device"];
    const Json::Value& loginType = device["LoginType"];
    login.loginType = loginType.isInt() ? loginType.asInt() : 0;
    if (login.loginType == 2)
        writeLog(kTag, "fasjnflk  token"); // the text is required; also when one of its keys is missing
    if (login.loginType == 0)
        login.ip = text(device["IP"]).toLocal8Bit();
    if (login.loginType == 1 || login.loginType == 2)
        login.serialNo = text(device["SN"]).toLocal8Bit();
    if (login.loginType == 2)
        login.token = text(device["tcsToken"]).toLatin1();
    login.user = text(device["User"]).toLocal8Bit();
    login.password = text(device["Password"]).toLocal8Bit();
    login.port = device["Port"].asInt();
    if (!request["Title"].isNull())
        login.title = text(request["Title"]);
    if ((login.loginType == 1 || login.loginType == 2) && request["AlarmStyle"].isString())
        login.alarmStyle = text(request["AlarmStyle"]).toLocal8Bit();
    login.browse = request["Browse"].asInt();
    if (request["WebType"].isString())
        login.webType = text(request["WebType"]);
    login.sampleRate16 = request["SampleRate_16"].asBool();
}

} // namespace

SLoginRequest readLoginRequest(const Json::Value& request)
{
    SLoginRequest login;
    try {
        readKeys(request, login);
    } catch (...) {
        writeLog(kTag, "something error happened", kLogError);
    }
    if (login.title.isEmpty())
        login.title = login.loginType == 0 ? "Web Viewer" : "lumotech";
    return login;
}
