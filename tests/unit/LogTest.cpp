// The log's line format and its files.
#include "shell/LightWeightLog.h"
#include "shell/WriteLogThread.h"

#include <gmock/gmock.h>

#include <QCoreApplication>
#include <QDateTime>
#include <QDir>
#include <QFile>
#include <QRegularExpression>
#include <QThread>

#include <memory>

namespace
{

QString logDir()
{
    return QCoreApplication::applicationDirPath() + "/log";
}

void makeOldFile(int nIndex)
{
    QFile file(logDir() + QString("/old_%1.log").arg(nIndex));
    ASSERT_TRUE(file.open(QIODevice::WriteOnly));
    // The lower the index, the older the file.
    ASSERT_TRUE(
        file.setFileTime(QDateTime::currentDateTime().addSecs(-1000 + nIndex), QFileDevice::FileModificationTime));
}

QStringList files()
{
    return QDir(logDir()).entryList(QDir::Files, QDir::Name);
}

/// Until a new file is named by another second than those that are there.
void waitForAnotherName()
{
    const QString strSecond = QDateTime::currentDateTime().toString("yyyyMMddhhmmss");
    while (QDateTime::currentDateTime().toString("yyyyMMddhhmmss") == strSecond)
        QThread::msleep(10);
}

/// A writer on its own thread, ended with the test.
struct SWriter {
    WriteLogThread* pWriter = new WriteLogThread;
    ~SWriter()
    {
        QThread* pThread = pWriter->thread();
        pThread->quit();
        pThread->wait();
        pThread->setParent(nullptr);
        delete pWriter;
        delete pThread;
    }
    void write(const QString& strLine)
    {
        QMetaObject::invokeMethod(
            pWriter,
            [&] {
                pWriter->writeLog(strLine);
                pWriter->flush();
            },
            Qt::BlockingQueuedConnection);
    }
};

class LogFileTest : public testing::Test
{
protected:
    void SetUp() override { QDir(logDir()).removeRecursively(); }
    void TearDown() override { QDir(logDir()).removeRecursively(); }
};

TEST(LogLine, CarriesLevelThreadTimeTagAndText)
{
    const QString strLine = LightWeightLog::formatLine("A::b", "hello", kLogWarning);
    const QRegularExpression form("^\\[WARNING\\] \\[0x[0-9a-f]{8,}\\] "
                                  "\\[\\d{4}-\\d\\d-\\d\\d \\d\\d:\\d\\d:\\d\\d \\d{3}\\] \\[ {41}A::b\\] hello\n$");
    EXPECT_TRUE(form.match(strLine).hasMatch()) << strLine.toStdString();
    EXPECT_TRUE(LightWeightLog::formatLine("A::b", "x", kLogNormal).startsWith("[ NORMAL] [0x"));
    EXPECT_TRUE(LightWeightLog::formatLine("A::b", "x", kLogError).startsWith("[  ERROR] [0x"));
}

TEST(LogLine, LineBreaksInAMessageAreRemoved)
{
    EXPECT_TRUE(LightWeightLog::formatLine("t", "a\r\nb\nc\rd", 0).endsWith("] abcd\n"));
}

TEST(LogLine, ATagOfFortyFiveOrMoreStandsWithoutPaddingAndUncut)
{
    const QString strTag(45, 'x');
    EXPECT_TRUE(LightWeightLog::formatLine(strTag, "m", 0).contains("[" + strTag + "] m"));
    const QString strLong(60, 'y');
    EXPECT_TRUE(LightWeightLog::formatLine(strLong, "m", 0).contains("[" + strLong + "] m"));
}

TEST(LogLine, PercentSignsInAMessageStayAsTheyAre)
{
    EXPECT_TRUE(LightWeightLog::formatLine("%1", "%1 %2 %L3", 0).endsWith("%1] %1 %2 %L3\n"));
}

TEST_F(LogFileTest, FiveFilesBecomeFourAtStartAndTheOldestGoes)
{
    ASSERT_TRUE(QDir().mkpath(logDir()));
    for (int i = 0; i < 5; ++i)
        makeOldFile(i);
    SWriter writer;
    EXPECT_EQ((QStringList{"old_1.log", "old_2.log", "old_3.log", "old_4.log"}), files());
}

TEST_F(LogFileTest, TheFolderIsMadeAndTheFileNamedByProcessAndTime)
{
    SWriter writer;
    writer.write("line\n");
    ASSERT_EQ(1, files().size());
    const QRegularExpression form(QString("^log_%1_\\d{14}\\.log$").arg(QCoreApplication::applicationPid()));
    EXPECT_TRUE(form.match(files()[0]).hasMatch()) << files()[0].toStdString();
    QFile file(logDir() + "/" + files()[0]);
    ASSERT_TRUE(file.open(QIODevice::ReadOnly));
    EXPECT_EQ(QByteArray("line\n"), file.readAll());
}

TEST_F(LogFileTest, FilesOfOtherProcessesInTheFolderArePrunedToo)
{
    ASSERT_TRUE(QDir().mkpath(logDir()));
    for (int i = 0; i < 3; ++i)
        makeOldFile(i);
    SWriter first;
    first.write("of the first\n");
    makeOldFile(3); // five now: the second writer's start leaves four
    SWriter second;
    const QStringList all = files();
    EXPECT_EQ(4, all.size());
    EXPECT_FALSE(all.contains("old_0.log"));
}

TEST_F(LogFileTest, AFileAtTheLimitGrowsBeyondItAndOneBeyondItIsClosed)
{
    constexpr int kLimit = 524288;
    SWriter writer;
    writer.write(QString(kLimit - 1, 'x') + "\n");
    const QString strFirst = logDir() + "/" + files().value(0);
    writer.write("beyond\n"); // the size is looked at before the write
    EXPECT_EQ(kLimit + 7, QFileInfo(strFirst).size());
    writer.write("next\n"); // to another file, or within one second to the head of the same
    EXPECT_EQ(kLimit + 7, QFileInfo(strFirst).size());
}

TEST_F(LogFileTest, ALongSessionKeepsTenFilesAndTheNewOne)
{
    SWriter writer;
    const QString strBig = QString(600000, 'x') + "\n"; // grows beyond the limit with one line
    writer.write(strBig);
    for (int i = 0; i < 12; ++i)
        makeOldFile(i);
    waitForAnotherName();
    writer.write("after\n"); // rotates: the size is looked at before the write
    const QStringList all = files();
    EXPECT_EQ(11, all.size());
    for (int i = 0; i < 12; ++i)
        EXPECT_EQ(i >= 3, all.contains(QString("old_%1.log").arg(i))) << i;
}

TEST_F(LogFileTest, AFolderThatCannotBeMadeIsIgnored)
{
    QFile blocker(logDir());
    ASSERT_TRUE(blocker.open(QIODevice::WriteOnly));
    blocker.close();
    {
        SWriter writer;
        writer.write("lost\n");
        writer.write("lost too\n");
    }
    EXPECT_EQ(0, QFileInfo(logDir()).size());
    blocker.remove();
}

} // namespace
