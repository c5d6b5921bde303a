#include "maintenance/VersionAddress.h"

QString defaultVersionAddress(const QString& strServer, const QString& strWebType)
{
    if (strServer.isEmpty())
        return QString();
    return QString("http://%1:8080").arg(strServer) + QString("/ocx/%1LumoPlayToolVersion.ini").arg(strWebType);
}
