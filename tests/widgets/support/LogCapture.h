// The log lines that are written while it lives, for tests that ask for them.
// Thread: lines of the GUI thread only.
#pragma once

#include <QObject>
#include <QStringList>

class LogCapture
{
public:
    LogCapture();
    ~LogCapture();

    /// The texts under one tag, oldest first.
    QStringList of(const QString& tag) const;
    /// The warnings among them.
    QStringList warningsOf(const QString& tag) const;
    void clear() { m_lines.clear(); }

private:
    struct Line {
        QString tag;
        QString text;
        bool warning;
    };

    QList<Line> m_lines;
    QMetaObject::Connection m_connection;
};
