// The playback page: which port a window means, and the order of the port's calls.
#include "PlaybackPage.h"

#include <QSignalSpy>

#include <atomic>
#include <thread>

namespace
{

using testing::ElementsAre;
using testing::IsEmpty;

class PlaybackWidgetTest : public CPlaybackPage
{
};

} // namespace

TEST_F(PlaybackWidgetTest, StartsWithOneEmptyWindow)
{
    EXPECT_EQ(m_page->windowFlags(), Qt::WindowFlags(0x2000800) | Qt::Window); // this one has no parent
    EXPECT_TRUE(m_page->testAttribute(Qt::WA_MouseTracking));
    for (int i = 0; i < 64; ++i)
        EXPECT_EQ(cell(i).isVisible(), i == 0);
    for (int i = 0; i < 4; ++i) {
        EXPECT_EQ(m_page->GetWndChannel(i), -1);
        EXPECT_FALSE(m_page->IsZoom(i));
        EXPECT_FALSE(m_page->IsRecording(i));
        EXPECT_FALSE(m_page->IsSound(i));
    }
    EXPECT_EQ(m_page->GetCurChannel(), -1);
    EXPECT_EQ(m_page->GetCurWnd(), 0);
    EXPECT_THAT(stubdecode::take(), IsEmpty());
}

TEST_F(PlaybackWidgetTest, ItsParentWatchesItsEvents)
{
    CUserEventWatch parent;
    m_page.reset();
    auto* pPage = new CPlaybackWidget(&parent);
    QEvent event(QEvent::User);
    QApplication::sendEvent(pPage, &event);
    EXPECT_EQ(parent.pSeen, pPage);
}

TEST_F(PlaybackWidgetTest, DeviceModesMeanPort64PlusWindowAndTheLocalOnePort128)
{
    const CLogLines log;
    for (const int nMode : {kByTime, kByName, kLocal}) {
        m_page->SetPlayMode(nMode);
        m_page->ClearBuffer(3);
    }
    EXPECT_THAT(stubdecode::take(), ElementsAre("RefreshPlay 67", "RefreshPlay 67", "RefreshPlay 131"));
    EXPECT_EQ(log.of("CDecodeChannel::CDecodeChannel"), (QStringList{"port 67", "port 131"}));
}

TEST_F(PlaybackWidgetTest, ModeChangeStopsNothingOnTheOtherPort)
{
    play(1, 5);
    m_page->SetPlayMode(kLocal);
    EXPECT_THAT(stubdecode::take(), IsEmpty());
    EXPECT_EQ(m_page->GetPlayState(1), CDecodeChannel::kStopped);
    m_page->SetPlayMode(kByTime);
    EXPECT_EQ(m_page->GetPlayState(1), CDecodeChannel::kNormal);
}

TEST_F(PlaybackWidgetTest, ModeChangeSelectsWindowZeroAndSaysSo)
{
    m_page->ChangeSplit(1);
    m_page->SelectWnd(2);
    QSignalSpy spy(m_page.get(), &CPlaybackWidget::curWndIndexSig);
    m_page->SetPlayMode(kByTime);
    EXPECT_EQ(m_page->GetCurWnd(), 0);
    ASSERT_EQ(spy.count(), 2); // the grid's own word, and that of the page
    EXPECT_EQ(spy.at(1).first().toInt(), 0);
    m_page->SetPlayMode(kByTime);
    EXPECT_EQ(spy.count(), 3);
}

TEST_F(PlaybackWidgetTest, DevicePlaybackOpensSetsTheModeAndPlaysIntoTheWindow)
{
    m_page->SetPlayMode(kByTime);
    const CLogLines log;
    EXPECT_EQ(m_page->OpenWnd(1, 2), 0);
    EXPECT_THAT(stubdecode::take(), ElementsAre("OpenStream 66 2048000", "SetStreamMode 66 1", "Play 66 " + handle(2)));
    EXPECT_EQ(log.of("CPlayWindowManage::setPreviewStatus"), QStringList{"wnd:2 preview:1"});
}

TEST_F(PlaybackWidgetTest, LocalFileOpensGetsItsEndCallbackAndPlaysWithoutAStream)
{
    EXPECT_EQ(m_page->BeginLocalPlay(
                  0, "/files/a.avi", [](int, intptr_t) {}, 7),
              1);
    EXPECT_EQ(m_page->OpenWnd(0, 0), 0);
    EXPECT_THAT(stubdecode::take(),
                ElementsAre("OpenFile 128 /files/a.avi", "SetFileEndCallBack 128", "Play 128 " + handle(0)));
}

TEST_F(PlaybackWidgetTest, MinusOneOpensTheSelectedWindow)
{
    m_page->ChangeSplit(1);
    m_page->SetPlayMode(kByTime);
    m_page->SelectWnd(3);
    EXPECT_EQ(m_page->OpenWnd(0, -1), 0);
    EXPECT_THAT(stubdecode::take(), ElementsAre("OpenStream 67 4096000", "SetStreamMode 67 1", "Play 67 " + handle(3)));
}

TEST_F(PlaybackWidgetTest, RefusedOpenLeavesTheWindowClosedAndIsToldAsGood)
{
    m_page->SetPlayMode(kByTime);
    stubdecode::answer("OpenStream", 0);
    const CLogLines log;
    EXPECT_EQ(m_page->OpenWnd(0, 1), 0);
    EXPECT_THAT(stubdecode::take(), ElementsAre("OpenStream 65 4096000"));
    EXPECT_EQ(log.of("CPlayWindowManage::setPreviewStatus"), QStringList());
}

TEST_F(PlaybackWidgetTest, RefusedPlayIsToldAsGoodToo)
{
    m_page->SetPlayMode(kByTime);
    stubdecode::answer("Play", 0);
    EXPECT_EQ(m_page->OpenWnd(0, 1), 0);
    EXPECT_EQ(m_page->GetPlayState(1), CDecodeChannel::kStopped);
}

TEST_F(PlaybackWidgetTest, OperationsOnAWindowThatIsNoneHaveNoPort)
{
    for (const int nWnd : {4, 5, -2, 64}) {
        for (const int nMode : {kLocal, kByTime}) {
            m_page->SetPlayMode(nMode);
            EXPECT_EQ(m_page->BeginLocalPlay(
                          nWnd, "/a", [](int, intptr_t) {}, 0),
                      0);
            EXPECT_EQ(m_page->OpenWnd(0, nWnd), -1);
            EXPECT_EQ(m_page->StopWnd(nWnd), -1);
            EXPECT_EQ(m_page->SetWndTime(nWnd, "", ""), 0);
            EXPECT_EQ(m_page->SetPlayState(nWnd, 2), -1);
            EXPECT_EQ(m_page->GetPlayState(nWnd), -1);
            EXPECT_EQ(m_page->GetSeekSeconds(nWnd, 500), 0);
            EXPECT_EQ(m_page->SetLocalPos(nWnd, 0.5f), 0);
            EXPECT_FALSE(m_page->ClearBuffer(nWnd));
            EXPECT_EQ(m_page->CatchPicture(nWnd, "/pictures"), -1);
            EXPECT_EQ(m_page->SetSound(nWnd, true), -1);
            EXPECT_EQ(CPlaybackWidget::InputData(nWnd, nullptr, 0), -1);
            EXPECT_FALSE(m_page->IsRecording(nWnd));
            EXPECT_FALSE(m_page->IsZoom(nWnd));
            EXPECT_FALSE(m_page->IsSound(nWnd));
            m_page->SetWndChannel(9, nWnd);
            EXPECT_EQ(m_page->GetWndChannel(nWnd), -1);
            int nPictures = 11, nBytes = 12;
            m_page->GetBufferLevels(nWnd, nPictures, nBytes);
            EXPECT_EQ(nPictures, 11);
            EXPECT_EQ(nBytes, 12);
            m_page->OnDigitalZoom({}, {10, 10}, nWnd);
            m_page->OnQuitDigitalZoom(nWnd);
        }
    }
    EXPECT_EQ(m_page->FindWndByChannel(9), -1);
    EXPECT_THAT(stubdecode::take(), IsEmpty());
}

TEST_F(PlaybackWidgetTest, StoppingAWindowThatRecordsAndHasSoundStopsTheClipThenTheSoundThenPlayback)
{
    play(2, 5);
    EXPECT_NE(m_page->RecordClip(2, 0, true, "/clips"), 0);
    EXPECT_EQ(m_page->SetSound(2, true), 0);
    stubdecode::take();
    const CLogLines log;
    EXPECT_EQ(m_page->StopWnd(2), 0);
    EXPECT_THAT(stubdecode::take(), ElementsAre("StopDataRecord 66", "StopSound 66", "SetDisplayRegion 66 null 0",
                                                "SetDisplayRegion 66 null 0", "Stop 66", "CloseStream 66"));
    EXPECT_FALSE(m_page->IsRecording(2));
    EXPECT_FALSE(m_page->IsSound(2));
    EXPECT_EQ(m_page->GetWndChannel(2), -1);
    EXPECT_EQ(log.of("CPlayWindowManage::setPreviewStatus"), QStringList{"wnd:2 preview:0"});
}

TEST_F(PlaybackWidgetTest, StoppingALocalFileClosesTheFile)
{
    playFile(1);
    EXPECT_EQ(m_page->StopWnd(1), 0);
    EXPECT_THAT(stubdecode::take(),
                ElementsAre("SetDisplayRegion 129 null 0", "SetDisplayRegion 129 null 0", "Stop 129", "CloseFile 129"));
}

TEST_F(PlaybackWidgetTest, StoppingAPausedWindowClearsItsRegionAllTheSame)
{
    play(0, 5);
    EXPECT_EQ(m_page->SetPlayState(0, CDecodeChannel::kPaused), CDecodeChannel::kPaused);
    stubdecode::take();
    m_page->StopWnd(0);
    EXPECT_THAT(stubdecode::take(), ElementsAre("SetDisplayRegion 64 null 0", "Stop 64", "CloseStream 64"));
}

TEST_F(PlaybackWidgetTest, StopThatIsRefusedKeepsClipAndSoundFlags)
{
    play(0, 5);
    m_page->RecordClip(0, 0, true, "/clips");
    m_page->SetSound(0, true);
    stubdecode::answer("StopDataRecord", 0);
    stubdecode::answer("StopSound", 0);
    m_page->StopWnd(0);
    EXPECT_TRUE(m_page->IsRecording(0));
    EXPECT_TRUE(m_page->IsSound(0));
}

TEST_F(PlaybackWidgetTest, ChannelsAreFoundInTheirFirstWindow)
{
    m_page->SetWndChannel(7, 1);
    m_page->SetWndChannel(7, 3);
    m_page->SetWndChannel(2, 0);
    EXPECT_EQ(m_page->FindWndByChannel(7), 1);
    EXPECT_EQ(m_page->FindWndByChannel(8), -1);
    EXPECT_EQ(m_page->GetCurChannel(), 2);
}

TEST_F(PlaybackWidgetTest, SplitModeOneIsFourWindowsAndEveryOtherOne)
{
    for (const int nMode : {1, 0, 1, 2, 6, 7, -3}) {
        EXPECT_EQ(m_page->ChangeSplit(nMode), 0);
        for (int i = 0; i < 64; ++i)
            EXPECT_EQ(cell(i).isVisible(), i < (nMode == 1 ? 4 : 1)) << nMode;
    }
}

TEST_F(PlaybackWidgetTest, StatesGoThroughThePort)
{
    play(1, 5);
    EXPECT_EQ(m_page->SetPlayState(1, 33), 33);
    EXPECT_EQ(m_page->GetPlayState(1), 33);
    EXPECT_THAT(stubdecode::take(), ElementsAre("Play 65 " + handle(1), "Fast 65", "Fast 65"));
}

TEST_F(PlaybackWidgetTest, DataGoToThePortOfTheModeFromAnyThread)
{
    const unsigned char data[4] = {};
    for (const auto& [nMode, nPort] : {std::pair(kByTime, 66), std::pair(kLocal, 130)}) {
        m_page->SetPlayMode(nMode);
        std::thread([&] { EXPECT_EQ(CPlaybackWidget::InputData(2, data, 4), 0); }).join();
        EXPECT_EQ(stubdecode::inputPort(), nPort);
    }
}

TEST_F(PlaybackWidgetTest, DataThatRaceWithTheEndOfThePageAreDropped)
{
    m_page->SetPlayMode(kByTime);
    const unsigned char data[4] = {};
    std::atomic<bool> bStarted{false};
    std::thread stream([&] {
        while (CPlaybackWidget::InputData(3, data, 4) == 0)
            bStarted = true;
    });
    while (!bStarted)
        std::this_thread::yield();
    m_page.reset();
    stream.join();
    EXPECT_EQ(CPlaybackWidget::InputData(3, data, 4), -1);
}

TEST_F(PlaybackWidgetTest, EndOfThePageStopsAndClosesBothPortsOfAWindow)
{
    playFile(0);
    play(0, 5);
    m_page.reset();
    EXPECT_THAT(stubdecode::take(), ElementsAre("SetDisplayRegion 64 null 0", "Stop 64", "CloseStream 64",
                                                "SetDisplayRegion 128 null 0", "Stop 128", "CloseFile 128"));
}

TEST_F(PlaybackWidgetTest, NewPageBeginsInLocalMode)
{
    play(0, 5);
    m_page = nullptr;
    m_page = std::make_unique<CPlaybackWidget>(nullptr);
    stubdecode::take();
    m_page->ClearBuffer(0);
    EXPECT_THAT(stubdecode::take(), ElementsAre("RefreshPlay 128"));
}

TEST_F(PlaybackWidgetTest, StillPictureGoesToWindowZero)
{
    m_page->resize(400, 300);
    QImage image(40, 30, QImage::Format_RGB32);
    image.fill(Qt::green);
    const QString strFile = QCoreApplication::applicationDirPath() + "/still.png";
    ASSERT_TRUE(image.save(strFile));
    const QRgb before = imageOf(frame(0)).pixel(20, 20);
    m_page->ShowPicture(strFile);
    EXPECT_EQ(QColor(imageOf(frame(0)).pixel(20, 20)), QColor(Qt::green));
    m_page->ShowPicture(QString());
    EXPECT_EQ(imageOf(frame(0)).pixel(20, 20), before);
    QFile::remove(strFile);
}
