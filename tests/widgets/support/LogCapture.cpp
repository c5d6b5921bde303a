#include "support/LogCapture.h"

#include "shell/LightWeightLog.h"

#include <QRegularExpression>
#include <QThread>

LogCapture::LogCapture()
{
    m_connection = QObject::connect(
        LightWeightLog::instance(), &LightWeightLog::writeLogSig, LightWeightLog::instance(),
        [this](const QString& line) {
            static const QRegularExpression form("^\\[([A-Z ]*)\\] \\[[^]]*\\] \\[[^]]*\\] \\[ *([^]]*)\\] (.*)\n$");
            const QRegularExpressionMatch match = form.match(line);
            if (match.hasMatch() && QThread::currentThread() == LightWeightLog::instance()->thread())
                m_lines += Line{match.captured(2), match.captured(3), match.captured(1) == "WARNING"};
        },
        Qt::DirectConnection);
}

LogCapture::~LogCapture()
{
    QObject::disconnect(m_connection);
}

QStringList LogCapture::of(const QString& tag) const
{
    QStringList texts;
    for (const Line& line : m_lines)
        if (line.tag == tag)
            texts += line.text;
    return texts;
}

QStringList LogCapture::warningsOf(const QString& tag) const
{
    QStringList texts;
    for (const Line& line : m_lines)
        if (line.tag == tag && line.warning)
            texts += line.text;
    return texts;
}
