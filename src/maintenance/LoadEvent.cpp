#include "maintenance/LoadEvent.h"

#include "hub/Json.h"

Json::Value loadEvent(int nAppCpu, int nSystemCpu, int nAppMemory)
{
    Json::Value event = eventOf(0, 5);
    event["AppCpu"] = nAppCpu;
    event["SystemCpu"] = nSystemCpu;
    event["AppMemory"] = nAppMemory;
    return event;
}
