#include "embedding/PrivateDisplay.h"

namespace
{
constexpr int kPatienceMs = 20000;
} // namespace

bool PrivateDisplay::start()
{
    m_server.setProcessChannelMode(QProcess::SeparateChannels);
    m_server.start("Xvfb", {"-displayfd", "1", "-screen", "0", "1280x1024x24", "-nolisten", "tcp", "-noreset"});
    // The server writes its number when it accepts connections.
    if (!m_server.waitForStarted(kPatienceMs) || !m_server.waitForReadyRead(kPatienceMs))
        return false;
    qputenv("DISPLAY", ":" + m_server.readLine().trimmed());
    return true;
}

bool PrivateDisplay::startWindowManager()
{
    m_manager.setProcessChannelMode(QProcess::MergedChannels);
    // Its word comes once it serves windows; its mark on the root window comes before.
    m_manager.start("openbox", {"--sm-disable", "--startup", "echo serving"});
    QByteArray output;
    while (!output.contains("serving"))
        if (!m_manager.waitForReadyRead(kPatienceMs))
            return false;
        else
            output += m_manager.readAll();
    return true;
}

PrivateDisplay::~PrivateDisplay()
{
    for (QProcess* process : {&m_manager, &m_server}) {
        process->terminate();
        if (!process->waitForFinished(kPatienceMs))
            process->kill();
    }
}
