// MainType 34: the analysis rule drawn over the picture of channel 0. It is not sent to the device.
#include "hub/PluginManage.h"
#include "live/RuleLines.h"
#include "surface/PlayWidget.h"

namespace
{

constexpr int kDraw = 1;

/// Always eight corners; a missing one is 0, 0. Numbers are cut to their fields.
RuleInfo readRule(const Json::Value& request)
{
    RuleInfo rule{};
    rule.nChannel = static_cast<uint8_t>(request["Channel"].asInt());
    rule.nRuleType = static_cast<uint8_t>(request["RuleType"].asInt());
    rule.bShowRule = static_cast<uint8_t>(request["ShowRule"].asInt());
    rule.nAlarmDirectLine = static_cast<uint8_t>(request["AlarmDirectLine"].asInt());
    rule.nAlarmDirectRegion = static_cast<uint8_t>(request["AlarmDirectRegion"].asInt());
    rule.nPtsNum = request["ptsNum"].asInt();
    const Json::Value& line = request["RuleLine"];
    rule.StartX = line["StartX"].asInt();
    rule.StartY = line["StartY"].asInt();
    rule.StopX = line["StopX"].asInt();
    rule.StopY = line["StopY"].asInt();
    const Json::Value& region = request["RuleRegion"];
    for (int i = 0; i < kRuleCorners; ++i)
        rule.RuleRegion[i] = {region[i]["X"].asInt(), region[i]["Y"].asInt()};
    return rule;
}

} // namespace

/// The page is told nothing of the result: the reply has no Ret, and its channel and window are always 0.
void CPluginManage::onMainMsgRule(const Json::Value& request)
{
    const RuleInfo rule = readRule(request);
    const bool bDraw = request["SubType"].asInt() == kDraw;
    returnToMainThreadSync([&] { PlayWidget::Instance()->SetRule(rule, bDraw); });
    Json::Value reply = replyTo(request);
    reply["WndNum"] = 0;
    reply["Chn"] = 0;
    sendWebSocketMsg(toText(reply), true);
}
