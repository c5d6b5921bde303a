// The event that tells the page how loaded this machine is, while a device is logged in.
#include "hub/PluginManage.h"
#include "maintenance/LoadEvent.h"

void CPluginManage::onSendSystemStatus(int nAppCpuStatus, int nSystemCpuStatus, int nAppMemory)
{
    if (keepLoad(m_login, nAppCpuStatus, nSystemCpuStatus, nAppMemory))
        sendWebSocketMsg(toText(loadEvent(nAppCpuStatus, nSystemCpuStatus, nAppMemory)), false); // too frequent to log
}
