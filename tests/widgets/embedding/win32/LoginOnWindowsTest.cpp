// A login as the page sends it, with the browser's own windows: which of them the surface is bound to.
#include "LibraryStub.h"
#include "embedding/win32/TestBrowser.h"
#include "hub/PluginManage.h"
#include "support/LogCapture.h"
#include "surface/PlayWidget.h"

#include <QCoreApplication>
#include <QTest>
#include <gtest/gtest.h>

#include <windows.h>

namespace
{

constexpr char kWalk[] = "PlayWidget::ErgodicAllChild";

class LoginOnWindows : public testing::Test
{
protected:
    LoginOnWindows()
    {
        qRegisterMetaType<std::function<void(void)>>("std::function<void(void)>");
        LibraryStub::reset().channels = 4;
        main = browser.openChrome("main", QRect(120, 90, 816, 638), "Web Viewer - Browser");
        hub = std::make_unique<CPluginManage>(QString::number(main.hTop, 16), 7, nullptr);
        QObject::connect(hub.get(), &CPluginManage::sendWebSocketMsgSig, &context,
                         [this](const QString& strMsg) { replies << strMsg; });
    }
    ~LoginOnWindows() override
    {
        hub->stopThread();
        PlayWidget::ReleaseInstance();
    }

    /// The reply to one command.
    QString ask(int nMainType, const QString& strKeys)
    {
        const QString strMsg = QString("{\"MainType\":%1,%2}").arg(nMainType).arg(strKeys);
        replies.clear();
        QMetaObject::invokeMethod(
            hub.get(), [=] { hub->onRecvWebsocketMsg(strMsg); }, Qt::QueuedConnection);
        const QString strReply = QString("\"Msg\":%1,").arg(nMainType);
        EXPECT_TRUE(QTest::qWaitFor([&] { return !replies.filter(strReply).isEmpty(); }, 20000)) << qPrintable(strMsg);
        return replies.filter(strReply).value(0);
    }
    QString login(int nBrowseType)
    {
        return ask(
            8, QString("\"SubType\":0,\"MsgID\":\"l\",\"Browse\":%1,\"Device\":{\"LoginType\":0,\"IP\":\"10.0.0.9\","
                       "\"Port\":34567,\"User\":\"u\",\"Password\":\"p\"}")
                   .arg(nBrowseType));
    }

    TestBrowser browser;
    TestBrowser::Window main;
    LogCapture log;
    QObject context; // of the GUI thread
    QStringList replies;
    std::unique_ptr<CPluginManage> hub;
};

} // namespace

TEST_F(LoginOnWindows, WithBrowseType1TheWalkIsNotCalledAndTheSurfaceFollowsTheTopLevelWindow)
{
    EXPECT_TRUE(login(2).contains("\"Ret\":100")) << "so that a login does call it";
    EXPECT_FALSE(log.of(kWalk).isEmpty());
    log.clear();
    const QString strReply = login(1);
    EXPECT_TRUE(strReply.contains("\"Ret\":100")) << qPrintable(strReply);
    EXPECT_TRUE(strReply.contains("\"adjustBytool\":false")) << qPrintable(strReply);
    EXPECT_TRUE(log.of(kWalk).isEmpty());
    ask(12, "\"SubType\":2,\"MsgID\":\"s\",\"Pos\":{\"Left\":40,\"Top\":60,\"Width\":320,\"Height\":240}");
    const HWND hOwn = reinterpret_cast<HWND>(PlayWidget::Instance()->winId());
    EXPECT_TRUE(QTest::qWaitFor([=] { return IsWindowVisible(hOwn) != FALSE; }, 20000));
    EXPECT_TRUE(log.of(kWalk).isEmpty()) << "nor later";
}
