#include "embedding/win32/TestBrowser.h"

#include <QCoreApplication>
#include <QStringList>
#include <QTest>
#include <gtest/gtest.h>

TestBrowser::TestBrowser()
{
    m_process.setProcessChannelMode(QProcess::ForwardedErrorChannel);
    m_process.start(TEST_BROWSER, QStringList());
    EXPECT_TRUE(m_process.waitForStarted(30000)) << m_process.errorString().toStdString();
}

TestBrowser::~TestBrowser()
{
    m_process.write("quit\n");
    m_process.closeWriteChannel();
    if (!QTest::qWaitFor([this] { return m_process.state() == QProcess::NotRunning; }, 20000))
        m_process.kill();
}

QString TestBrowser::tell(const QString& line)
{
    m_process.write(line.toUtf8() + '\n');
    EXPECT_TRUE(QTest::qWaitFor([this] { return m_process.canReadLine(); }, 20000)) << line.toStdString();
    const QString answer = QString::fromUtf8(m_process.readLine()).trimmed();
    EXPECT_FALSE(answer.startsWith('?')) << answer.toStdString();
    return answer;
}

TestBrowser::Window TestBrowser::open(const QString& name, const char* kind, QRect place, const QString& title)
{
    const QStringList words = tell(QString("open %1 %2 %3,%4 %5x%6 %7")
                                       .arg(name, kind)
                                       .arg(place.x())
                                       .arg(place.y())
                                       .arg(place.width())
                                       .arg(place.height())
                                       .arg(title))
                                  .split(' ');
    const auto handle = [&](int n) {
        return static_cast<platform::WindowHandle>(words.value(n).toULongLong(nullptr, 16));
    };
    return {handle(1), handle(2), handle(3)};
}

TestBrowser::Window TestBrowser::openChrome(const QString& name, QRect place, const QString& title)
{
    return open(name, "chrome", place, title);
}

TestBrowser::Window TestBrowser::openExplorer(const QString& name, QRect place, const QString& title)
{
    return open(name, "explorer", place, title);
}
