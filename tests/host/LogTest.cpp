// The process's debug stream in files that rotate.
#include <gtest/gtest.h>

#include <QDir>
#include <QFile>

#include "HostRunner.h"
#include "RotatingLog.h"
#include "WebClient.h"

using namespace lumo::test;
using lumo::host::newSessionLog;
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

TEST(RotatingLogFile, OneThatCannotBePutAsideBeginsAnewAfterOneWarning)
{
    LogFolder at;
    const QString inTheWay = at.path() + ".1";
    QDir().mkpath(inTheWay);
    QFile held(inTheWay + "/held");
    ASSERT_TRUE(held.open(QIODevice::WriteOnly));

    RotatingLog log(at.path(), 4, 2);
    testing::internal::CaptureStderr();
    log.write("aaa\nbbb\nccc\n");
    EXPECT_EQ(testing::internal::GetCapturedStderr(),
              "lumo-host: cannot put " + at.path().toStdString() + " aside, so that it begins anew\n");
    EXPECT_EQ(at.file(""), "ccc\n");
    EXPECT_TRUE(held.exists());
}

TEST(RotatingLogFile, OneThatSomebodyRemovedBeginsAnew)
{
    LogFolder at;
    RotatingLog log(at.path(), 4, 2);
    log.write("aaa\n");
    QFile::remove(at.path());
    log.write("bbb\n");
    EXPECT_EQ(at.file(""), "bbb\n");
}

TEST(SessionLogName, IsAboveAllThatAreThereAndAllThatWere)
{
    LogFolder at;
    const QString folder = at.folder.path();
    int last = 0;
    EXPECT_EQ(newSessionLog(folder, last), folder + "/session-0001.log");
    EXPECT_EQ(newSessionLog(folder, last), folder + "/session-0002.log");
    QFile::remove(folder + "/session-0002.log");
    EXPECT_EQ(newSessionLog(folder, last), folder + "/session-0003.log"); // whoever had it may still write

    int another = 0; // another host
    EXPECT_EQ(newSessionLog(folder, another), folder + "/session-0004.log");
    QDir().mkpath(folder + "/session-0017.log.1");
    QDir().mkpath(folder + "/session-2147483647.log");
    QDir().mkpath(folder + "/session-x.log");
    EXPECT_EQ(newSessionLog(folder, last), folder + "/session-0018.log");
    EXPECT_EQ(newSessionLog(folder + "/none", last), folder + "/none/session-0019.log");
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

TEST(SessionLog, TwoHostsAndALaterStartShareNoFile)
{
    HostRunner host;
    const QStringList sameFolder{"--log-dir", host.logFolder()};
    const auto say = [](HostRunner& on, const char* words) {
        WebPage page(on.port());
        EXPECT_EQ(page.ask(std::string("debug ") + words), "debugged");
    };
    {
        HostRunner beside(sameFolder);
        say(host, "first");
        say(beside, "beside");
        EXPECT_TRUE(eventually([&] { return contentOf(host.logFolder() + "/session-0002.log").contains("beside"); }));
    }
    HostRunner later(sameFolder);
    say(later, "later");
    EXPECT_TRUE(eventually([&] { return contentOf(host.logFolder() + "/session-0003.log").contains("later"); }));
    EXPECT_TRUE(contentOf(host.logFolder() + "/session-0001.log").contains("first"));
    EXPECT_EQ(QDir(host.logFolder()).entryList(QDir::Files, QDir::Name),
              (QStringList{"session-0001.log", "session-0002.log", "session-0003.log"}));
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
