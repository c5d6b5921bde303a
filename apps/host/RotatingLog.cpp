#include "RotatingLog.h"

#include <algorithm>
#include <cstdio>

#include <QDateTime>
#include <QDir>
#include <QFileInfo>

namespace lumo::host
{

namespace
{

constexpr int kNoCount = 1000000000; // a number that no counting reached

} // namespace

RotatingLog::RotatingLog(const QString& path, qint64 maxBytes, int maxFiles)
    : path_(path), maxBytes_(std::max<qint64>(1, maxBytes)), maxFiles_(std::max(1, maxFiles)), file_(path)
{
}

void RotatingLog::write(const QByteArray& bytes)
{
    QByteArray rest = bytes;
    while (!rest.isEmpty()) {
        if (!open(QIODevice::Append))
            return;
        const qint64 count = fitting(rest);
        if (count == 0) {
            startAnew();
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

/// how: Append or Truncate.
bool RotatingLog::open(QIODevice::OpenMode how)
{
    if (file_.isOpen())
        return true;
    if (failed_)
        return false;
    if (!file_.open(QIODevice::WriteOnly | how)) {
        failed_ = true;
        std::fprintf(stderr, "lumo-host: cannot write %s: %s\n", qUtf8Printable(path_),
                     qUtf8Printable(file_.errorString()));
        return false;
    }
    // The process writes what the page sent, passwords included: for the owner's eyes only.
    file_.setPermissions(QFileDevice::ReadOwner | QFileDevice::WriteOwner);
    return true;
}

/// Leaves an empty current file, or none. One that cannot be put aside loses its lines: what comes says more, and the
/// bound holds.
void RotatingLog::startAnew()
{
    file_.close();
    if (rotate())
        return;
    if (!warned_)
        std::fprintf(stderr, "lumo-host: cannot put %s aside, so that it begins anew\n", qUtf8Printable(path_));
    warned_ = true;
    open(QIODevice::Truncate);
}

/// False when the current file is still there: somebody holds it, or what is no file has the older one's name.
bool RotatingLog::rotate()
{
    if (maxFiles_ == 1)
        return QFile::remove(path_);
    QFile::remove(olderPath(maxFiles_ - 1));
    for (int i = maxFiles_ - 1; i > 1; --i)
        QFile::rename(olderPath(i - 1), olderPath(i));
    QFile::rename(path_, olderPath(1));
    return !QFile::exists(path_);
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

QString newSessionLog(const QString& folder, int& lastNumber)
{
    for (const QString& name : QDir(folder).entryList({QStringLiteral("session-*.log*")})) {
        const int number = name.section(QLatin1Char('-'), 1).section(QLatin1Char('.'), 0, 0).toInt();
        if (number < kNoCount)
            lastNumber = std::max(lastNumber, number);
    }
    for (;;) {
        QFile file(QStringLiteral("%1/session-%2.log").arg(folder).arg(++lastNumber, 4, 10, QLatin1Char('0')));
        if (file.open(QIODevice::WriteOnly | QIODevice::NewOnly) || !file.exists())
            return file.fileName();
    }
}

void pruneLogs(const QString& folder, int maxFiles)
{
    const QFileInfoList logs =
        QDir(folder).entryInfoList({QStringLiteral("session-*.log*")}, QDir::Files, QDir::Time); // newest first
    for (int i = std::max(0, maxFiles); i < logs.size(); ++i)
        QFile::remove(logs[i].filePath());
}

} // namespace lumo::host
