#include "device/LoginContext.h"

#include <cstring>

void copyField(char* pField, size_t nSize, const char* szText)
{
    const size_t nLength = qstrnlen(szText, uint(nSize - 1));
    std::memcpy(pField, szText, nLength);
    std::memset(pField + nLength, 0, nSize - nLength);
}

bool keepLoad(LoginContext& context, int nAppCpu, int nSystemCpu, int nAppMemory)
{
    if (context.loginId <= 0 || nAppCpu < 0 || nSystemCpu < 0)
        return false;
    context.lastAppCpu = nAppCpu;
    context.lastSystemCpu = nSystemCpu;
    context.lastAppMemory = nAppMemory;
    return true;
}
