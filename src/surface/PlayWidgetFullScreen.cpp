// PlayWidget's full screen: leaving the browser for the whole screen and coming back.
#include "live/RealPlayWidget.h"
#include "shell/LightWeightLog.h"
#include "surface/PlayWidget.h"
#include "surface/PlayWidgetFlags.h"

#include <QKeyEvent>
#include <QTimer>
#include <QWindow>

void PlayWidget::onFullScreen()
{
    static constexpr char kTag[] = "PlayWidget::onFullScreen";
    writeLog(kTag, "fullscreen begin");
    if (m_nTrackTimer > 0) {
        killTimer(m_nTrackTimer);
        m_nTrackTimer = 0;
    }
    if (m_nEmbedType == 0) {
        platform::changeWindowFlags(*this, kFlagsFullScreen);
        if (windowHandle())
            windowHandle()->setParent(nullptr);
        activateWindow();
        raise();
        takeForeground();
        platform::prepareFullScreen(ownHandle());
    }
    writeLog(kTag, "showFullScreen begin");
    showFullScreen();
    m_pRealPlay->EnterFullScreen();
    writeLog(kTag, "showFullScreen end");
    writeLog(kTag, "fullscreen end");
    QTimer::singleShot(kFullScreenCheckMs, this, [this] { onFullScreenChecked(); });
}

void PlayWidget::takeForeground()
{
    const platform::WindowHandle hOwn = ownHandle();
    const platform::WindowHandle hForeground = platform::foregroundWindow();
    if (hForeground == hOwn)
        return;
    const quint32 nForegroundThread = platform::inputThreadOf(hForeground);
    const quint32 nCurrentThread = platform::currentInputThread();
    platform::attachInput(nCurrentThread, nForegroundThread, true);
    platform::setForegroundWindow(hOwn);
    platform::attachInput(nCurrentThread, nForegroundThread, false);
    platform::bringToTop(hOwn);
}

void PlayWidget::onFullScreenChecked()
{
    if (isFullScreen())
        return;
    writeLog("PlayWidget::onFullScreen", "fullscreen unsuccessful");
    if (m_nEmbedType == 0)
        platform::changeWindowFlags(*this, kFlagsAfterFullScreen);
    if (m_nTrackTimer == 0)
        startTracking();
    m_pRealPlay->ExitFullScreen();
}

void PlayWidget::onExitFullscreen()
{
    if (!isFullScreen())
        return;
    writeLog("PlayWidget::onExitFullscreen", "exit fullscreen");
    if (m_nEmbedType == 0)
        platform::changeWindowFlags(*this, kFlagsAfterFullScreen);
    showNormal();
    AttachToBrowser(m_hCurBrowseWnd);
    if (m_nEmbedType == 0) {
        ReqShowPlugin(true);
        MovePlayWidget(ownHandle(), m_rcPos);
    }
    m_pRealPlay->ExitFullScreen();
    if (m_nTrackTimer == 0)
        startTracking();
}

void PlayWidget::keyReleaseEvent(QKeyEvent* pEvent)
{
    static constexpr char kTag[] = "PlayWidget::keyReleaseEvent";
    writeLog(kTag, QString("%1").arg("keyReleaseEvent"));
    if (pEvent->key() == Qt::Key_Escape && pEvent->type() == QEvent::KeyRelease) {
        writeLog(kTag, "keyReleaseEvent release");
        onExitFullscreen();
    }
}
