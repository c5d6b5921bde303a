// Life of the surface: construction, binding, position, visibility, pages and local information. Following the
// browser is in PlayWidgetTracking.cpp, full screen in PlayWidgetFullScreen.cpp, the gate to the pages in
// PlayWidgetRouting.cpp.
#include "surface/PlayWidget.h"

#include "live/ColorSetWidget.h"
#include "live/LocalFolders.h"
#include "live/RealPlayWidget.h"
#include "platform/Paths.h"
#include "playback/PlaybackWidget.h"
#include "shell/LightWeightLog.h"
#include "surface/PlayWidgetFlags.h"

#include <QHBoxLayout>
#include <QSettings>
#include <QWindow>
#include <algorithm>
#include <atomic>
#include <limits>

namespace
{
constexpr int kWindows7 = 0x90; // the enumerator of QSysInfo::windowsVersion()
constexpr char kEmbeddedParentProperty[] = "_q_embedded_native_parent_handle";
constexpr quint32 kStyleChild = 0x40000000;
constexpr quint32 kStyleLowBits = 0x3fffffff;

// Library threads read it while the GUI thread makes and destroys the object.
std::atomic<PlayWidget*> s_pInstance{nullptr};

const char* renderClassOf(int nBrowseType)
{
    switch (nBrowseType) {
    case 0:
        return "Internet Explorer_Server";
    case 2:
    case 6:
    case 9:
        return "Chrome_RenderWidgetHostHWND";
    default:
        return nullptr;
    }
}

int sum(int nA, int nB)
{
    constexpr qint64 kMin = std::numeric_limits<int>::min();
    constexpr qint64 kMax = std::numeric_limits<int>::max();
    return static_cast<int>(std::clamp(qint64(nA) + nB, kMin, kMax));
}
} // namespace

PlayWidget* PlayWidget::Instance()
{
    if (!s_pInstance.load())
        s_pInstance.store(new PlayWidget(nullptr));
    return s_pInstance.load();
}

void PlayWidget::ReleaseInstance()
{
    delete s_pInstance.exchange(nullptr);
}

PlayWidget::PlayWidget(QWidget* pParent) : QWidget(pParent)
{
    setWindowFlags(kFlagsSurface);
    hide();
    const int nVersion = platform::windowsVersion();
    m_nEmbedType = nVersion > kWindows7 ? 1 : 0;
    writeLog("PlayWidget::PlayWidget", QString("WinVersion=%1 EmbedType=%2").arg(nVersion).arg(m_nEmbedType));

    m_pLayout = new QHBoxLayout(this);
    m_pLayout->setContentsMargins(0, 0, 0, 0);
    m_pLayout->setSpacing(0);
    m_pRealPlay = new CRealPlayWidget(this);
    addPage(m_pRealPlay);
    m_pPlayback = new CPlaybackWidget(this);
    addPage(m_pPlayback);
    m_pColorSet = new CColorSetWidget(this);
    addPage(m_pColorSet);
    LoadLocalInfo(QString());
    connect(m_pPlayback, &CPlaybackWidget::curWndIndexSig, this, &PlayWidget::onCurWndIndexChange);
    connect(m_pRealPlay, &CRealPlayWidget::curWndIndexSig, this, &PlayWidget::onCurWndIndexChange);
    connect(m_pRealPlay, &CRealPlayWidget::changePTZELectPage, this, &PlayWidget::changePTZELectPage);
}

PlayWidget::~PlayWidget()
{
    // The foreign parent would take this widget's window along as its child object.
    hide();
    if (m_pForeignParent && windowHandle())
        windowHandle()->setParent(nullptr);
    delete m_pForeignParent;
}

void PlayWidget::addPage(QWidget* pPage)
{
    pPage->installEventFilter(this);
    pPage->hide();
    m_pLayout->addWidget(pPage);
}

void PlayWidget::BindBrowser(platform::WindowHandle hBrowse, platform::WindowHandle hClient, const QString& strTitle,
                             int nBrowseType)
{
    m_hCurBrowseClientWnd = hClient;
    m_hCurBrowseWnd = hBrowse;
    m_strBrowserTitle = strTitle;
    m_bHasClientWnd = hClient != 0;
    AttachToBrowser(hBrowse);
    m_nBrowseType = nBrowseType;
    m_strWndName = platform::titleOf(hBrowse, 256);
    startTracking();
}

platform::WindowHandle PlayWidget::ErgodicAllChild(platform::WindowHandle hWnd, int nBrowseType, int nDepth)
{
    const char* szSearched = renderClassOf(nBrowseType);
    while (true) {
        const QByteArray className = platform::classNameOf(hWnd, 128);
        const QByteArray title = platform::titleBytesOf(hWnd, 128);
        writeLog("PlayWidget::ErgodicAllChild",
                 QString(nDepth, '-') + QString("class name:%1,class handle:%2 wndName:%3 BrowseType:%4\n")
                                            .arg(platform::fromLocal8Bit(className), QString::number(hWnd),
                                                 platform::fromLocal8Bit(title), QString::number(nBrowseType)));
        if (szSearched && className.contains(szSearched))
            return hWnd;
        if (const platform::WindowHandle hChild = platform::firstChildOf(hWnd))
            if (const platform::WindowHandle hFound = ErgodicAllChild(hChild, nBrowseType, nDepth + 1))
                return hFound;
        if (nDepth < 1)
            return 0;
        hWnd = platform::nextSiblingOf(hWnd);
        if (!hWnd)
            return 0;
    }
}

void PlayWidget::AttachToBrowser(platform::WindowHandle hParent)
{
    if (!platform::isWindow(hParent))
        return;
    if (m_nEmbedType == 0) {
        QWindow* pForeign = QWindow::fromWinId(static_cast<WId>(hParent));
        if (!pForeign)
            return;
        winId();
        setProperty(kEmbeddedParentProperty, QVariant::fromValue(static_cast<quint64>(hParent)));
        windowHandle()->setParent(pForeign);
        delete m_pForeignParent;
        m_pForeignParent = pForeign;
        return;
    }
    const platform::WindowHandle hOwn = ownHandle();
    platform::setStyle(hOwn, (platform::styleOf(hOwn) & kStyleLowBits) | kStyleChild);
    platform::setOwner(hOwn, hParent);
    platform::insertAfter(hOwn, platform::previousInZOrder(m_hCurBrowseWnd));
}

QPoint PlayWidget::GetClientOrigin() const
{
    if (!m_hCurBrowseWnd || !platform::isWindow(m_hCurBrowseWnd))
        return {};
    if (m_bHasClientWnd && m_hCurBrowseClientWnd)
        return platform::mapPoint(m_hCurBrowseClientWnd, m_nEmbedType == 1 ? 0 : m_hCurBrowseWnd, {});
    if (m_nEmbedType == 0)
        return {};
    QPoint ptFrame;
    if (QWindow* pForeign = QWindow::fromWinId(static_cast<WId>(m_hCurBrowseWnd))) {
        ptFrame = pForeign->framePosition();
        delete pForeign;
    }
    const QRect rcWindow = platform::windowRect(m_hCurBrowseWnd);
    const QSize szClient = platform::clientSize(m_hCurBrowseWnd);
    // The border is taken to be the same on both sides.
    return ptFrame + QPoint((rcWindow.width() - szClient.width()) / 2, (rcWindow.height() - szClient.height()) / 2);
}

QPoint PlayWidget::cornerFrom(QPoint ptOrigin, const PluginRegion& rcPos)
{
    return {sum(ptOrigin.x(), rcPos.left), sum(ptOrigin.y(), rcPos.top)};
}

void PlayWidget::MovePlayWidget(platform::WindowHandle hWnd, const PluginRegion& rcPos)
{
    static constexpr char kTag[] = "PlayWidget::MovePlayWidget";
    if (!m_bPosValid || !m_bShowPlugin) {
        writeLog(kTag, QString("wnd can't move,reason:ShowPlugin:%1,PosValid:%2").arg(m_bShowPlugin).arg(m_bPosValid),
                 kLogWarning);
        return;
    }
    writeLog(kTag, "move begin");
    const QPoint pt = cornerFrom(GetClientOrigin(), rcPos);
    writeLog(kTag,
             QString("nLeft:%1,nTop:%2,Width:%3,Height:%4").arg(pt.x()).arg(pt.y()).arg(rcPos.width).arg(rcPos.height));
    platform::moveWindow(hWnd, pt.x(), pt.y(), rcPos.width, rcPos.height);
    platform::invalidate(hWnd);
    update();
    m_rcPos = rcPos;
    writeLog(kTag, "move end");
}

bool PlayWidget::ReqShowPlugin(bool bShow)
{
    if (bShow == isVisible())
        return false;
    if (!bShow) {
        hide();
        return true;
    }
    const bool bPageShown = m_bBrowseClientVisible || !m_bHasClientWnd;
    if (m_bShowPlugin && bPageShown && m_bPosValid) {
        show();
        return true;
    }
    writeLog("PlayWidget::ReqShowPlugin",
             QString("can't show window reason:ShowPlugin:%1,BrowseClientVisible:%2,PosValid:%3")
                 .arg(m_bShowPlugin)
                 .arg(m_bBrowseClientVisible)
                 .arg(m_bPosValid),
             kLogWarning);
    return false;
}

void PlayWidget::onWidgetStatuChange(int nStatus, const PluginRegion& rcPos)
{
    static constexpr char kTag[] = "PlayWidget::onWidgetStatuChange";
    const platform::WindowHandle hOwn = ownHandle();
    if (!platform::isWindow(hOwn)) {
        writeLog(kTag, "m_playWidget is invalid window");
        return;
    }
    if (!m_hCurBrowseWnd || !platform::isWindow(m_hCurBrowseWnd)) {
        writeLog(kTag, "m_hCurBrowseWnd is invalid window");
        return;
    }
    switch (nStatus) {
    case kShow:
        writeLog(kTag, "WebCtrlShow call");
        m_bShowPlugin = true;
        m_bPosValid = rcPos.isUsable();
        ReqShowPlugin(true);
        MovePlayWidget(hOwn, rcPos);
        if (m_nEmbedType == 1 && m_nMoveTimer == 0)
            m_nMoveTimer = startTimer(kTrackIntervalMs, Qt::CoarseTimer);
        break;
    case kHide:
        writeLog(kTag, "WebCtrlHide call");
        m_bShowPlugin = false;
        if (isVisible())
            hide();
        break;
    case kMove:
        writeLog(kTag, "WebCtrlMove call");
        m_bPosValid = rcPos.isUsable();
        ReqShowPlugin(m_bPosValid);
        MovePlayWidget(hOwn, rcPos);
        break;
    default:
        break;
    }
}

int PlayWidget::SetPageIndex(int nIndex)
{
    QWidget* const pages[] = {m_pRealPlay, m_pPlayback, m_pColorSet}; // as EPage counts them
    constexpr int kPages = int(std::size(pages));
    m_nCurPageIndex = nIndex;
    if (nIndex < 0 || nIndex >= kPages)
        return 0;
    writeLog("PlayWidget::SetPageIndex", QString("m_nCurPageIndex = %1").arg(nIndex));
    for (int i = 0; i < kPages; ++i)
        if (i != nIndex)
            pages[i]->hide();
    pages[nIndex]->show();
    return 0;
}

void PlayWidget::onCurWndIndexChange(int nIndex)
{
    emit curWndIndexSig(m_nCurPageIndex, nIndex);
}

void PlayWidget::LoadLocalInfo(const QString& strPrefix)
{
    static constexpr char kTag[] = "PlayWidget::LoadLocalInfo";
    writeLog(kTag, "LoadLocalInfo begin");
    m_localInfo = loadLocalFolders(platform::ESlashes::Forward);
    writeLog(kTag, "Load cfg finish");
    QSettings version(QString("%1/%2LumoPlayToolVersion.ini").arg(platform::applicationDir(), strPrefix),
                      QSettings::IniFormat);
    version.setIniCodec(platform::systemCodec());
    platform::copyLocal8Bit(m_localInfo.szDate, sizeof m_localInfo.szDate, version.value("Tool/date", "").toString());
    platform::copyLocal8Bit(m_localInfo.szVersion, sizeof m_localInfo.szVersion,
                            version.value("Tool/version", "").toString());
    writeLog(kTag, "LoadLocalInfo end");
}

void PlayWidget::LoadLocalInfo(LocalInfo* pInfo, const QString& strPrefix)
{
    LoadLocalInfo(strPrefix);
    *pInfo = m_localInfo;
}

LocalInfo PlayWidget::ReloadLocalInfo()
{
    LoadLocalInfo(QString());
    return m_localInfo;
}

int PlayWidget::InputRealData(int nChannel, const unsigned char* pData, int nSize)
{
    return CRealPlayWidget::InputRealData(nChannel, pData, nSize);
}
