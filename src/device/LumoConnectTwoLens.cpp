// The zoom of a camera with two lenses: a number that the device keeps, asked and set by JSON commands.
//
// A widget calls these on the GUI thread, where nobody catches what jsoncpp throws at an answer of the wrong form: it
// is caught here and counts as no answer.
#include "device/Channels.h"
#include "device/DeviceText.h"
#include "device/LumoConnect.h"
#include "shell/LightWeightLog.h"

#include <json/json.h>

#include <algorithm>
#include <memory>

// jsoncpp calls its reader deprecated; the hub reads with the same one.
#pragma GCC diagnostic ignored "-Wdeprecated-declarations"

namespace
{

constexpr int kTimeoutMs = 20000;
constexpr int kAbilitySize = 307200; // bytes that an answer may have
constexpr int kOutputSize = 65536;
constexpr int kInputSize = 256;
constexpr int kSetScaleNumber = 3032;
constexpr int kReadScaleNumber = 3034;
constexpr int kDeviceSuccess = 100; // the device's own word, not the page's
constexpr int kOtherLens = 1;
constexpr float kDefaultMaxTimes = 8.0F;

/// Throws as Json::Reader does when the text nests too deep.
bool parse(const char* szText, int nSize, Json::Value& value)
{
    Json::Reader reader;
    return reader.parse(szText, szText + qstrnlen(szText, uint(nSize)), value, false);
}

/// What the commands take: a text in a buffer of the size that they are told.
struct SInput {
    char text[kInputSize] = {};
    explicit SInput(const QByteArray& json) { copyField(text, json); }
};

struct SScale {
    float fTimes = 0;
    float fMaxTimes = kDefaultMaxTimes;
};

/// False when the device answered with another code than success. Throws on a value of the wrong type.
bool readScale(const Json::Value& answer, bool wholeDevice, SScale& scale)
{
    writeLog("CLumoConnect::GetScaleTwoLensConfig", QString("OPSensorGet %1").arg(answer["Ret"].asInt()));
    if (answer["Ret"].asInt() != kDeviceSuccess)
        return false;
    const Json::Value& lens = answer[wholeDevice ? std::string("OPSensorGet") : answer["Name"].asString()][0];
    scale.fTimes = std::max(0.0F, lens["Times"].asFloat());
    if (lens.isMember("MaxTimes"))
        scale.fMaxTimes = lens["MaxTimes"].asFloat();
    (void)lens["TimesOri"].asFloat(); // of no use but that one of another kind spoils the answer
    return true;
}

} // namespace

bool CLumoConnect::GetScaleTwoLensAbility(int loginId, int channel, bool viaPath)
{
    static const char* const szTag = "CLumoConnect::GetScaleTwoLensAbility";
    writeLog(szTag, "GetScaleTwoLensAbility");
    if (viaPath)
        return LUMONET_HasAbility(loginId, "SystemFunction/OtherFunction/SupportScaleTwoLens", 0);
    const auto pOutput = std::make_unique<char[]>(kAbilitySize); // zeroed
    int nReturned = 0;
    const int nResult = LUMONET_GetSystemAbility_Json(loginId, "bypass@SystemFunction", LUMO_ABILITY_SYSTEM, channel,
                                                      pOutput.get(), kAbilitySize, &nReturned, kTimeoutMs);
    writeLog(szTag, QString("GetScaleTwoLensAbility----->ret:%1").arg(nResult));
    if (nResult != 1)
        return false;
    try {
        Json::Value json;
        if (!parse(pOutput.get(), kAbilitySize, json))
            return false;
        const Json::Value& answer = json; // read as const, which adds no key
        return answer[answer["Name"].asString()]["OtherFunction"]["SupportScaleTwoLens"].asBool();
    } catch (const Json::Exception&) {
        writeLog(szTag, "can not analyze json", kLogError);
        return false;
    }
}

int CLumoConnect::GetScaleTwoLensConfig(int loginId, int channel, int stream, float* times, bool wholeDevice,
                                        float* maxTimes)
{
    static const char* const szTag = "CLumoConnect::GetScaleTwoLensConfig";
    const int nChannel = wholeDevice ? kDeviceAllChannels : channel;
    const SInput input(readScaleText(stream));
    const auto pOutput = std::make_unique<char[]>(kOutputSize); // zeroed
    int nReturned = 0;
    if (LUMONET_CmdWithResult_Json(loginId, "OPSensorGet", kReadScaleNumber, nChannel, input.text, kInputSize,
                                   pOutput.get(), kOutputSize, &nReturned, kTimeoutMs) < 1)
        return -1;
    writeLog(szTag, QString::fromUtf8(pOutput.get(), int(qstrnlen(pOutput.get(), kOutputSize))));
    SScale scale;
    try {
        Json::Value json;
        if (!parse(pOutput.get(), kOutputSize, json))
            return 0;
        if (!readScale(json, wholeDevice, scale))
            return -1;
    } catch (const Json::Exception&) {
        writeLog(szTag, "can not analyze json", kLogError);
        return 0;
    }
    *times = scale.fTimes;
    *maxTimes = scale.fMaxTimes;
    if (stream == 0)
        SetScaleTwoLensConfig(loginId, nChannel, kOtherLens, 0, 0);
    SetScaleTwoLensConfig(loginId, nChannel, stream, scale.fTimes, scale.fTimes);
    return 1;
}

int CLumoConnect::SetScaleTwoLensConfig(int loginId, int channel, int stream, float fOrignalTimes, float fCurTimes)
{
    static const char* const szTag = "CLumoConnect::SetScaleTwoLensConfig";
    const SInput input(setScaleText(stream, fOrignalTimes, fCurTimes));
    writeLog(szTag, input.text);
    const auto pOutput = std::make_unique<char[]>(kOutputSize);
    if (LUMONET_CmdWithOutput_Json(loginId, "OPScaleTimesSwitch", kSetScaleNumber, channel, input.text, kInputSize,
                                   pOutput.get(), kTimeoutMs) > 0)
        return 1;
    writeLog(szTag, QString("SetScaleTwoLensConfig failed,nStreamType:%1,fOrignalTimes:%2,fCurTimes:%3")
                        .arg(stream)
                        .arg(fOrignalTimes)
                        .arg(fCurTimes));
    return -1;
}
