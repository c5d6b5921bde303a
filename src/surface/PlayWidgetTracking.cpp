// PlayWidget follows the browser: the timers that watch its windows, and the loss of the parent window.
#include "shell/LightWeightLog.h"
#include "surface/PlayWidget.h"
#include "surface/PlayWidgetFlags.h"

#include <QTimerEvent>

namespace
{
constexpr char kTag[] = "PlayWidget::timerEvent";

QString hex8(platform::WindowHandle hWnd)
{
    return QString("%1").arg(hWnd, 8, 16, QChar('0'));
}
} // namespace

void PlayWidget::startTracking()
{
    if (m_nTrackTimer > 0) // a login after a login binds again
        killTimer(m_nTrackTimer);
    m_nTrackTimer = startTimer(kTrackIntervalMs, Qt::CoarseTimer);
}

platform::WindowHandle PlayWidget::GetRootWindow(platform::WindowHandle hWnd) const
{
    while (const platform::WindowHandle hParent = platform::parentOf(hWnd))
        hWnd = hParent;
    return platform::isWindow(hWnd) ? hWnd : 0;
}

platform::WindowHandle PlayWidget::presentParent() const
{
    return m_nEmbedType == 0 ? GetRootWindow(ownHandle()) : platform::ownerOf(ownHandle());
}

void PlayWidget::timerEvent(QTimerEvent* pEvent)
{
    if (pEvent->timerId() == m_nMoveTimer)
        onMoveTimer();
    else if (pEvent->timerId() == m_nTrackTimer)
        onTrackTimer();
}

void PlayWidget::onMoveTimer()
{
    if (!platform::isWindow(ownHandle()))
        return;
    const QPoint ptOrigin = GetClientOrigin();
    if (ptOrigin == m_ptLastOrigin)
        return;
    move(cornerFrom(ptOrigin, m_rcPos));
    m_ptLastOrigin = ptOrigin;
    writeLog(kTag, QString("move pt.x=%1 pt.y=%2").arg(ptOrigin.x()).arg(ptOrigin.y()));
}

void PlayWidget::onTrackTimer()
{
    // Where windows die with their parent, ours may be gone; nothing can be attached until the next login.
    if (!platform::isWindow(ownHandle()))
        return;
    if (isVisible() && m_nEmbedType == 0 && m_rcPos.isUsable()) {
        const QPoint pt = cornerFrom(GetClientOrigin(), m_rcPos);
        platform::keepShown(ownHandle(), pt.x(), pt.y(), m_rcPos.width, m_rcPos.height);
    }
    if (m_bHasClientWnd) {
        trackClient();
        return;
    }
    if (presentParent() != m_hCurBrowseWnd) {
        AttachToBrowser(m_hCurBrowseWnd);
        MovePlayWidget(ownHandle(), m_rcPos);
    }
}

void PlayWidget::trackClient()
{
    m_hCurBrowseClientWnd = platform::followClient(m_hCurBrowseClientWnd, m_strBrowserTitle);
    const platform::WindowHandle hRoot = GetRootWindow(m_hCurBrowseClientWnd);
    const platform::WindowHandle hNow = presentParent();
    const platform::WindowHandle hForeground = platform::foregroundWindow();
    const QString strForegroundTitle = platform::titleOf(hForeground, 256);
    if (!m_strWndName.contains(m_strBrowserTitle))
        rebindToForeground(hForeground, strForegroundTitle);
    if (hRoot != hNow) {
        writeLog(kTag, QString("m_playWidget handle:%1\tm_hCurBrowseClientWnd:%2\tbefore parent handle:%3\tnow "
                               "parent handle:%4")
                           .arg(hex8(ownHandle()), hex8(m_hCurBrowseClientWnd), hex8(hNow), hex8(hRoot)));
        m_hCurBrowseWnd = hRoot;
        AttachToBrowser(hRoot);
        MovePlayWidget(ownHandle(), m_rcPos);
    }
    followClientVisibility();
}

void PlayWidget::rebindToForeground(platform::WindowHandle hForeground, const QString& strForegroundTitle)
{
    writeLog(kTag, "m_strWndName.indexOf(m_strBrowserTitle)");
    if (!strForegroundTitle.contains(m_strBrowserTitle))
        return;
    m_hCurBrowseWnd = hForeground;
    m_hCurBrowseClientWnd = ErgodicAllChild(hForeground, m_nBrowseType, 0);
    AttachToBrowser(m_hCurBrowseWnd);
    m_bHasClientWnd = m_hCurBrowseClientWnd != 0;
    m_strWndName = strForegroundTitle;
}

void PlayWidget::followClientVisibility()
{
    // Required: each byte is one character, so that a title outside ASCII does not match.
    const QString strTitle = QString::fromLatin1(platform::titleBytesOf(m_hCurBrowseWnd, 1024));
    const bool bVisible = platform::isVisible(m_hCurBrowseClientWnd) && strTitle.contains(m_strBrowserTitle);
    if (bVisible == m_bBrowseClientVisible)
        return;
    m_bBrowseClientVisible = bVisible;
    ReqShowPlugin(bVisible);
    if (bVisible)
        MovePlayWidget(ownHandle(), m_rcPos);
}

bool PlayWidget::nativeEvent(const QByteArray& eventType, void* pMessage, long* pResult)
{
    const std::optional<platform::WindowHandle> hDestroyed = platform::destroyedWindow(eventType, pMessage);
    if (!hDestroyed)
        return QWidget::nativeEvent(eventType, pMessage, pResult);
    writeLog("PlayWidget::nativeEvent", QString("recive WM_DESTROY %1").arg(hex8(*hDestroyed)));
    if (m_bHasClientWnd) {
        // The parent must not take this window along: it goes to the surviving root.
        const platform::WindowHandle hOwn = ownHandle();
        const platform::WindowHandle hRoot = GetRootWindow(m_hCurBrowseClientWnd);
        platform::setParent(hOwn, 0);
        platform::setParent(hOwn, hRoot);
        platform::invalidate(hOwn);
        m_hCurBrowseWnd = hRoot;
    }
    platform::dropNativeEvent(pMessage);
    return true;
}
