#include "Program.h"

#include "Failure.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QRegularExpression>

#include <filesystem>

namespace
{

/// A link where the file system allows it: copying a program for each conversation costs more than running it.
void placeFile(const QString& from, const QString& to)
{
    std::error_code error;
    std::filesystem::create_hard_link(from.toStdString(), to.toStdString(), error);
    if (error && !QFile::copy(from, to)) {
        throw Failure{"cannot copy " + from + " to " + to};
    }
}

} // namespace

QString localText(const QByteArray& line)
{
#ifdef Q_OS_WIN
    return QString::fromLocal8Bit(line); // the program writes in the code page
#else
    return QString::fromUtf8(line);
#endif
}

namespace
{

void putInFront(QProcessEnvironment& environment, const QString& name, const QString& folder)
{
    const QString old = environment.value(name);
    environment.insert(name, old.isEmpty() ? folder : folder + QChar(name == "PATH" ? ';' : ':') + old);
}

} // namespace

Program::Program(const QString& executable, const QString& fakesFolder, const QString& decodeFolder,
                 const QString& folderName)
    : environment(QProcessEnvironment::systemEnvironment()),
      m_folder(folderName.isEmpty() ? m_dir.path() : m_dir.filePath(folderName)), m_executable(executable),
      m_fakesFolder(fakesFolder), m_decodeFolder(decodeFolder.isEmpty() ? fakesFolder : decodeFolder)
{
    const QFileInfo info(executable);
    if (!m_dir.isValid() || !QDir().mkpath(m_folder) || !info.isExecutable()) {
        throw Failure{"no program at " + executable};
    }
    m_executable = m_folder + "/" + info.fileName();
    placeFile(info.absoluteFilePath(), m_executable);
    m_process.setProcessChannelMode(QProcess::MergedChannels);
    connect(&m_process, &QProcess::readyRead, this, [this] { read(); });
    connect(&m_process, QOverload<int, QProcess::ExitStatus>::of(&QProcess::finished), this, [this] { read(); });
}

Program::~Program()
{
    kill();
}

void Program::addStandIn(const QString& name, const QStringList& steps)
{
    QFile script(m_folder + "/" + name + ".steps");
    if (!script.exists()) {
        const QFileInfo self(QCoreApplication::applicationFilePath());
        const QString suffix = self.suffix().isEmpty() ? QString() : "." + self.suffix();
        placeFile(self.absolutePath() + "/stand_in" + suffix, m_folder + "/" + name + suffix);
    }
    if (!script.open(QIODevice::Append)) {
        throw Failure{"cannot write " + script.fileName()};
    }
    for (const QString& step : steps) {
        script.write(step.toUtf8() + '\x1f');
    }
    script.write("\x1e");
}

void Program::start(const QStringList& arguments, quint16 fakePort)
{
#ifdef Q_OS_WIN
    // The loader looks beside the program first.
    placeFile(m_fakesFolder + "/LumoNet.dll", m_folder + "/LumoNet.dll");
    placeFile(m_decodeFolder + "/LumoDecode.dll", m_folder + "/LumoDecode.dll");
    m_process.setWorkingDirectory(m_folder); // its drive has a root that this user may write to
    putInFront(environment, "PATH", QFileInfo(m_fakesFolder).absoluteFilePath());
#else
    placeFile(m_decodeFolder + "/libLumoDecode.so", m_folder + "/libLumoDecode.so");
    putInFront(environment, "LD_LIBRARY_PATH", QFileInfo(m_fakesFolder).absoluteFilePath());
    putInFront(environment, "LD_LIBRARY_PATH", m_folder);
#endif
    environment.insert("LUMO_FAKE_PORT", QString::number(fakePort));
    environment.insert("QT_LOGGING_TO_CONSOLE", "1");
    // Mouse events are sent to the cell's window, so that conversations side by side do not fight for one pointer;
    // Qt takes such events only while it does not read the pointer by XInput2.
    environment.insert("QT_XCB_NO_XI2_MOUSE", "1");
    m_process.setProcessEnvironment(environment);
    m_process.start(m_executable, arguments);
    if (!m_process.waitForStarted(20000)) {
        throw Failure{"the program does not start: " + m_process.errorString()};
    }
    m_started = true;
    m_pid = m_process.processId();
}

bool Program::crashed() const
{
#ifdef Q_OS_WIN
    constexpr int kAborted = 3; // what abort() leaves there, where no signal can tell
    if (m_process.exitCode() == kAborted)
        return true;
#endif
    return m_process.exitStatus() == QProcess::CrashExit;
}

void Program::kill()
{
    if (running()) {
        m_process.kill();
        m_process.waitForFinished(5000);
    }
}

void Program::read()
{
    const QByteArray more = m_process.readAll();
    m_all += more;
    m_rest += more;
    for (int end; (end = m_rest.indexOf('\n')) >= 0;) {
        // On Windows the standard streams end their lines in two bytes; no line of the program's own holds the first.
        const bool twoBytes = end > 0 && m_rest[end - 1] == '\r';
        onLine(localText(m_rest.left(end - twoBytes)));
        m_rest.remove(0, end + 1);
    }
}

void Program::onLine(const QString& line)
{
    static const QRegularExpression form("^\\[( NORMAL|WARNING|  ERROR)\\] \\[0x([0-9a-f]{8,})\\] "
                                         "\\[\\d{4}-\\d\\d-\\d\\d \\d\\d:\\d\\d:\\d\\d \\d{3}\\] "
                                         "\\[( *)([^ \\]][^\\]]*)\\] (.*)$");
    m_lines << line;
    if (!line.startsWith("[ NORMAL]") && !line.startsWith("[WARNING]") && !line.startsWith("[  ERROR]")) {
        return;
    }
    const auto m = form.match(line);
    const int tagWidth = m.captured(3).size() + m.captured(4).size();
    const bool padded = tagWidth == 45 || (tagWidth > 45 && m.captured(3).isEmpty());
    if ((!m.hasMatch() || !padded) && m_badLine.isEmpty()) {
        m_badLine = line;
    }
    const QString level = m.captured(1).trimmed().toLower();
    m_framesRead += m.captured(4) == "ListenThread::onReadyRead";
    m_log.append({level, m.captured(2), m.captured(4), m.captured(5)});
}
