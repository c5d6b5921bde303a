// A live page above the recording decode library, on an empty configuration.
#pragma once

#include "LibraryStub.h"
#include "StubLumoDecode.h"
#include "WidgetTest.h"
#include "live/RealPlayWidget.h"
#include "surface/PlayWindowManage.h"
#include "surface/VideoFrame.h"
#include "surface/VideoWnd.h"

#include <QFile>
#include <QSettings>
#include <QTest>

#include <gmock/gmock.h>

#include <memory>
#include <string>
#include <vector>

struct SOpenPage : CRealPlayWidget {
    using CRealPlayWidget::CRealPlayWidget;
    using CRealPlayWidget::m_ptzElect;
};

inline QString configFile()
{
    return QCoreApplication::applicationDirPath() + "/ClientCfg.ini";
}

class CRealPlayPage : public testing::Test
{
protected:
    CRealPlayPage()
    {
        QFile::remove(configFile());
        stubdecode::reset();
        LibraryStub::reset();
        m_page = std::make_unique<SOpenPage>(nullptr);
        m_page->resize(804, 804);
        m_page->show();
        EXPECT_TRUE(QTest::qWaitForWindowExposed(m_page.get()));
        m_grid = m_page->findChild<CPlayWindowManage*>();
    }

    ~CRealPlayPage() override { QFile::remove(configFile()); }

    CVideoWnd& cell(int nIndex) { return *m_grid->findChildren<CVideoWnd*>().at(nIndex); }
    CVideoFrame& frame(int nIndex) { return *cell(nIndex).findChild<CVideoFrame*>(); }

    std::string handle(int nWnd) { return std::to_string(m_grid->GetVideoHwnd(nWnd)); }

    /// Channel on cell, with the calls of the start forgotten.
    void show(int nChannel, int nWnd)
    {
        EXPECT_EQ(m_page->StartPreview(0, nChannel, nWnd), 0);
        stubdecode::take();
    }

    static void configure(const char* szKey, const QVariant& value)
    {
        QSettings settings(configFile(), QSettings::IniFormat);
        settings.setValue(szKey, value);
    }

    static QString configured(const char* szKey)
    {
        return QSettings(configFile(), QSettings::IniFormat).value(szKey).toString();
    }

    std::unique_ptr<SOpenPage> m_page;
    CPlayWindowManage* m_grid = nullptr;
};
