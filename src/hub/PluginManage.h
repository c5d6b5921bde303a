// The hub: takes each message of the page, hands it to one handler by its MainType, owns the session's state and the
// one way back to the page. It neither renders nor decodes; handlers reach widgets by closures run on the GUI thread,
// and the device by CLumoConnect.
//
// Thread: created on the GUI thread, then lives on the hub thread, where all handlers run one at a time, in order of
// arrival. sendWebSocketMsg may be called from any thread. Blocking: a handler may wait for the GUI thread and for the
// device; nothing on the GUI thread may ever wait for the hub.
#pragma once

#include "device/Channels.h"
#include "device/LoginContext.h"
#include "device/LumoNet.h"
#include "hub/Json.h"
#include "hub/PlaybackState.h"
#include "hub/TransportCipher.h"

#include <QByteArray>
#include <QMap>
#include <QObject>
#include <QString>

#include <algorithm>
#include <array>
#include <atomic>
#include <functional>
#include <memory>
#include <optional>
#include <type_traits>
#include <vector>

class CGetSystemStatus;
class CTalk;
class MainThreadObject;
struct DownloadRequest;
struct PlaybackRequest;

/// What a list of all channels' results is cut to. A device whose login was refused for its channel count may have told
/// any number: those beyond the channels are refused one by one, but past this many the event would not fit a message.
constexpr int kMaxListed = 256;

class CPluginManage : public QObject
{
    Q_OBJECT
public:
    CPluginManage(QString wndHandle, int sessionId, QObject* parent);
    ~CPluginManage() override;

    /// Ends the hub's thread with what it is doing, so that its timers do not outlive the application object. Waits for
    /// a second at most: a call to the device may hold the hub up. GUI thread, when the event loop has ended.
    void stopThread();

    /// The one hub; for library callbacks that carry a channel where others carry an object.
    static CPluginManage* instance();

    /// Sends a finished JSON text. Any thread. writeLog is false for frequent messages.
    void sendWebSocketMsg(QString msg, bool writeLog);

    /// Runs the closure on the GUI thread and returns when it has finished. May capture by reference.
    void returnToMainThreadSync(std::function<void(void)> closure);

signals:
    void returnToMainThreadSyncSig(std::function<void(void)>);
    void returnToMainThreadAsyncSig(std::function<void(void)>);
    /// Any thread; the closure runs on the hub thread. Capture values only.
    void returnToThisThreadSig(std::function<void(void)>);
    void sendWebSocketMsgSig(QString msg);

public slots:
    // maintenance/StatusEvents.cpp
    void onSendSystemStatus(int nAppCpuStatus, int nSystemCpuStatus, int nAppMemory);
    void onChangePTZELectPage();
    void onRecvWebsocketMsg(QString msg);
    void onDisconnect();
    void onCurWndChange(int nPage, int nWnd);

protected:
    // playback/PlaybackEvents.cpp
    void timerEvent(QTimerEvent* pEvent) override;

private:
    using Handler = void (CPluginManage::*)(const Json::Value& request);
    static Handler handlerOf(int nMainType);
    void dispatch(const Json::Value& request);
    void sendReply(Json::Value& reply, int nRet);
    void sendEvent(const Json::Value& event);

    /// Runs f on the GUI thread and gives back what it returns.
    template <typename F> auto onGuiThread(F f)
    {
        using Result = std::invoke_result_t<F>;
        if constexpr (std::is_void_v<Result>) {
            returnToMainThreadSync([&] { f(); });
        } else {
            Result result{};
            returnToMainThreadSync([&] { result = f(); });
            return result;
        }
    }

    // hub/SessionCommands.cpp
    void onMainMsgLogin(const Json::Value& request);
    void onMainMsgLogout(const Json::Value& request);
    void onMainMsgLoginAgain(const Json::Value& request);
    int loginDev();
    int loginWithChannels();
    void logoutDev();
    int loginAndBind(const struct SLoginRequest& login, quint64 hBrowse, quint64 hClient);
    void rememberView();
    void rememberChannel(int nChannel);
    void stopPlaybacks();
    static void DisconnectFunction(long loginId, char* ip, long port, void* user);

    // hub/ClientConfigCommands.cpp
    void onMainMsgClientConfig(const Json::Value& request);
    void saveClientConfig(const Json::Value& request);
    void readClientConfig(const Json::Value& request);
    void startPicker(const Json::Value& request, int nMode);
    /// The arguments begin with an EPickerMode. bOk: it ended by itself with exit code 0. hub thread; never called if
    /// the program cannot be started.
    using PickerEnd = std::function<void(bool bOk, const QByteArray& output)>;
    void runPicker(const QStringList& arguments, PickerEnd fnEnd);

    // hub/AlarmCommands.cpp
    void onMainMsgAlarmType(const Json::Value& request);
    void onMainMsgReadAlarmType(const Json::Value& request);
    static bool AlarmCallback(long loginId, char* pMessage, unsigned long nSize, void* pUser, int nKind);

    // hub/KeyExchangeCommands.cpp
    void onMainMsgConsultAesKey(const Json::Value& request);

    // surface/PositionCommands.cpp
    void onMainMsgPosition(const Json::Value& request);
    void onMainMsgSelectPlaybackWnd(const Json::Value& request);
    void onMainMsgScaleStep(const Json::Value& request);

    // live/SplitCommands.cpp
    void onMainMsgSplit(const Json::Value& request);

    // live/PageCommands.cpp
    void onMainMsgPageSwitch(const Json::Value& request);
    void leavePlayback();
    void leaveLiveView();
    void restoreLiveView();
    int restoreChannel(int nChannel, int nStream);

    // live/PictureCommands.cpp
    void onMainMsgPicture(const Json::Value& request);
    int pictureOf(int nChannel);
    int pictureOfStream(int nChannel);
    static int PictureDataCallBack(long lRealHandle, long nDataType, uint8_t* pData, long nSize, intptr_t nUser);

    // live/ColorCommands.cpp
    void onMainMsgColor(const Json::Value& request);
    int startColorPreview(int nChannel, int nStream);
    void leaveColorPreview();
    static int ColorDataCallBack(long lRealHandle, long nDataType, uint8_t* pData, long nSize, intptr_t nUser);

    // live/RuleCommands.cpp
    void onMainMsgRule(const Json::Value& request);

    // live/PtzCommands.cpp
    void onMainMsgPTZElect(const Json::Value& request);
    int steerPicture(const Json::Value& request);

    // live/PreviewCommands.cpp and live/PreviewStartCommands.cpp, the latter for starts and stops
    void onMainMsgPreview(const Json::Value& request);
    void onPreviewStart(const Json::Value& request);
    void onPreviewStop(const Json::Value& request);
    void onPreviewGetColor(const Json::Value& request);
    void onPreviewSetColor(const Json::Value& request);
    void onPreviewStatus(const Json::Value& request);
    void onPreviewFullScreen(const Json::Value& request);
    void onPreviewCurrent(const Json::Value& request);
    void onPreviewSound(const Json::Value& request);
    void onPreviewCapture(const Json::Value& request);
    void onPreviewRecord(const Json::Value& request);
    void onPreviewOriginal(const Json::Value& request);
    void onPreviewNormal(const Json::Value& request);
    void recordAll(Json::Value& reply, bool bRecord);
    void startOnePreview(const Json::Value& request, int nChannel, int nStream);
    int startOnCell(int nStream, int nChannel, int nWnd, int& nError);
    void startAllPreviews(const Json::Value& request, int nChannel, int nStream);
    void startListed(Json::Value& event, int nCount, int nStream, int& nRet);
    void stopAllPreviews();
    void replaceStream(int nChannel);

    // live/LiveEvents.cpp
    void clearChannelFrame(int nChannel);
    void sendChannelState(int nChannel, int nCurChannel);
    void sendShowElect(int nShowElect);
    void onShowPTZElect(unsigned uWidth, unsigned uHeight, int nChannel);
    int currentLiveChannel();
    static int RealDataCallBack_V2(long lRealHandle, const LumoFrame* pFrame, intptr_t nUser);

    // playback/PlaybackCommands.cpp, playback/PlaybackStartCommands.cpp for starts and stops,
    // playback/PlaybackControlCommands.cpp for speed, pause, step and seek
    void onMainMsgPlayback(const Json::Value& request);
    void onPlaybackLocalFile(const Json::Value& request);
    void onPlaybackStart(const Json::Value& request);
    void onPlaybackStop(const Json::Value& request);
    void onPlaybackMode(const Json::Value& request);
    void onPlaybackControl(const Json::Value& request);
    void onPlaybackCapture(const Json::Value& request);
    void onPlaybackSound(const Json::Value& request);
    void onPlaybackZoom(const Json::Value& request);
    void onPlaybackClip(const Json::Value& request);
    void onPlaybackStatus(const Json::Value& request);
    int PlayFileByIndex(int nIndex);
    int playListByTime(Json::Value& reply);
    bool startRecorded(const PlaybackRequest& file, int nType, int& nHandle);
    int beginOnDevice(const PlaybackRequest& file, int nType);
    void stopByCommand(int nWnd);
    void stopPlaybackWnd(int nWnd);
    void endPlayback(int nWnd);
    void playPickedFile(const QByteArray& output, Json::Value& reply);
    bool openLocalFile(int nWnd, const QString& strFile);
    bool controlPlayback(int nWnd, int nCmd, int nParam);
    bool changePlayState(int nWnd, int nState, bool bTellDevice);
    bool seekPlayback(int nWnd, int nPermille);
    int playbackHandle(int nWnd) const;
    int wndOfChannel(int nChannel);

    // playback/PlaybackEvents.cpp
    void sendPlaybackWnd(int nWnd);
    void sendPosition(int nWnd, std::optional<float> pos); // none: not told
    void onPositionTimer();
    void onPlaybackEndTimer();
    void onPlayProgress(long lHandle, long nTotal, long nCurrent, int nKind, int nWnd);
    void onLocalFileEnd(int nWnd);
    void EndPlaybackBuf(int nWnd);
    void sendPlaybackEnd(int nWnd);
    void startPositionTimer();
    void stopTimer(int& nTimerId);
    void KillPosTimerIfIdle();
    static int PlayDataCallBack(long lPlayHandle, long nDataType, uint8_t* pData, long nSize, intptr_t nUser);
    static int PlayPosCallBack(long lHandle, long nTotal, long nCurrent, intptr_t nUser);
    static void LocalFileEndCallBack(int nPort, intptr_t nUser);

    // playback/DownloadCommands.cpp and playback/ConversionCommands.cpp
    void onDownloadStart(const Json::Value& request);
    void onDownloadStop(const Json::Value& request);
    int StartNextDownload();
    int downloadListDone(const QByteArray& downPath, int nRecordType);
    QByteArray placeOfDownload(const DownloadRequest& file, const QString& strFolder, int nRecordType);
    void onDownloadProgress(long nTotal, long nCurrent, int nKind);
    void sendDownloadPos(int nPos);
    void sendDownloadDone(const char* szDownPath);
    void stopDownload();
    void clearPicture();
    void onConvertNextFile();
    bool convertStep();
    void deleteConverted();
    static void ConvertFilePosCallback(long nCurrent, long nTotal, intptr_t nUser);

    // maintenance/UpgradeCommands.cpp
    void onMainMsgLocalUpgrade(const Json::Value& request);
    void onMainMsgOnlineUpgrade(const Json::Value& request);
    void pickFirmware(Json::Value reply);
    void startLocalUpgrade(const Json::Value& request, Json::Value& reply);
    int askNewVersion(Json::Value& reply);
    void onUpgradeProgress(int nUpgrade, long nTotal, long nSent);
    static void UpgradeProgressCallback(long lLoginID, long lUpgrade, long nTotal, long nSent, intptr_t nUser);

    // maintenance/VersionCommands.cpp
    void onMainMsgCheckToolVersion(const Json::Value& request);
    void sendVersions(const QString& strLocalFile, int nSubType);

    // maintenance/ImportCommands.cpp
    void onMainMsgImportFile(const Json::Value& request);
    void importVoice(const Json::Value& request, int nChannel);
    void importPicked(int nChannel);
    int importFile(int nSubType, int nChannel, const QString& strFile);
    void sendImportResult(int nRet);
    static void ImportFileCallback(long lSendHandle, long nStatus, long nError, long nExtra, intptr_t nUser);

    // audio/TalkCommands.cpp
    void onMainMsgTalk(const Json::Value& request);
    bool startTalk(const Json::Value& request, int nSubMsg);
    bool stopTalk();
    int readTalkAbility(Json::Value& reply);

    // audio/VoiceCustomCommands.cpp
    void onMainMsgVoiceCustom(const Json::Value& request);
    int SendCustomVoice(int nChannel, int nPurpose);
    static void SendVoiceCallBack(long lSendHandle, long nStatus, long nError, long nExtra, intptr_t nUser);

    static bool isChannel(int nChannel) { return nChannel >= 0 && nChannel < kMaxChannels; }
    int listedChannels() const { return std::min(m_login.channelCount, kMaxListed); }

    /// What the last key frame said of a channel's picture; 0 when unknown.
    struct SWindowVideo {
        unsigned uWidth = 0;
        unsigned uHeight = 0;
        int nShowElect = 0; // 1 when the picture has enough pixels to steer in
    };

    // Every name below but m_login is fixed, in either spelling; a new one has m_ and its tag.

    // The page session.
    const int sessionId;
    const QString wndHandle;
    QString webType;
    bool sampleRate16 = false;

    // Enciphered messages. Set on the hub thread, read by every thread that sends; never unset.
    std::atomic<bool> encryptionOn = false;
    std::atomic<bool> plainRepliesOnly = false; // the page chose the key
    const AesIv aesIv = {};                     // zeros: each message begins with it anew
    CSharedKey aesKey;

    // The device session. hub thread only; closures on the GUI thread touch it while the hub waits.
    LoginContext m_login;
    int lastLoginError = 0;
    SWindowVideo windowVideo[kMaxChannels];
    std::unique_ptr<CTalk> talk; // hub thread only; null when no talk runs

    // Playback. hub thread only, except what PlayWndInfo says of itself.
    std::array<PlayWndInfo, kPlaybackWnds> playbackContexts;
    int playbackMode = kPlayLocal;
    std::vector<PlaybackRequest> m_pPlayFiles; // by name: one after the other
    int m_nPlayIndex = 0;
    int positionTimerId = 0;    // 0: none
    int playbackEndTimerId = 0; // 0: none; runs while what is buffered plays out

    // Download and conversion. hub thread only, likewise.
    PlayWndInfo downloadContext;
    QString downloadTempFile; // the picture last shown, deleted at logout
    int m_nDownloadKind = kKindDownload;
    int m_nDownloadFileType = 0;
    std::vector<DownloadRequest> m_pDownloadFiles;
    int m_nDownloadIndex = 0;
    QMap<int, QString> m_mapConvertFiles; // path by index in the list
    int m_nCurConvertFileNum = 0;         // handed to the converter so far
    int m_nTotalConvertFileNum = 0;
    bool m_bCancelDownload = false;

    CGetSystemStatus* systemStatus = nullptr; // a child of the hub

    // Upgrade and import. hub thread only but for the two atomics.
    bool upgradeRunning = false;         // from a good start until the device reports an end
    QString upgradeVersionName;          // the newest firmware that the device told of
    std::atomic<int> importSubType = -1; // of the last import; read by the library thread that ends a transfer
    std::atomic<int> importMsgId = -1;   // likewise
};
