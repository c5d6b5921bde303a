// Owner of the log file, on a thread of its own. A plain QObject, whatever the name says.
//
// Thread: created by the log front end; all slots run on the log thread. Errors: a file or folder that cannot be
// made is ignored, and its lines are lost.
#pragma once

#include "shell/LogBacklog.h"

#include <QFile>
#include <QObject>
#include <QString>

class WriteLogThread : public QObject
{
    Q_OBJECT
public:
    /// Keeps the four newest files of the folder, and starts the log thread if there is an application object.
    WriteLogThread();

    /// The application's directory; empty before the application object exists.
    static QString applicationDir();

    /// The creating thread's word that there is an application object now. Until then no other thread can run an event
    /// loop, so the first lines are written by whoever logs them.
    void startThread();

    /// The object's thread only.
    void flush();

    LogBacklog backlog; // any thread: what is queued for writeLog

public slots:
    void writeLog(QString strLog);

private:
    void openNewFile();
    void keepNewest(int nFiles) const;

    QFile file;
    QString logDir;
};
