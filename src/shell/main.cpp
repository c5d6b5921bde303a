// Process entry: checks the command line, builds hub and socket in that order, wires them, runs the event loop.
#include "hub/PluginManage.h"
#include "platform/Startup.h"
#include "shell/LightWeightLog.h"
#include "shell/ListenThread.h"
#include "surface/PluginRegion.h"

#include <QApplication>
#include <QDebug>
#include <QFile>

#include <functional>

namespace
{

/// Nothing catches these: there is no page to tell yet, and the host sees the process die.
[[noreturn]] void refuse(const char* szReason)
{
    LightWeightLog::instance()->drain();
    throw szReason;
}

void installStyleSheet(QApplication& app, QFile& file)
{
    file.setFileName(QString("%1/style.ss").arg(QCoreApplication::applicationDirPath()));
    if (!file.open(QIODevice::ReadOnly))
        return;
    const QByteArray content = file.readAll();
    file.close();
    app.setStyleSheet(QString::fromUtf8(content));
}

/// The hub comes first: the device library is initialised and the hub's thread runs before a command can arrive.
int runSession(const QString& wndHandle, int sessionId, const QString& serverName)
{
    auto* pHub = new CPluginManage(wndHandle, sessionId, nullptr);
    auto* pListen = new ListenThread(serverName, nullptr);
    QObject::connect(pListen, &ListenThread::recvMsgSig, pHub, &CPluginManage::onRecvWebsocketMsg);
    QObject::connect(pListen, &ListenThread::disconnectSig, pHub, &CPluginManage::onDisconnect,
                     Qt::BlockingQueuedConnection);
    QObject::connect(pHub, &CPluginManage::sendWebSocketMsgSig, pListen, &ListenThread::onSendMsg);
    pListen->startReading();
    const int nExitCode = QApplication::exec();
    pListen->stopReading();
    pHub->stopThread();
    return nExitCode;
}

} // namespace

int main(int argc, char* argv[])
{
    platform::prepareProcess();
    if (argc < 4)
        throw "plugin argc incorrect";
    const std::vector<QByteArray> words = platform::commandLine(argc, argv);
    const auto word = [&](size_t n) { return n < words.size() ? QString::fromUtf8(words[n]) : QString(); };
    qDebug().noquote() << word(0) << word(1) << word(2) << word(3);
    const QString wndHandle = word(4);
    writeLog(
        "main",
        QString("argv0=%1, argv1=%2, argv2=%3, argv3=%4, argv4=%5").arg(word(0), word(1), word(2), word(3), wndHandle));
    QCoreApplication::addLibraryPath(word(3));
    bool bOk = false;
    const int sessionID = word(1).toInt(&bOk, 10);
    if (!bOk)
        refuse("sessionID incorrect");
    const QString serverName = word(2);
    if (serverName.isEmpty())
        refuse("serverName incorrect");

    // The page sends physical pixels; nothing in between may scale them.
    QCoreApplication::setAttribute(Qt::AA_DisableHighDpiScaling);
    int nExitCode = 0;
    {
        QApplication app(argc, argv);
        LightWeightLog::instance()->applicationStarted();
        writeLog("main", "start plugin");
        QFile styleFile;
        installStyleSheet(app, styleFile);
        qRegisterMetaType<std::function<void(void)>>("std::function<void(void)>");
        qRegisterMetaType<PluginRegion>("PluginRegion");
        // A page that is left or hidden must not end the process with its last visible window.
        QApplication::setQuitOnLastWindowClosed(false);
        nExitCode = runSession(wndHandle, sessionID, serverName);
        LightWeightLog::instance()->drain();
    }
    return nExitCode;
}
