#include "maintenance/VersionOrder.h"

#include <QStringList>

bool IsNewVersion(const QString& strNew, const QString& strCur)
{
    if (strNew.isEmpty() || strCur.isEmpty())
        return !strNew.isEmpty();
    const QStringList newer = strNew.split('.');
    const QStringList current = strCur.split('.');
    constexpr int kFields = 4;
    for (int i = 0; i < kFields; ++i) {
        const int nNew = newer.value(i).toInt();
        const int nCur = current.value(i).toInt();
        if (nNew != nCur)
            return nNew > nCur;
    }
    return false;
}
