#include "PickerRunner.h"

#include <gtest/gtest.h>

#include <QCoreApplication>
#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QSettings>
#include <QTextCodec>
#include <QThread>

namespace lumo::test
{
namespace
{

constexpr int kPatienceMs = 20000;

/// Output of xdotool; empty when it fails.
QString xdotool(const QStringList& words)
{
    QProcess process;
    process.start("xdotool", words);
    process.waitForFinished(kPatienceMs);
    return process.exitCode() == 0 ? QString::fromUtf8(process.readAllStandardOutput()).trimmed() : QString();
}

template <typename F> bool eventually(F fact)
{
    QElapsedTimer timer;
    for (timer.start(); timer.elapsed() < kPatienceMs; QThread::msleep(20)) {
        if (fact()) {
            return true;
        }
    }
    return false;
}

} // namespace

PickerRunner::PickerRunner()
{
    QDir(folder()).mkpath("bin");
    QDir(folder()).mkpath("home");
    const QString program = QCoreApplication::applicationDirPath() + "/Browse";
    EXPECT_TRUE(QFile::copy(program, folder() + "/bin/Browse")) << program.toStdString();
}

PickerRunner::~PickerRunner()
{
    if (m_process.state() != QProcess::NotRunning) {
        m_process.kill();
        m_process.waitForFinished(kPatienceMs);
    }
}

QString PickerRunner::makeFolder(const QString& name)
{
    QDir(folder()).mkpath(name);
    return folder() + "/" + name;
}

QString PickerRunner::makeFile(const QString& name)
{
    QFile file(folder() + "/" + name);
    EXPECT_TRUE(file.open(QIODevice::WriteOnly));
    return file.fileName();
}

void PickerRunner::setFolder(const QString& key, const QString& path)
{
    QSettings settings(settingsFile(), QSettings::IniFormat);
    settings.setIniCodec("System");
    settings.setValue(key, path);
}

void PickerRunner::start(const QStringList& arguments)
{
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert("HOME", m_home);
    environment.insert("XDG_CONFIG_HOME", folder() + "/home/config");
    environment.insert("LC_ALL", "C.UTF-8");
    environment.insert("QT_XCB_GL_INTEGRATION", "none"); // as the viewer passes it on
    m_process.setProcessEnvironment(environment);
    m_process.start(folder() + "/bin/Browse", arguments);
    EXPECT_TRUE(m_process.waitForStarted(kPatienceMs));
}

QString PickerRunner::title()
{
    return focusNewest(1);
}

void PickerRunner::awaitMessage()
{
    focusNewest(2);
}

QString PickerRunner::focusNewest(int count)
{
    const QString pid = QString::number(m_process.processId());
    QString window, name;
    const bool stands = eventually([&] {
        const QString windows = xdotool({"search", "--onlyvisible", "--pid", pid});
        if (windows.isEmpty() || windows.count('\n') + 1 != count)
            return false;
        // Listed from the bottom to the top.
        window = windows.section('\n', count - 1);
        name = xdotool({"getwindowname", window});
        return !name.isEmpty();
    });
    EXPECT_TRUE(stands) << count << " windows of the picker are not there";
    xdotool({"windowfocus", "--sync", window});
    return name;
}

void PickerRunner::key(const QString& name)
{
    xdotool({"key", "--clearmodifiers", name});
}

void PickerRunner::type(const QString& text)
{
    xdotool({"type", "--delay", "5", text});
}

PickerRunner::Result PickerRunner::result()
{
    EXPECT_TRUE(m_process.waitForFinished(kPatienceMs)) << "the picker goes on";
    return {m_process.exitStatus() == QProcess::NormalExit ? m_process.exitCode() : -1,
            m_process.readAllStandardOutput(), m_process.readAllStandardError()};
}

} // namespace lumo::test
