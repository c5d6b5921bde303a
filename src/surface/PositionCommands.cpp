// MainType 12 (where the surface stands), 11 (selected playback window) and 29 (two-lens scale step).
#include "hub/PluginManage.h"
#include "surface/PlayWidget.h"

void CPluginManage::onMainMsgPosition(const Json::Value& request)
{
    const Json::Value& pos = request["Pos"];
    PluginRegion region;
    region.left = pos["Left"].asInt();
    region.top = pos["Top"].asInt();
    region.width = pos["Width"].asInt();
    region.height = pos["Height"].asInt();
    const int nStatus = request["SubType"].asInt();
    returnToMainThreadSync([=] { PlayWidget::Instance()->onWidgetStatuChange(nStatus, region); });
    if (request["Potocol"].isNull()) { // spelled so on the wire
        Json::Value reply = replyTo(request);
        sendReply(reply, kRetSuccess);
    }
}

void CPluginManage::onMainMsgSelectPlaybackWnd(const Json::Value& request)
{
    const int nIndex = request["SubType"].asInt();
    returnToMainThreadSync([=] { PlayWidget::Instance()->SelectPlaybackWnd(nIndex); });
    Json::Value reply = replyTo(request);
    sendReply(reply, kRetSuccess);
}

void CPluginManage::onMainMsgScaleStep(const Json::Value& request)
{
    const int nDirection = request["SubType"].asInt();
    const int nStep = request["Speed"].asInt();
    returnToMainThreadSync([=] { PlayWidget::Instance()->ScaleSwitch(nDirection, nStep); });
    Json::Value reply = replyTo(request);
    sendReply(reply, kRetSuccess);
}
