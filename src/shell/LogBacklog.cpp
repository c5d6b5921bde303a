#include "shell/LogBacklog.h"

bool LogBacklog::admit(int nSize)
{
    const qint64 nUnwritten = m_nUnwritten;
    // Half of it must be written first, so that one report tells of many lost lines.
    m_bFull = nUnwritten > (m_bFull ? kMaxUnwritten / 2 : kMaxUnwritten);
    if (m_bFull) {
        ++m_nLost;
        return false;
    }
    add(nSize);
    return true;
}
