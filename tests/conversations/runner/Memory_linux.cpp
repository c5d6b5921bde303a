#include "Program.h"

#include <QFile>

#include <unistd.h>

qint64 residentBytes(qint64 pid)
{
    QFile file(QString("/proc/%1/statm").arg(pid));
    const QByteArray text = file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
    return text.split(' ').value(1).toLongLong() * sysconf(_SC_PAGESIZE);
}
