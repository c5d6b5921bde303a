#include "platform/Paths.h"

namespace platform
{
QChar pathSeparator()
{
    return QLatin1Char('/');
}

QString nativePath(QString strPath)
{
    return strPath.replace(QLatin1Char('\\'), QLatin1Char('/'));
}

QString executableSuffix()
{
    return {};
}
} // namespace platform
