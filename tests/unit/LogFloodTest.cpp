// Lines that come faster than they are written: nobody waits, what piles up is bounded, and the log says what is
// missing.
#include "shell/LightWeightLog.h"
#include "shell/LogBacklog.h"

#include <gmock/gmock.h>

#include <QMutex>
#include <QRegularExpression>
#include <QStringList>
#include <QWaitCondition>

namespace
{

/// Stands in for the debug stream. While it is held the log thread stands still in it, like on a disk that does not
/// answer.
class HeldStream
{
public:
    HeldStream()
    {
        g_pStream = this;
        m_former = qInstallMessageHandler(
            [](QtMsgType, const QMessageLogContext&, const QString& strLine) { g_pStream->take(strLine); });
    }
    ~HeldStream()
    {
        release();
        LightWeightLog::instance()->drain();
        qInstallMessageHandler(m_former);
        g_pStream = nullptr;
    }
    bool waitUntilHeld()
    {
        const QMutexLocker lock(&m_mutex);
        return !m_lines.isEmpty() || m_changed.wait(&m_mutex, 20000);
    }
    void release()
    {
        const QMutexLocker lock(&m_mutex);
        m_bHeld = false;
        m_changed.wakeAll();
    }
    QStringList lines()
    {
        const QMutexLocker lock(&m_mutex);
        return m_lines;
    }

private:
    void take(const QString& strLine)
    {
        const QMutexLocker lock(&m_mutex);
        m_lines << strLine;
        m_changed.wakeAll();
        while (m_bHeld)
            m_changed.wait(&m_mutex);
    }

    static HeldStream* g_pStream;
    QtMessageHandler m_former;
    QMutex m_mutex;
    QWaitCondition m_changed;
    bool m_bHeld = true;
    QStringList m_lines;
};

HeldStream* HeldStream::g_pStream = nullptr;

TEST(LogBacklogTest, LinesAreLeftOutBeyondTheBoundAndUntilHalfOfItIsWritten)
{
    constexpr int kLine = LogBacklog::kMaxUnwritten / 4;
    LogBacklog backlog;
    for (int i = 0; i < 5; ++i)
        EXPECT_TRUE(backlog.admit(kLine)) << i;
    EXPECT_FALSE(backlog.admit(1));
    backlog.written(kLine);
    backlog.written(kLine);
    EXPECT_FALSE(backlog.admit(1)) << "three quarters are unwritten";
    backlog.written(kLine);
    EXPECT_TRUE(backlog.admit(1));
    EXPECT_EQ(backlog.lostSinceAsked(), 2);
    EXPECT_EQ(backlog.lostSinceAsked(), 0);
}

TEST(LogBacklogTest, ALineOfAnyLengthIsTaken)
{
    LogBacklog backlog;
    EXPECT_TRUE(backlog.admit(10));
    EXPECT_TRUE(backlog.admit(10 * LogBacklog::kMaxUnwritten));
}

TEST(LogFlood, NobodyWaitsForALogThatStandsStillAndItTellsHowManyLinesItHasNot)
{
    LightWeightLog::instance()->drain(); // what other tests logged
    HeldStream stream;
    writeLog("Flood::first", "begin");
    ASSERT_TRUE(stream.waitUntilHeld());

    constexpr int kLines = 60000;
    for (int i = 0; i < kLines; ++i)
        writeLog("Flood::line", QString::number(i)); // returns, though nothing is written
    stream.release();
    LightWeightLog::instance()->drain();
    writeLog("Flood::last", "end");
    LightWeightLog::instance()->drain();

    const QStringList lines = stream.lines();
    const int nWritten = lines.filter("Flood::line").size();
    const int nLength = lines.last().size();
    EXPECT_LT(nWritten, LogBacklog::kMaxUnwritten / nLength + 100) << "what is kept in memory is bounded";
    EXPECT_GT(nWritten, LogBacklog::kMaxUnwritten / nLength / 2) << "and not for less";
    for (int i = 0; i < nWritten; ++i)
        ASSERT_TRUE(lines[i + 1].endsWith("Flood::line] " + QString::number(i))) << "no gap before the first lost one";
    EXPECT_TRUE(lines[nWritten + 1].startsWith("[WARNING]"));
    EXPECT_TRUE(lines[nWritten + 1].endsWith(QString("LightWeightLog::write] %1 lines lost").arg(kLines - nWritten)))
        << lines[nWritten + 1].toStdString();
    EXPECT_TRUE(lines.last().endsWith("Flood::last] end"));
    EXPECT_EQ(lines.size(), nWritten + 3);
}

} // namespace
