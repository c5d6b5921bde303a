// The event that tells the page how loaded this machine is, while a device is logged in.
#include "hub/PluginManage.h"

void CPluginManage::onSendSystemStatus(int nAppCpuStatus, int nSystemCpuStatus, int nAppMemory)
{
    if (!keepLoad(m_login, nAppCpuStatus, nSystemCpuStatus, nAppMemory))
        return;
    Json::Value event = eventOf(0, 5);
    event["AppCpu"] = nAppCpuStatus;
    event["SystemCpu"] = nSystemCpuStatus;
    event["AppMemory"] = nAppMemory;
    sendWebSocketMsg(toText(event), false); // frequent, so not for the log
}
