#include "RotatingLog.h"

#include <algorithm>
#include <cstdio>

#include <QDateTime>
#include <QDir>
#include <QFileInfo>

namespace lumo::host
{

RotatingLog::RotatingLog(const QString& path, qint64 maxBytes, int maxFiles)
    : path_(path), maxBytes_(std::max<qint64>(1, maxBytes)), maxFiles_(std::max(1, maxFiles)), file_(path)
{
    if (QFileInfo(path_).size() > 0)
        rotate();
}

void RotatingLog::write(const QByteArray& bytes)
{
    QByteArray rest = bytes;
    while (!rest.isEmpty()) {
        if (!open())
            return;
        const qint64 count = fitting(rest);
        if (count == 0) {
            rotate();
            continue;
        }
        if (file_.write(rest.constData(), count) != count)
            return;
        file_.flush();
        rest.remove(0, static_cast<int>(count));
    }
}

void RotatingLog::note(const QString& line)
{
    const QString stamp = QDateTime::currentDateTime().toString(QStringLiteral("yyyy-MM-dd hh:mm:ss.zzz"));
    write(QStringLiteral("[%1] host: %2\n").arg(stamp, line).toUtf8());
}

bool RotatingLog::open()
{
    if (file_.isOpen())
        return true;
    if (failed_)
        return false;
    if (!file_.open(QIODevice::WriteOnly | QIODevice::Append)) {
        failed_ = true;
        std::fprintf(stderr, "lumo-host: cannot write %s: %s\n", qUtf8Printable(path_),
                     qUtf8Printable(file_.errorString()));
        return false;
    }
    // The process writes what the page sent, passwords included: for the owner's eyes only.
    file_.setPermissions(QFileDevice::ReadOwner | QFileDevice::WriteOwner);
    return true;
}

void RotatingLog::rotate()
{
    file_.close();
    if (maxFiles_ == 1) {
        QFile::remove(path_);
        return;
    }
    QFile::remove(olderPath(maxFiles_ - 1));
    for (int i = maxFiles_ - 1; i > 1; --i)
        QFile::rename(olderPath(i - 1), olderPath(i));
    QFile::rename(path_, olderPath(1));
}

QString RotatingLog::olderPath(int index) const
{
    return QStringLiteral("%1.%2").arg(path_).arg(index);
}

/// Bytes that still go into the current file: whole lines if one fits, else 0 to ask for a new file,
/// else (a line longer than a file) as much as there is room for.
qint64 RotatingLog::fitting(const QByteArray& bytes) const
{
    const qint64 room = maxBytes_ - file_.size();
    if (bytes.size() <= room)
        return bytes.size();
    if (room <= 0)
        return 0;
    const qint64 lines = bytes.lastIndexOf('\n', static_cast<int>(room - 1)) + 1;
    if (lines > 0)
        return lines;
    return file_.size() > 0 ? 0 : room;
}

void pruneLogs(const QString& folder, int maxFiles)
{
    const QFileInfoList logs =
        QDir(folder).entryInfoList({QStringLiteral("session-*.log*")}, QDir::Files, QDir::Time); // newest first
    for (int i = std::max(0, maxFiles); i < logs.size(); ++i)
        QFile::remove(logs[i].filePath());
}

} // namespace lumo::host
