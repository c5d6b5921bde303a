// MainType 19: one picture of a channel into a fixed file, whose place the page knows.
#include "device/LumoConnect.h"
#include "hub/PluginManage.h"
#include "platform/Machine.h"
#include "surface/PlayWidget.h"

namespace
{

constexpr int kMainStream = 0;
constexpr int kSelectedCell = -1;
constexpr int kPictureWaitMs = 2000; // so that a picture can arrive

int capture(int nChannel)
{
    return PlayWidget::Instance()->Capture(nChannel, true);
}

} // namespace

void CPluginManage::onMainMsgPicture(const Json::Value& request)
{
    const int nChannel = request["SubType"].asInt();
    const int nResult = pictureOf(nChannel);
    Json::Value reply;
    reply["Msg"] = request["MainType"];
    reply["Channel"] = request["SubType"];
    reply["MsgID"] = request["MsgID"];
    sendReply(reply, nResult < 0 ? kRetFailure : kRetSuccess);
}

/// Below 0 when there is none.
int CPluginManage::pictureOf(int nChannel)
{
    if (isChannel(nChannel) && m_login.previewHandles[nChannel] > 0)
        return onGuiThread([=] { return capture(nChannel); });
    const int nStarted =
        onGuiThread([=] { return PlayWidget::Instance()->StartPreview(kMainStream, nChannel, kSelectedCell); });
    return nStarted < 0 || !isChannel(nChannel) ? -1 : pictureOfStream(nChannel);
}

/// A stream for this one picture. The hub waits for it, so all commands behind wait too. When the device refuses, the
/// cell stays as it was started: nothing stops it.
int CPluginManage::pictureOfStream(int nChannel)
{
    CLumoConnect* pConnect = CLumoConnect::instance();
    int& nHandle = m_login.previewHandles[nChannel];
    nHandle =
        pConnect->ConnectChanel(m_login.loginId, nChannel, kMainStream, &CPluginManage::PictureDataCallBack, nChannel);
    if (nHandle == 0)
        nHandle = -1;
    if (nHandle <= 0)
        return -1;
    int nResult = -1;
    if (pConnect->RequestChannelFrame(m_login.loginId, nChannel, kMainStream)) {
        platform::sleepMs(kPictureWaitMs);
        nResult = onGuiThread([=] { return capture(nChannel); });
    }
    pConnect->DisconnectChannel(nHandle, &CPluginManage::PictureDataCallBack, nChannel);
    returnToMainThreadSync([=] { PlayWidget::Instance()->PreviewStop(nChannel); });
    nHandle = 0;
    return nResult;
}

/// Library thread.
int CPluginManage::PictureDataCallBack(long, long, uint8_t* pData, long nSize, intptr_t nUser)
{
    PlayWidget::InputRealData(int(nUser), pData, int(nSize));
    return 1;
}
