// The program under test in an application folder of its own, and its debug stream.
// Thread: the runner's one thread.
#pragma once

#include <QObject>
#include <QProcess>
#include <QProcessEnvironment>
#include <QTemporaryDir>
#include <QVector>

struct LogLine {
    QString level; // normal, warning, error
    QString thread;
    QString tag;
    QString text;
};

class Program : public QObject
{
public:
    /// decodeFolder: of another decode library than the recording one, or empty; folderName: what the program's folder
    /// is to be called, or empty.
    Program(const QString& executable, const QString& fakesFolder, const QString& decodeFolder,
            const QString& folderName);
    ~Program() override;
    /// The folder that holds the executable, as Qt writes it.
    QString folder() const { return m_folder; }
    QProcessEnvironment environment;
    /// Puts a stand-in for another program beside it; a further call with that name says what its next start does.
    void addStandIn(const QString& name, const QStringList& steps);
    void start(const QStringList& arguments, quint16 fakePort);
    bool started() const { return m_started; }
    bool running() const { return m_process.state() != QProcess::NotRunning; }
    qint64 pid() const { return m_pid; }
    bool crashed() const;
    int exitCode() const { return m_process.exitCode(); }
    /// For what a conversation leaves running.
    void kill();

    const QVector<LogLine>& log() const { return m_log; }
    /// Frames that the log has told of.
    int framesRead() const { return m_framesRead; }
    const QStringList& lines() const { return m_lines; }
    /// The first log line that is not formed as it must be, or empty.
    QString badLogLine() const { return m_badLine; }
    QString standardError() const { return QString::fromLocal8Bit(m_all); }

private:
    void read();
    void onLine(const QString& line);

    QTemporaryDir m_dir;
    const QString m_folder;
    QString m_executable;
    const QString m_fakesFolder, m_decodeFolder;
    QProcess m_process;
    bool m_started = false;
    qint64 m_pid = 0;
    QByteArray m_all;
    QByteArray m_rest;
    QStringList m_lines;
    QVector<LogLine> m_log;
    QString m_badLine;
    int m_framesRead = 0;
};

/// What the program wrote as text: in the code page on Windows, else UTF-8.
QString localText(const QByteArray& bytes);

/// Memory that a process has in use; 0 when that is unknown. One implementation file per platform.
qint64 residentBytes(qint64 pid);
