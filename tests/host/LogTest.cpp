// The process's debug stream in files that rotate.
#include <gtest/gtest.h>

#include <QDir>
#include <QFile>

#include "HostRunner.h"
#include "RotatingLog.h"
#include "WebClient.h"

using namespace lumo::test;
using lumo::host::RotatingLog;

namespace
{

QByteArray contentOf(const QString& path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

struct LogFolder {
    QTemporaryDir folder;
    QString path() const { return folder.filePath("x.log"); }
    QByteArray file(const char* suffix) const { return contentOf(path() + QLatin1String(suffix)); }
};

} // namespace

TEST(RotatingLogFile, FilesEndAtLinesAndTheOldestGoes)
{
    LogFolder at;
    RotatingLog log(at.path(), 10, 3);
    log.write("one\ntwo\nthree\nfour\n");
    EXPECT_EQ(at.file(".2"), "one\ntwo\n");
    EXPECT_EQ(at.file(".1"), "three\n"); // "four" would make 11 bytes
    EXPECT_EQ(at.file(""), "four\n");
}

TEST(RotatingLogFile, KeepsSoManyFilesAndNoMore)
{
    LogFolder at;
    RotatingLog log(at.path(), 4, 3);
    for (const char* line : {"aaa\n", "bbb\n", "ccc\n", "ddd\n", "eee\n"})
        log.write(line);
    EXPECT_EQ(at.file(""), "eee\n");
    EXPECT_EQ(at.file(".1"), "ddd\n");
    EXPECT_EQ(at.file(".2"), "ccc\n");
    EXPECT_FALSE(QFile::exists(at.path() + ".3"));
}

TEST(RotatingLogFile, ALineLongerThanAFileIsCut)
{
    LogFolder at;
    RotatingLog log(at.path(), 4, 10);
    log.write("a\n0123456789\nb");
    EXPECT_EQ(at.file(".4") + at.file(".3") + at.file(".2") + at.file(".1") + at.file(""), "a\n0123456789\nb");
    EXPECT_EQ(at.file(".2"), "0123");
}

TEST(RotatingLogFile, OneFileStartsAnew)
{
    LogFolder at;
    RotatingLog log(at.path(), 4, 1);
    log.write("aaa\nbbb\n");
    EXPECT_EQ(at.file(""), "bbb\n");
    EXPECT_EQ(QDir(at.folder.path()).entryList(QDir::Files).size(), 1);
}

TEST(RotatingLogFile, AnEarlierRunIsRotatedAway)
{
    LogFolder at;
    RotatingLog(at.path(), 100, 3).write("first run\n");
    RotatingLog(at.path(), 100, 3).write("second run\n");
    EXPECT_EQ(at.file(""), "second run\n");
    EXPECT_EQ(at.file(".1"), "first run\n");
}

TEST(RotatingLogFile, IsForTheOwnersEyesOnly)
{
    LogFolder at;
    RotatingLog(at.path(), 100, 3).write("password\n");
    EXPECT_EQ(QFile::permissions(at.path()) &
                  (QFile::ReadGroup | QFile::WriteGroup | QFile::ReadOther | QFile::WriteOther),
              QFile::Permissions());
}

TEST(RotatingLogFile, AFolderThatCannotBeWrittenDoesNoHarm)
{
    RotatingLog log(QStringLiteral("/nonexistent/folder/x.log"), 100, 3);
    log.write("lost\n");
    log.write("lost\n");
    EXPECT_FALSE(QFile::exists("/nonexistent"));
}

TEST(SessionLog, HoldsBothStreamsAndTheHostsOwnNotes)
{
    HostRunner host;
    WebPage page(host.port());
    EXPECT_EQ(page.ask("debug 4711"), "debugged");
    const QString path = host.logFolder() + "/session-0001.log";
    EXPECT_TRUE(eventually([&] {
        const QByteArray log = contentOf(path);
        return log.contains("error stream: 4711\n") && log.contains("output stream: 4711\n");
    }));
    page.send("exit 3");
    EXPECT_EQ(page.awaitClose().code, 4001);
    const QByteArray log = contentOf(path);
    EXPECT_TRUE(log.contains("host: starts ")) << log.constData();
    EXPECT_TRUE(log.contains("host: the process ended with exit code 3\n")) << log.constData();
}

TEST(SessionLog, EachSessionHasItsOwnFile)
{
    HostRunner host;
    WebPage first(host.port());
    WebPage second(host.port());
    EXPECT_EQ(first.ask("debug one"), "debugged");
    EXPECT_EQ(second.ask("debug two"), "debugged");
    EXPECT_TRUE(eventually([&] { return contentOf(host.logFolder() + "/session-0001.log").contains("stream: one"); }));
    EXPECT_TRUE(eventually([&] { return contentOf(host.logFolder() + "/session-0002.log").contains("stream: two"); }));
    EXPECT_FALSE(contentOf(host.logFolder() + "/session-0001.log").contains("stream: two"));
}

TEST(SessionLog, RotatesWhileTheProcessTalks)
{
    HostRunner host({"--log-size", "10000", "--log-files", "3"});
    WebPage page(host.port());
    EXPECT_EQ(page.ask("chatter 10000"), "chattered");
    const QString path = host.logFolder() + "/session-0001.log";
    EXPECT_TRUE(eventually([&] { return contentOf(path).contains("line 009999\n"); }));
    EXPECT_EQ(QDir(host.logFolder()).entryList(QDir::Files, QDir::Name),
              (QStringList{"session-0001.log", "session-0001.log.1", "session-0001.log.2"}));
    for (const char* suffix : {"", ".1", ".2"}) {
        EXPECT_LE(contentOf(path + suffix).size(), 10000);
        EXPECT_TRUE(contentOf(path + suffix).endsWith('\n'));
    }
}

TEST(SessionLog, FilesOfEarlierSessionsAreBounded)
{
    HostRunner host({"--log-keep", "2"});
    for (int i = 0; i < 5; ++i) {
        WebPage page(host.port());
        EXPECT_EQ(page.ask("x"), "x");
    }
    EXPECT_LE(QDir(host.logFolder()).entryList({"session-*"}, QDir::Files).size(), 3);
    EXPECT_TRUE(QFile::exists(host.logFolder() + "/session-0005.log"));
}
