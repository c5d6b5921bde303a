#include "shell/LightWeightLog.h"

#include "platform/ClientConfig.h"
#include "shell/WriteLogThread.h"

#include <QCoreApplication>
#include <QDateTime>
#include <QRegularExpression>
#include <QSettings>
#include <QThread>

LightWeightLog* LightWeightLog::instance()
{
    static LightWeightLog* const pInstance = new LightWeightLog;
    return pInstance;
}

LightWeightLog::LightWeightLog()
{
    // main logs before the application object exists, so its directory is empty text and this is the file at the
    // root of the drive. Those who diagnose a session in the field look for the log there.
    const QSettings settings(WriteLogThread::applicationDir() + platform::kClientConfigFile, QSettings::IniFormat);
    enabled = settings.value("Enable/PrintLogEn", 1).toBool();
    if (enabled) {
        m_pWriter = new WriteLogThread;
        connect(this, &LightWeightLog::writeLogSig, m_pWriter, &WriteLogThread::writeLog);
    }
}

QString LightWeightLog::formatLine(const QString& strTag, const QString& strMessage, int nLevel)
{
    // Never destroyed: threads still log while the process ends.
    static const QRegularExpression& lineBreaks = *new QRegularExpression("\\r|\\n");
    static const char* const kLevels[] = {"[ NORMAL] [0x", "[WARNING] [0x", "[  ERROR] [0x"};
    const char* szLevel = kLevels[nLevel >= kLogNormal && nLevel <= kLogError ? nLevel : kLogNormal];
    const auto nThread = reinterpret_cast<quintptr>(QThread::currentThreadId());
    return szLevel + QString::number(nThread, 16).rightJustified(8, '0') + "] [" +
           QDateTime::currentDateTime().toString("yyyy-MM-dd HH:mm:ss zzz") + "] [" + strTag.rightJustified(45) + "] " +
           QString(strMessage).remove(lineBreaks) + "\n";
}

void LightWeightLog::write(const QString& strTag, const QString& strMessage, int nLevel)
{
    if (!enabled)
        return;
    const QString strLine = formatLine(strTag, strMessage, nLevel);
    if (!m_pWriter->backlog.admit(strLine.size()))
        return;
    tellLost();
    emit writeLogSig(strLine);
}

/// Where lines are missing a line says so.
void LightWeightLog::tellLost()
{
    const int nLost = m_pWriter->backlog.lostSinceAsked();
    if (nLost == 0)
        return;
    const QString strLine = formatLine("LightWeightLog::write", QString("%1 lines lost").arg(nLost), kLogWarning);
    m_pWriter->backlog.add(strLine.size());
    emit writeLogSig(strLine);
}

void LightWeightLog::drain()
{
    if (!m_pWriter)
        return;
    tellLost();
    if (m_pWriter->thread() == QThread::currentThread())
        m_pWriter->flush();
    else
        QMetaObject::invokeMethod(
            m_pWriter, [this] { m_pWriter->flush(); }, Qt::BlockingQueuedConnection);
}

void LightWeightLog::applicationStarted()
{
    if (m_pWriter)
        m_pWriter->startThread();
}
