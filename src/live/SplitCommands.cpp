// MainType 3: the split of the current page.
#include "hub/PluginManage.h"
#include "surface/PlayWidget.h"

void CPluginManage::onMainMsgSplit(const Json::Value& request)
{
    const int nMode = request["SubType"].asInt(); // a mode number, not a count of cells
    const int nChannel = onGuiThread([nMode] {
        PlayWidget::Instance()->ChangeSplit(nMode);
        return PlayWidget::Instance()->GetWndChannel(0, 0);
    });
    Json::Value reply = replyTo(request);
    reply["Chn"] = nChannel;
    sendReply(reply, kRetSuccess);
}
