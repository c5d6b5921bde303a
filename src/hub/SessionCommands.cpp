// MainType 8 (login), 9 (logout) and 28 (login again in place), and the loss of the device.
#include "device/Channels.h"
#include "device/LumoConnect.h"
#include "hub/LoginRequest.h"
#include "hub/PluginManage.h"
#include "hub/ScreenScale.h"
#include "platform/WindowSystem.h"
#include "shell/LightWeightLog.h"
#include "surface/PlayWidget.h"

#include <QFile>

#include <cstring>

namespace
{

/// The foreground window, if its title holds strTitle; else 0.
platform::WindowHandle GetBrowserWndID(const QString& strTitle)
{
    const platform::WindowHandle hWnd = platform::foregroundWindow();
    const QString strName = platform::titleOf(hWnd, 256);
    writeLog("GetBrowserWndID",
             QString("Name=%1 Hwnd=%2 WindName=%3").arg(strTitle, QString::number(quint64(hWnd)), strName));
    return strName.contains(strTitle) ? hWnd : 0;
}

/// Browsers whose page is drawn into a render window of its own.
bool hasRenderWindow(int nBrowse)
{
    return nBrowse == 0 || nBrowse == 2 || nBrowse == 6 || nBrowse == 9;
}

/// The smallest split that shows nChannels, 1 to 64.
int splitModeFor(int nChannels)
{
    int nMode = 0;
    for (int nCells : {1, 4, 9, 16, 25, 36}) {
        if (nChannels <= nCells)
            return nMode;
        ++nMode;
    }
    return nMode;
}

void fillContext(LoginContext& context, const SLoginRequest& login)
{
    std::memset(&context, 0, sizeof context);
    copyField(context.ip, login.ip);
    copyField(context.serialNo, login.serialNo);
    copyField(context.token, login.token);
    context.loginType = login.loginType;
    copyField(context.user, login.user);
    copyField(context.password, login.password);
    copyField(context.alarmStyle, login.alarmStyle);
    context.port = login.port;
}

} // namespace

void CPluginManage::onMainMsgLogin(const Json::Value& request)
{
    (void)request["SubType"].asInt(); // of no use but that one of another kind ends the command here
    const SLoginRequest login = readLoginRequest(request);
    quint64 hBrowse = 0;
    quint64 hClient = 0;
    returnToMainThreadSync([&] {
        if (wndHandle.isEmpty()) {
            hBrowse = GetBrowserWndID(login.title);
        } else {
            writeLog("CPluginManage::onMainMsgLogin", QString("WndHandle %1").arg(wndHandle));
            hBrowse = wndHandle.toLatin1().toULongLong(nullptr, 16);
        }
        if (hasRenderWindow(login.browse))
            hClient = PlayWidget::Instance()->ErgodicAllChild(hBrowse, login.browse, 0);
    });

    Json::Value reply = replyTo(request);
    if (request["MsgID"].isNull())
        reply.removeMember("MsgID");
    int nRet = kRetNoBrowser;
    if (hBrowse != 0) {
        nRet = loginAndBind(login, hBrowse, hClient);
        if (m_login.loginId <= 0 && nRet != kRetSuccess && nRet != kRetChannelCount)
            reply["ErrorCode"] = lastLoginError;
        if (nRet == kRetCloud)
            reply["CloudErrCode"] = utf8OfLocal(m_login.cloudError);
    }
    // A page that sends no MsgID is of the older kind and reads this as a number.
    if (request["MsgID"].isNull())
        reply["adjustBytool"] = hClient != 0 ? 1 : 0;
    else
        reply["adjustBytool"] = hClient != 0;
    reply["Id"] = sessionId;
    reply["DPIRadio"] = dpiRatio(platform::screenDpi());
    sendReply(reply, nRet);
}

/// Login to the device and, when that is good, the surface bound to the browser. The handles of an earlier login that
/// was not logged out are forgotten: the page relies on a second login being an answer to a page that was reloaded.
int CPluginManage::loginAndBind(const SLoginRequest& login, quint64 hBrowse, quint64 hClient)
{
    webType = login.webType;
    sampleRate16 = login.sampleRate16;
    fillContext(m_login, login);
    const int nRet = loginWithChannels();
    if (nRet != kRetSuccess)
        return nRet;
    writeLog("CPluginManage::onMainMsgLogin", QString("channel num=%1").arg(m_login.channelCount));
    returnToMainThreadSync([&] {
        PlayWidget* pWidget = PlayWidget::Instance();
        pWidget->BindBrowser(hBrowse, hClient, login.title, login.browse);
        pWidget->SetTheme(webType);
        pWidget->SetLoginInfo(m_login.loginId, m_login.deviceType);
        pWidget->SetPageIndex(kLivePage);
        pWidget->ChangeSplit(splitModeFor(m_login.channelCount));
        // Unique, so that a login after a login adds nothing.
        connect(pWidget, &PlayWidget::curWndIndexSig, this, &CPluginManage::onCurWndChange,
                Qt::ConnectionType(Qt::AutoConnection | Qt::UniqueConnection));
        connect(pWidget, &PlayWidget::changePTZELectPage, this, &CPluginManage::onChangePTZELectPage,
                Qt::ConnectionType(Qt::AutoConnection | Qt::UniqueConnection));
    });
    downloadTempFile.clear();
    return kRetSuccess;
}

/// 100, or the code that tells the page why not.
int CPluginManage::loginDev()
{
    int nRet = kRetFailure;
    if (std::strcmp(m_login.alarmStyle, "Tool") == 0) // before the login, so that no alarm is missed
        CLumoConnect::instance()->SetAlarmCallback(&CPluginManage::AlarmCallback, this);
    m_login.loginId = CLumoConnect::instance()->ConnectDevice(&m_login, &nRet, webType.toLocal8Bit().constData());
    if (m_login.loginId > 0) {
        writeLog("CPluginManage::loginDev", QString("loginDev----------devType:%1").arg(m_login.deviceType));
        return kRetSuccess;
    }
    lastLoginError = m_login.loginId;
    return nRet;
}

/// As loginDev; a device without channels, or with more than there may be, is logged out again.
int CPluginManage::loginWithChannels()
{
    const int nRet = loginDev();
    if (nRet != kRetSuccess || (m_login.channelCount >= 1 && m_login.channelCount <= kMaxChannels))
        return nRet;
    logoutDev();
    return kRetChannelCount;
}

/// All windows, whatever they play.
void CPluginManage::stopPlaybacks()
{
    for (int i = 0; i < kPlaybackWnds; ++i)
        if (m_login.playbackHandles[i] > 0)
            endPlayback(i);
}

void CPluginManage::logoutDev()
{
    static const char* const szTag = "CPluginManage::logoutDev";
    stopTalk();
    CLumoConnect* pConnect = CLumoConnect::instance();
    writeLog(szTag, "stop preview begin");
    for (int i = 0; i < m_login.channelCount && isChannel(i); ++i) {
        if (m_login.previewHandles[i] <= 0)
            continue;
        pConnect->DisconnectChannel_V2(m_login.previewHandles[i], &CPluginManage::RealDataCallBack_V2, i);
        returnToMainThreadSync([i] { PlayWidget::Instance()->PreviewStop(i); });
        m_login.previewHandles[i] = 0;
    }
    writeLog(szTag, "stop preview end");
    stopPlaybacks();
    writeLog(szTag, "PlaybackStop end");
    m_bCancelDownload = true;
    if (m_login.downloadHandle != 0) {
        m_mapConvertFiles.clear();
        stopDownload();
    }
    leaveColorPreview();
    if (m_login.loginId > 0) {
        pConnect->DisconnectDevice(m_login.loginId);
        m_login.loginId = 0;
    }
}

void CPluginManage::onMainMsgLogout(const Json::Value&)
{
    static const char* const szTag = "CPluginManage::onMainMsgLogout";
    // Not waited for: the picture goes at once while the device side takes its time.
    emit returnToMainThreadAsyncSig(
        [] { PlayWidget::Instance()->onWidgetStatuChange(PlayWidget::kHide, PluginRegion()); });
    writeLog(szTag, QString("logout nSessionID=%1").arg(sessionId));
    writeLog(szTag, "killTimer");
    stopTimer(positionTimerId);
    stopTimer(playbackEndTimerId);
    logoutDev();
    writeLog(szTag, "release data begin");
    if (!downloadTempFile.isEmpty() && QFile::exists(downloadTempFile))
        QFile::remove(downloadTempFile);
    downloadTempFile.clear();
    m_pPlayFiles.clear();
    m_pDownloadFiles.clear();
    writeLog(szTag, "release data end");
    returnToMainThreadSync([] { PlayWidget::ReleaseInstance(); });
}

void CPluginManage::onDisconnect()
{
    onMainMsgLogout(Json::Value());
}

/// GUI thread. Keeps which cell a running channel stands in, and its stream, for the page's return to the live view.
void CPluginManage::rememberChannel(int nChannel)
{
    PlayWidget* pWidget = PlayWidget::Instance();
    m_login.channelWnd[nChannel] = char(pWidget->FindWndByChannel(kLivePage, nChannel));
    m_login.channelWasPlaying[nChannel] = char(1 | pWidget->GetStreamType(nChannel) * 2);
}

void CPluginManage::rememberView()
{
    for (int i = 0; i < kMaxChannels; ++i)
        if (m_login.previewHandles[i] > 0)
            returnToMainThreadSync([=, this] { rememberChannel(i); });
}

void CPluginManage::onMainMsgLoginAgain(const Json::Value& request)
{
    Json::Value reply = replyTo(request);
    (void)request["SubType"].asInt(); // as for a login: one of another kind ends the command before anything is done
    rememberView();
    if (m_login.loginId > 0)
        logoutDev();
    const int nRet = loginWithChannels();
    if (nRet == kRetSuccess)
        returnToMainThreadSync([&] { PlayWidget::Instance()->SetLoginInfo(m_login.loginId, m_login.deviceType); });
    reply["Id"] = sessionId;
    reply["SerialNo"] = utf8OfLocal(m_login.serialNo);
    sendReply(reply, nRet);
}

/// Library thread. Touches no session state: there is no reconnection here, the page reacts.
void CPluginManage::DisconnectFunction(long loginId, char* ip, long port, void* user)
{
    auto* pHub = static_cast<CPluginManage*>(user);
    // All at once: an address may hold a percent sign, before the name of its interface.
    writeLog("CPluginManage::DisconnectFunction",
             QString("Device Disconnect IP=%1 LoginID=%2 Port=%3")
                 .arg(QString::fromLocal8Bit(ip), QString::number(loginId), QString::number(port)));
    Json::Value event = eventOf(5, 0);
    event["Ret"] = kRetSuccess;
    pHub->sendWebSocketMsg(toText(event), true);
}
