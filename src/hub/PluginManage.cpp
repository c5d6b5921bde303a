#include "hub/PluginManage.h"

#include "audio/Talk.h"
#include "audio/VoiceCustom.h"
#include "device/LumoConnect.h"
#include "hub/MainThreadObject.h"
#include "maintenance/GetSystemStatus.h"
#include "shell/LightWeightLog.h"

#include <QCoreApplication>
#include <QThread>

#include <cstring>

namespace
{
constexpr unsigned long kStopTimeoutMs = 1000;

/// Both directions: what goes beyond is cut, for the page's side has no more room either.
constexpr int kMessageLimit = 65536; // bytes

Qt::HANDLE g_mainThreadId = nullptr; // set once, before any other thread runs
MainThreadObject* g_mainThreadObject = nullptr;
CPluginManage* g_instance = nullptr; // as the thread id

/// What a text buffer of the limit's size would hold: up to its first zero byte.
QByteArray cutToLimit(QByteArray bytes)
{
    bytes.truncate(qMin(bytes.size(), kMessageLimit));
    return QByteArray(bytes.constData(), int(qstrnlen(bytes.constData(), uint(bytes.size()))));
}

} // namespace

CPluginManage::CPluginManage(QString wndHandle, int sessionId, QObject* parent)
    : QObject(parent), sessionId(sessionId), wndHandle(wndHandle)
{
    g_mainThreadId = QThread::currentThreadId();
    g_instance = this;
    std::memset(&m_login, 0, sizeof m_login);
    for (int i = 0; i < kPlaybackWnds; ++i) {
        playbackContexts[i].Owner = this;
        playbackContexts[i].Wnd = i;
    }
    downloadContext.Owner = this;
    downloadContext.State = 1;
    downloadContext.Kind = kKindDownload;

    systemStatus = new CGetSystemStatus(this);
    connect(systemStatus, &CGetSystemStatus::sendSystemStatusSig, this, &CPluginManage::onSendSystemStatus);
    // Frequent while it records, so not for the log.
    connect(VoiceCustom::instance(), &VoiceCustom::VoiceRecordTime, this,
            [this](QString msg) { sendWebSocketMsg(msg, false); });
    if (!g_mainThreadObject) {
        g_mainThreadObject = new MainThreadObject;
        g_mainThreadObject->moveToThread(QCoreApplication::instance()->thread());
    }
    connect(this, &CPluginManage::returnToMainThreadSyncSig, g_mainThreadObject,
            &MainThreadObject::onReturnToMainThread, Qt::BlockingQueuedConnection);
    connect(this, &CPluginManage::returnToMainThreadAsyncSig, g_mainThreadObject,
            &MainThreadObject::onReturnToMainThread, Qt::QueuedConnection);
    connect(this, &CPluginManage::returnToThisThreadSig, this, [](std::function<void(void)> closure) { closure(); });

    CLumoConnect::instance()->InitLumoNet(&CPluginManage::DisconnectFunction, this);

    auto* pThread = new QThread(this);
    moveToThread(pThread);
    pThread->start(QThread::InheritPriority);
}

CPluginManage::~CPluginManage() = default;

void CPluginManage::stopThread()
{
    thread()->quit();
    thread()->wait(kStopTimeoutMs);
}

CPluginManage* CPluginManage::instance()
{
    return g_instance;
}

void CPluginManage::onRecvWebsocketMsg(QString msg)
{
    static const char* const szTag = "CPluginManage::onRecvWebsocketMsg";
    writeLog(szTag, "RecvWeb msg=" + msg);
    try {
        Json::Value request;
        const QByteArray text = msg.toUtf8();
        if (fromText(cutToLimit(encryptionOn ? decrypt(text, aesIv, aesKey.get()) : text), request))
            dispatch(request);
    } catch (...) {
        writeLog(szTag, "can not analyze json", kLogError);
    }
}

void CPluginManage::sendWebSocketMsg(QString msg, bool writeLog)
{
    if (writeLog)
        ::writeLog("CPluginManage::sendWebSocketMsg", msg);
    const QByteArray text = msg.toUtf8();
    const bool bEncipher = encryptionOn && !plainRepliesOnly;
    emit sendWebSocketMsgSig(QString::fromUtf8(cutToLimit(bEncipher ? encrypt(text, aesIv, aesKey.get()) : text)));
}

void CPluginManage::sendReply(Json::Value& reply, int nRet)
{
    reply["Ret"] = nRet;
    sendWebSocketMsg(toText(reply), true);
}

void CPluginManage::sendEvent(const Json::Value& event)
{
    sendWebSocketMsg(toText(event), true);
}

void CPluginManage::returnToMainThreadSync(std::function<void(void)> closure)
{
    if (QThread::currentThreadId() == g_mainThreadId)
        closure();
    else
        emit returnToMainThreadSyncSig(closure);
}
