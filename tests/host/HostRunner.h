// Starts the real host with the stand-in process, on a port and in folders of its own.
#pragma once

#include <cstdint>
#include <functional>
#include <string>

#include <QProcess>
#include <QString>
#include <QStringList>
#include <QTemporaryDir>

namespace lumo::test
{

/// Waits until the fact holds; false after a bound far above what it takes.
bool eventually(const std::function<bool()>& fact);

/// Path of a program built beside the tests.
QString builtProgram(const char* name);

/// True while a process with this id exists.
bool processExists(qint64 pid);

class HostRunner
{
public:
    /// environment: "NAME=value" entries beside the inherited ones; DISPLAY is taken out unless given.
    explicit HostRunner(const QStringList& arguments = {}, const QStringList& environment = {});

    /// Ends it; an exit code other than 0 fails the test.
    ~HostRunner();

    uint16_t port() const { return port_; }
    qint64 pid() const { return process_.processId(); }

    /// Asks it to end and waits; its exit code, -1 when it did not end.
    int stop();

    /// A path in a folder of this runner, which goes with it.
    QString path(const char* name) const { return folder_.filePath(QString::fromUtf8(name)); }
    std::string pathText(const char* name) const { return path(name).toStdString(); }
    QString logFolder() const { return path("logs"); }

private:
    QTemporaryDir folder_;
    QProcess process_;
    uint16_t port_ = 0;
};

} // namespace lumo::test
