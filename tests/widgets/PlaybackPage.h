// A playback page above the recording decode library.
#pragma once

#include "StubLumoDecode.h"
#include "WidgetTest.h"
#include "playback/PlaybackWidget.h"
#include "surface/PlayWindowManage.h"
#include "surface/VideoFrame.h"
#include "surface/VideoWnd.h"

#include <QTest>

#include <gmock/gmock.h>

#include <memory>
#include <string>

class CPlaybackPage : public testing::Test
{
protected:
    static constexpr int kLocal = 0, kByName = 1, kByTime = 2;

    CPlaybackPage()
    {
        stubdecode::reset();
        m_page = std::make_unique<CPlaybackWidget>(nullptr);
        m_page->resize(804, 804);
        m_page->show();
        EXPECT_TRUE(QTest::qWaitForWindowExposed(m_page.get()));
        m_grid = m_page->findChild<CPlayWindowManage*>();
    }

    CVideoWnd& cell(int nIndex) { return *m_grid->findChildren<CVideoWnd*>().at(nIndex); }
    CVideoFrame& frame(int nIndex) { return *cell(nIndex).findChild<CVideoFrame*>(); }
    std::string handle(int nWnd) { return std::to_string(m_grid->GetVideoHwnd(nWnd)); }

    /// A device playback of a channel in a window, with the calls of the start forgotten.
    void play(int nWnd, int nChannel, int nMode = kByTime)
    {
        m_page->SetPlayMode(nMode);
        EXPECT_EQ(m_page->OpenWnd(0, nWnd), 0);
        m_page->SetWndChannel(nChannel, nWnd);
        stubdecode::take();
    }

    /// A local file in a window, likewise.
    void playFile(int nWnd)
    {
        m_page->SetPlayMode(kLocal);
        EXPECT_NE(m_page->BeginLocalPlay(
                      nWnd, "/files/a.avi", [](int, intptr_t) {}, 0),
                  0);
        EXPECT_EQ(m_page->OpenWnd(0, nWnd), 0);
        m_page->SetWndChannel(nWnd, nWnd);
        stubdecode::take();
    }

    std::unique_ptr<CPlaybackWidget> m_page;
    CPlayWindowManage* m_grid = nullptr;
};
