// The one front end of the log: formats a line on the calling thread and hands it to WriteLogThread by signal.
//
// Thread: write() from any thread. Blocking: never waits for the disk; lines that come faster than it takes them for
// long are left out, and a line says how many (LogBacklog.h). Errors: never reported.
#pragma once

#include <QObject>
#include <QString>

enum ELogLevel { kLogNormal = 0, kLogWarning = 1, kLogError = 2 };

class WriteLogThread;

class LightWeightLog : public QObject
{
    Q_OBJECT
public:
    /// Created on first use, lives to the end of the process.
    static LightWeightLog* instance();

    /// strTag is "Class::function". A level outside 0 to 2 counts as normal.
    void write(const QString& strTag, const QString& strMessage, int nLevel = kLogNormal);

    /// Waits until every line written so far is in the file and on the debug stream. For the end of main only.
    void drain();

    /// main's word, once, right after it made the application object, when it has logged before.
    void applicationStarted();

    /// One finished line, as it goes into the file.
    static QString formatLine(const QString& strTag, const QString& strMessage, int nLevel);

signals:
    void writeLogSig(QString strLog);

private:
    LightWeightLog();
    void tellLost();

    bool enabled = true;
    WriteLogThread* m_pWriter = nullptr;
};

/// Shorthand for LightWeightLog::instance()->write().
inline void writeLog(const char* szTag, const QString& strMessage, int nLevel = kLogNormal)
{
    LightWeightLog::instance()->write(QString::fromLatin1(szTag), strMessage, nLevel);
}
