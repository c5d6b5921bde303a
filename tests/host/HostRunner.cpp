#include "HostRunner.h"

#include <gtest/gtest.h>

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QFileInfo>
#include <QJsonDocument>
#include <QJsonObject>
#include <QProcessEnvironment>
#include <QThread>

namespace lumo::test
{

namespace
{

constexpr int kPatienceMs = 30000;

} // namespace

bool eventually(const std::function<bool()>& fact)
{
    QElapsedTimer clock;
    clock.start();
    while (!fact()) {
        if (clock.hasExpired(kPatienceMs))
            return false;
        QThread::msleep(2);
    }
    return true;
}

QString builtProgram(const char* name)
{
    return QCoreApplication::applicationDirPath() + QLatin1Char('/') + QString::fromLatin1(name);
}

bool processExists(qint64 pid)
{
    return QFileInfo::exists(QStringLiteral("/proc/%1").arg(pid));
}

HostRunner::HostRunner(const QStringList& arguments, const QStringList& environment)
{
    QProcessEnvironment all = QProcessEnvironment::systemEnvironment();
    all.remove(QStringLiteral("DISPLAY"));
    for (const QString& entry : environment)
        all.insert(entry.section(QLatin1Char('='), 0, 0), entry.section(QLatin1Char('='), 1));
    process_.setProcessEnvironment(all);
    process_.setProcessChannelMode(QProcess::ForwardedErrorChannel);

    QStringList line = {QStringLiteral("--port"), QStringLiteral("0"), QStringLiteral("--log-dir"), logFolder()};
    if (!arguments.contains(QStringLiteral("--program")))
        line << QStringLiteral("--program") << builtProgram("host_fake_process");
    process_.start(builtProgram("lumo-host"), line + arguments);
    while (!process_.canReadLine())
        if (!process_.waitForReadyRead(kPatienceMs)) {
            ADD_FAILURE() << "the host did not say that it is ready";
            return;
        }
    const QByteArray ready = process_.readLine();
    port_ = static_cast<uint16_t>(QJsonDocument::fromJson(ready).object().value(QStringLiteral("port")).toInt());
    EXPECT_NE(port_, 0) << ready.constData();
}

HostRunner::~HostRunner()
{
    if (process_.state() != QProcess::NotRunning) {
        EXPECT_EQ(stop(), 0) << "the host did not end well";
    }
}

int HostRunner::stop()
{
    process_.terminate();
    if (!process_.waitForFinished(kPatienceMs)) {
        process_.kill();
        process_.waitForFinished();
        return -1;
    }
    return process_.exitStatus() == QProcess::NormalExit ? process_.exitCode() : -1;
}

} // namespace lumo::test
