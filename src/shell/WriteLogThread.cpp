#include "shell/WriteLogThread.h"

#include <QCoreApplication>
#include <QDateTime>
#include <QDebug>
#include <QDir>
#include <QThread>

namespace
{
constexpr qint64 kRotateAbove = 524288; // bytes
constexpr int kKeepAtStart = 4;
constexpr int kKeepAtRotation = 10;
} // namespace

QString WriteLogThread::applicationDir()
{
    return QCoreApplication::instance() ? QCoreApplication::applicationDirPath() : QString();
}

WriteLogThread::WriteLogThread() : logDir(applicationDir() + "/log")
{
    if (!QDir(logDir).exists())
        QDir().mkpath(logDir);
    keepNewest(kKeepAtStart);

    if (QCoreApplication::instance())
        startThread();
}

void WriteLogThread::startThread()
{
    auto* pThread = new QThread(this);
    moveToThread(pThread);
    pThread->start(QThread::InheritPriority);
}

void WriteLogThread::keepNewest(int nFiles) const
{
    const QFileInfoList files = QDir(logDir).entryInfoList(QDir::Files, QDir::Time);
    for (int i = files.size() - 1; i >= nFiles; --i)
        QFile::remove(files[i].absoluteFilePath());
}

void WriteLogThread::openNewFile()
{
    const QString strTime = QDateTime::currentDateTime().toString("yyyyMMddhhmmss");
    file.setFileName(QString("%1/log_%2_%3.log").arg(logDir).arg(QCoreApplication::applicationPid()).arg(strTime));
    file.open(QIODevice::ReadWrite);
}

void WriteLogThread::writeLog(QString strLog)
{
    backlog.written(strLog.size());
    if (!file.isOpen()) {
        openNewFile();
    } else if (file.size() > kRotateAbove) {
        file.close();
        keepNewest(kKeepAtRotation);
        openNewFile();
    }
    if (file.isOpen())
        file.write(strLog.toLocal8Bit());
    strLog.chop(1); // the debug stream ends its lines itself
    qDebug().noquote() << strLog;
}

void WriteLogThread::flush()
{
    if (file.isOpen())
        file.flush();
}
