// MainType 6: the image colour page's own connection, with a login and a stream apart from those of the live view.
#include "device/LumoConnect.h"
#include "hub/PluginManage.h"
#include "surface/PlayWidget.h"

void CPluginManage::onMainMsgColor(const Json::Value& request)
{
    enum ESubType { kStart = 0, kStop = 1 };
    const int nSubType = request["SubType"].asInt();
    Json::Value reply = replyTo(request);
    if (nSubType == kStart) {
        const int nChannel = request["Channel"].asInt();
        const int nStream = request["Stream"].asInt();
        sendReply(reply, startColorPreview(nChannel, nStream));
    } else if (nSubType == kStop) {
        leaveColorPreview();
        sendReply(reply, kRetSuccess);
    }
}

/// A code for the page. A second login that has stood before goes first; the new one stays when only the view or the
/// decoder could not start.
int CPluginManage::startColorPreview(int nChannel, int nStream)
{
    leaveColorPreview();
    CLumoConnect* pConnect = CLumoConnect::instance();
    int nLoginRet = 0; // the page is not told why
    m_login.secondLoginId = pConnect->ConnectDevice(&m_login, &nLoginRet, webType.toLocal8Bit().constData());
    if (m_login.secondLoginId <= 0)
        return kRetLoginFailed;
    if (onGuiThread([=] { return PlayWidget::Instance()->ColorPreviewStart(nStream); }) < 0)
        return kRetStartFailed;
    const int nHandle = pConnect->ConnectChanel(m_login.secondLoginId, nChannel, nStream,
                                                &CPluginManage::ColorDataCallBack, reinterpret_cast<intptr_t>(this));
    m_login.secondPreviewHandle = nHandle == 0 ? -1 : nHandle;
    if (m_login.secondPreviewHandle > 0)
        return kRetSuccess;
    onGuiThread([] { return PlayWidget::Instance()->ColorPreviewStop(); });
    pConnect->DisconnectDevice(m_login.secondLoginId);
    m_login.secondLoginId = -1;
    return kRetDeviceRefused;
}

/// The stream first, for its port is deleted by the next start.
void CPluginManage::leaveColorPreview()
{
    CLumoConnect* pConnect = CLumoConnect::instance();
    if (m_login.secondPreviewHandle > 0) {
        pConnect->DisconnectChannel(m_login.secondPreviewHandle, &CPluginManage::ColorDataCallBack,
                                    reinterpret_cast<intptr_t>(this));
        onGuiThread([] { return PlayWidget::Instance()->ColorPreviewStop(); });
    }
    m_login.secondPreviewHandle = -1;
    if (m_login.secondLoginId > 0)
        pConnect->DisconnectDevice(m_login.secondLoginId);
    m_login.secondLoginId = -1;
}

/// Library thread.
int CPluginManage::ColorDataCallBack(long, long, uint8_t* pData, long nSize, intptr_t nUser)
{
    if (nUser == 0)
        return -1;
    PlayWidget::InputColorData(pData, int(nSize));
    return 1;
}
