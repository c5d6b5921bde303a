// A log file of bounded size with a bounded number of older ones beside it: name, name.1, name.2, ...
// Thread: the one that uses it. Errors: a file that cannot be written loses its lines in silence, after one warning;
// one that cannot be put aside begins anew.
#pragma once

#include <QByteArray>
#include <QFile>
#include <QString>

namespace lumo::host
{

class RotatingLog
{
public:
    /// maxBytes: of one file, at least 1. maxFiles: the current one and the older ones together, at least 1.
    RotatingLog(const QString& path, qint64 maxBytes, int maxFiles);

    /// Appends bytes as they are. A file ends at the end of a line where it can.
    void write(const QByteArray& bytes);

    /// Appends one line of the host's own with the time in front.
    void note(const QString& line);

private:
    bool open(QIODevice::OpenMode how);
    void startAnew();
    bool rotate();
    QString olderPath(int index) const;
    qint64 fitting(const QByteArray& bytes) const;

    QString path_;
    qint64 maxBytes_;
    int maxFiles_;
    QFile file_;
    bool failed_ = false;
    bool warned_ = false;
};

/// Makes the empty file session-NNNN.log for one more session in a folder and answers its path. NNNN is above
/// lastNumber, which becomes it, and above all numbers in the folder, so that no two sessions share a file: not those
/// of an earlier start, not those of another host. Where no file can be made the path is answered all the same.
QString newSessionLog(const QString& folder, int& lastNumber);

/// Removes the oldest of the logs that earlier sessions left in a folder, so that at most maxFiles stay.
void pruneLogs(const QString& folder, int maxFiles);

} // namespace lumo::host
