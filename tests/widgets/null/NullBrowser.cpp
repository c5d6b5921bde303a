#include "null/NullBrowser.h"

#include <QAbstractEventDispatcher>
#include <QTest>

using namespace platform;

NullBrowserTest::NullBrowserTest()
{
    null::reset();
}

NullBrowserTest::~NullBrowserTest()
{
    PlayWidget::ReleaseInstance();
}

void NullBrowserTest::start(int nWindowsVersion)
{
    null::setWindowsVersion(nWindowsVersion);
    m_hBrowser = addTopLevel(QString("%1 - Browser").arg(kPageTitle), QRect(100, 50, 816, 638));
    null::SWindow render;
    render.hParent = m_hBrowser;
    render.className = kChromeClass;
    render.rc = QRect(10, 80, 780, 500);
    null::add(kRenderWindow, render);
    null::setForeground(m_hBrowser);
    null::SWindow own;
    own.strTitle = "surface";
    null::add(surface().winId(), own);
}

WindowHandle NullBrowserTest::addTopLevel(const QString& title, QRect rc)
{
    auto window = std::make_unique<QWindow>();
    window->setGeometry(rc);
    window->create();
    const WindowHandle hWindow = window->winId();
    null::SWindow topLevel;
    topLevel.strTitle = title;
    topLevel.className = "Chrome_WidgetWin_1";
    topLevel.rc = rc;
    topLevel.ptClient = QPoint(8, 30);
    topLevel.szClient = rc.size() - QSize(16, 38);
    null::add(hWindow, topLevel);
    m_windows.push_back(std::move(window));
    return hWindow;
}

void NullBrowserTest::bind(bool withClient)
{
    surface().BindBrowser(m_hBrowser, withClient ? kRenderWindow : 0, kPageTitle, 2);
    if (null::window(own()).hOwner == 0)
        putInto(m_hBrowser);
    surface().SetPageIndex(0);
}

void NullBrowserTest::putInto(WindowHandle hParent)
{
    null::SWindow window = null::window(own());
    null::remove(own());
    window.hParent = hParent;
    null::add(own(), window);
}

bool NullBrowserTest::until(const std::function<bool()>& holds)
{
    return QTest::qWaitFor(holds, 5000);
}

bool NullBrowserTest::someTicks(int nQuestions)
{
    const quint64 nGoal = null::questionCount() + static_cast<quint64>(nQuestions);
    return until([=] { return null::questionCount() >= nGoal; });
}

int NullBrowserTest::timersRunning()
{
    int nCount = 0;
    for (const auto& timer : QAbstractEventDispatcher::instance()->registeredTimers(&surface()))
        nCount += timer.interval == 100 && timer.timerType == Qt::CoarseTimer;
    return nCount;
}
