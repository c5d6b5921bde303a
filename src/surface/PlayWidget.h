// The video surface: one top-level widget that is kept laid over the rectangle the page reserves in the browser's
// window. It finds and follows the browser's windows, hides when the user leaves the page, goes full screen and
// comes back. It is also the one gate through which command handlers reach the pages: 0 live view, 1 playback,
// 2 image colour.
//
// Thread:    GUI thread, except InputRealData, InputPlaybackData and InputColorData.
// Ownership: owns the pages. One object per process, made at login and destroyed at logout.
// Errors:    a browser window that is gone is reported by a log line, never to the page.
// Units:     physical pixels; nothing here scales by DPI.
#pragma once

#include "decode/LumoDecode.h"
#include "platform/WindowSystem.h"
#include "surface/LocalInfo.h"
#include "surface/PageNumbers.h"
#include "surface/PluginRegion.h"

#include <QPointer>
#include <QString>
#include <QWidget>

class CColorSetWidget;
class CPlaybackWidget;
class CRealPlayWidget;
class QHBoxLayout;
class QWindow;
struct RuleInfo;

class PlayWidget : public QWidget
{
    Q_OBJECT
public:
    /// Created on first use.
    static PlayWidget* Instance();
    static void ReleaseInstance();

    /// Called once after login. hClient is 0 when the browser has no render window of a known class.
    void BindBrowser(platform::WindowHandle hBrowse, platform::WindowHandle hClient, const QString& strTitle,
                     int nBrowseType);
    /// The browser's render window at or below hWnd, 0 if there is none. Works on an unbound widget.
    platform::WindowHandle ErgodicAllChild(platform::WindowHandle hWnd, int nBrowseType, int nDepth);
    /// The page's word for what the surface is to do.
    enum EStatus { kHide = 1, kShow = 2, kMove = 4 };
    /// nStatus: EStatus; anything else does nothing.
    void onWidgetStatuChange(int nStatus, const PluginRegion& rcPos);
    /// True if the visibility changed.
    bool ReqShowPlugin(bool bShow);
    void MovePlayWidget(platform::WindowHandle hWnd, const PluginRegion& rcPos);
    void onExitFullscreen();
    /// The number is kept even if it names no page.
    int SetPageIndex(int nIndex);
    int GetPageIndex() const { return m_nCurPageIndex; }
    /// nMode is a mode number, not a count of windows.
    int ChangeSplit(int nMode);
    /// Reads the client configuration and the version file "<folder>/<strPrefix>LumoPlayToolVersion.ini".
    void LoadLocalInfo(const QString& strPrefix);
    /// The same, with a copy of the record for the caller.
    void LoadLocalInfo(LocalInfo* pInfo, const QString& strPrefix);
    /// The client configuration as it is now, with the version file that has no prefix.
    LocalInfo ReloadLocalInfo();
    void SelectPlaybackWnd(int nIndex);
    void SetTheme(const QString& strTheme);

    // To the page named first: -1, or false for a flag, when it is neither 0 nor 1.
    int GetWndChannel(int nPage, int nWnd);
    int FindWndByChannel(int nPage, int nChannel);
    bool IsDigitalZoom(int nPage, int nIndex);
    bool IsSoundOn(int nPage, int nIndex);
    int SetSound(int nPage, int nIndex, bool bOpen);
    /// The page's code, see pageCodeOf; -1 without a port. The pages' own GetPlayState gives the decoder's state.
    int GetPlayState(int nPage, int nIndex);

    // To the current page.
    /// nSelector: kLivePage, kPlaybackPage or kCurrentPage.
    int GetCurChannel(int nSelector);
    int GetCurWnd();
    /// bStill: the live page's fixed file, whatever page is current.
    int Capture(int nIndex, bool bStill);

    // To the live page, whatever page is current.
    void SetLoginInfo(int lLoginID, int nDevType);
    int GetColor(int nChannel, int& nBrightness, int& nContrast, int& nSaturation, int& nHue);
    int SetColor(int nIndex, int nValue);
    int StartPreview(int nStream, int nChannel, int nWnd);
    int PreviewStop(int nChannel);
    int Record(int nChannel, bool bRecord, bool& bResult);
    bool IsRecording(int nChannel);
    int PlayOriginal(int nChannel);
    int PlayNormal(int nChannel);
    /// 0 unless the live page is current.
    int IsOriginal(int nChannel);
    int GetStreamType(int nChannel);
    void ScaleSwitch(int nDirection, int nStep);
    bool PTZElectOpen(int nChannel, int nWnd);
    bool PTZElectRedu(int nChannel);
    bool PTZElectZoomIn(int nChannel, int nStep);
    bool PTZElectZoomOut(int nChannel, int nStep);
    bool PTZElectronicMove(int nChannel, int nDirection, int nStep);
    bool PTZElectPresent(int nChannel, int nCommand, int nPreset);
    /// bDraw: also has it drawn from now on. True if so.
    bool SetRule(const RuleInfo& rule, bool bDraw);
    /// Any thread. Stream data for a port whose page is gone are dropped.
    static int InputRealData(int nChannel, const unsigned char* pData, int nSize);

    // To the playback page, whatever page is current. nWnd is one of its four windows.
    int BeginLocalPlay(int nWnd, const QString& strFile, LumoFileEndCallback fnEnd, intptr_t nUser);
    /// nWnd -1 is its selected window.
    int StartPlay(int nStream, int nWnd);
    int StopPlay(int nWnd);
    /// In the folder and format that the client configuration names now. Non-zero on success.
    int PlaybackRecord(int nWnd, bool bStart);
    bool IsPlaybackRecord(int nWnd);
    /// A state of CDecodeChannel, or -1.
    int GetWndStatus(int nWnd);
    /// Throws away what waits to be decoded.
    bool Refresh(int nWnd);
    int SetSpeed(int nWnd, int nState);
    int SetPos(int nWnd, float fPos);
    int SetPlayTime(int nWnd, const char* szBegin, const char* szEnd);
    float GetTimePos(int nWnd);
    int GetSeekSeconds(int nWnd, int nPermille);
    void GetBufferInfo(int nWnd, int& nPictures, int& nBytes);
    void SetBackground(const QString& strFile);
    void SetPlaybackMode(int nMode);
    /// Nothing happens unless the playback page is current.
    void SetPlaybackChannel(int nChannel, int nWnd);
    int ToggleDigitalZoom();
    /// As ChangeSplit, for a page that is not shown.
    int ChangePlaybackSplit(int nMode);
    /// Any thread, as InputRealData.
    static int InputPlaybackData(int nWnd, const unsigned char* pData, int nSize);

    // To the image colour page, whatever page is current.
    int ColorPreviewStart(int nStream);
    int ColorPreviewStop();
    /// Any thread, as InputRealData.
    static int InputColorData(const unsigned char* pData, int nSize);

    /// Into an AVI file, on the decode library's thread; see CDecodeChannel.
    bool ChangeFileFormat(const QString& strSrc, const QString& strDst, int nType, LumoConvertCallback fnPos,
                          intptr_t nUser);

signals:
    void curWndIndexSig(int nPageId, int nWndIndex);
    void changePTZELectPage();

public slots:
    void onCurWndIndexChange(int nIndex);
    void onFullScreen();

protected:
    ~PlayWidget() override;
    void timerEvent(QTimerEvent* pEvent) override;
    void keyReleaseEvent(QKeyEvent* pEvent) override;
    bool nativeEvent(const QByteArray& eventType, void* pMessage, long* pResult) override;

private:
    explicit PlayWidget(QWidget* pParent = nullptr);

    platform::WindowHandle ownHandle() const { return static_cast<platform::WindowHandle>(winId()); }
    void AttachToBrowser(platform::WindowHandle hParent);
    platform::WindowHandle GetRootWindow(platform::WindowHandle hWnd) const;
    QPoint GetClientOrigin() const;
    /// Where rcPos begins; held within the range of int, for the page may send any number.
    static QPoint cornerFrom(QPoint ptOrigin, const PluginRegion& rcPos);
    platform::WindowHandle presentParent() const;
    void startTracking();
    void takeForeground();
    void onFullScreenChecked();
    void onMoveTimer();
    void onTrackTimer();
    void trackClient();
    void rebindToForeground(platform::WindowHandle hForeground, const QString& strForegroundTitle);
    void followClientVisibility();
    void addPage(QWidget* pPage);

    LocalInfo m_localInfo;
    CRealPlayWidget* m_pRealPlay = nullptr;
    QHBoxLayout* m_pLayout = nullptr;
    CPlaybackWidget* m_pPlayback = nullptr;
    CColorSetWidget* m_pColorSet = nullptr;
    int m_nCurPageIndex = 0;
    platform::WindowHandle m_hCurBrowseClientWnd = 0;
    platform::WindowHandle m_hCurBrowseWnd = 0;
    bool m_bHasClientWnd = false;
    QString m_strBrowserTitle;
    QPoint m_ptLastOrigin;
    PluginRegion m_rcPos;
    int m_nMoveTimer = 0;
    int m_nTrackTimer = 0;
    int m_nEmbedType = 0;
    bool m_bShowPlugin = false;
    bool m_bBrowseClientVisible = false;
    bool m_bPosValid = false;
    int m_nBrowseType = 0;
    QString m_strWndName;
    QPointer<QWindow> m_pForeignParent; // the browser's window as Qt sees it; embed type 0 only
};
