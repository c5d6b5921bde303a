// MainType 24: electronic PTZ of the channel in the selected cell.
#include "hub/PluginManage.h"
#include "surface/PlayWidget.h"

namespace
{

// 0 to 3 are the directions, 6 to 8 the commands of presets, as the live page numbers them.
enum ESubType { kZoomOut = 4, kZoomIn = 5, kPresetDelete = 6, kWhole = 9, kOpen = 10 };
constexpr int kSelectedCell = -1;

} // namespace

/// 0 or 1 for what was done or refused. A SubType without a meaning counts as done: the page relies on it.
int CPluginManage::steerPicture(const Json::Value& request)
{
    const int nSubType = request["SubType"].asInt();
    const int nChannel = request["Channel"].asInt();
    if (nSubType < 0 || nSubType > kOpen)
        return kRetNothingDone;
    if (nSubType == kOpen)
        return onGuiThread([=] { return PlayWidget::Instance()->PTZElectOpen(nChannel, kSelectedCell); });
    if (nSubType == kWhole)
        return onGuiThread([=] { return PlayWidget::Instance()->PTZElectRedu(nChannel); });
    if (nSubType >= kPresetDelete) {
        const int nPreset = request["Preset"].asInt();
        return onGuiThread([=] { return PlayWidget::Instance()->PTZElectPresent(nChannel, nSubType, nPreset); });
    }
    const int nStep = request["Step"].asInt();
    if (nSubType == kZoomIn)
        return onGuiThread([=] { return PlayWidget::Instance()->PTZElectZoomIn(nChannel, nStep); });
    if (nSubType == kZoomOut)
        return onGuiThread([=] { return PlayWidget::Instance()->PTZElectZoomOut(nChannel, nStep); });
    return onGuiThread([=] { return PlayWidget::Instance()->PTZElectronicMove(nChannel, nSubType, nStep); });
}

void CPluginManage::onMainMsgPTZElect(const Json::Value& request)
{
    const int nResult = steerPicture(request);
    Json::Value reply = replyTo(request);
    sendReply(reply, nResult > 0 ? kRetSuccess : kRetFailure);
}
