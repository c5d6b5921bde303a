// The playback page: position, sound, zoom, snapshots and clips.
#include "PlaybackPage.h"

#include <QDir>
#include <QRegularExpression>

#include <ctime>

namespace
{

using testing::ElementsAre;
using testing::IsEmpty;

class PlaybackPictureTest : public CPlaybackPage
{
protected:
    /// The path in a call's text: the folder as it was asked for, and a name; %T is the time of day.
    static void expectPath(const std::string& strPath, const QString& strFolder, const QString& strName)
    {
        const QString strForm = QRegularExpression::escape(strFolder + QDir::separator() + strName);
        const QRegularExpression form("^" + QString(strForm).replace("\\%T", "\\d{8}_\\d{6}") + "$");
        EXPECT_TRUE(form.match(QString::fromStdString(strPath)).hasMatch()) << strPath;
    }

    /// The argument behind the call's name and its numbers.
    static std::string pathOf(const std::string& strCall, int nNumbers)
    {
        std::size_t nAt = 0;
        for (int i = 0; i <= nNumbers; ++i)
            nAt = strCall.find(' ', nAt) + 1;
        return strCall.substr(nAt);
    }

    static int calendarSeconds(int nHour, int nMinute, int nSecond)
    {
        std::tm t{};
        t.tm_year = 2026 - 1900;
        t.tm_mon = 10;
        t.tm_mday = 20;
        t.tm_hour = nHour;
        t.tm_min = nMinute;
        t.tm_sec = nSecond;
        t.tm_isdst = -1;
        return static_cast<int>(std::mktime(&t));
    }
};

} // namespace

TEST_F(PlaybackPictureTest, PositionOfWindowFiveIsZero)
{
    for (const int nMode : {kLocal, kByName, kByTime}) {
        m_page->SetPlayMode(nMode);
        EXPECT_EQ(m_page->GetPos(5), 0.0f);
    }
}

TEST_F(PlaybackPictureTest, PositionOfALocalFileIsThatOfTheLibrary)
{
    playFile(0);
    stubdecode::answer("GetPlayPos", 1);
    EXPECT_EQ(m_page->GetPos(0), 1.0f);
    EXPECT_THAT(stubdecode::take(), ElementsAre("GetPlayPos 128"));
}

TEST_F(PlaybackPictureTest, PositionByTimeIsTheSecondOfTheDayAndByNameTheFractionOfTheRange)
{
    play(1, 5, kByTime);
    EXPECT_NE(m_page->SetWndTime(1, "2026-11-20 10:00:00", "2026-11-20 10:10:00"), 0);
    stubdecode::answer("GetCurrentFrameTime", calendarSeconds(10, 2, 30));
    EXPECT_EQ(m_page->GetPos(1), 36150.0f);
    m_page->SetPlayMode(kByName);
    EXPECT_EQ(m_page->GetPos(1), 0.25f);
}

TEST_F(PlaybackPictureTest, SeekSecondsAreThousandthsOfTheRange)
{
    play(1, 5);
    m_page->SetWndTime(1, "2026-11-20 10:00:00", "2026-11-20 10:10:00");
    EXPECT_EQ(m_page->GetSeekSeconds(1, 500), 0); // the picture shown lies before the range
    stubdecode::answer("GetCurrentFrameTime", calendarSeconds(10, 0, 1));
    EXPECT_EQ(m_page->GetSeekSeconds(1, 500), 300);
    EXPECT_EQ(m_page->GetSeekSeconds(1, 1), 0);
    EXPECT_EQ(m_page->GetSeekSeconds(1, 0), 0);
    stubdecode::answer("GetCurrentFrameTime", 0);
    EXPECT_EQ(m_page->GetSeekSeconds(1, 500), 0);
}

TEST_F(PlaybackPictureTest, SeekInAFileSetsThePositionThenRepaintsTwice)
{
    playFile(0);
    EXPECT_EQ(m_page->SetLocalPos(0, 0.5f), 1);
    EXPECT_THAT(stubdecode::take(), ElementsAre("SetPlayPos 128 0.5", "RefreshPlay 128", "RefreshPlay 128"));
}

TEST_F(PlaybackPictureTest, ClearedBufferIsTheLibrarysWord)
{
    play(0, 5);
    EXPECT_TRUE(m_page->ClearBuffer(0));
    stubdecode::answer("RefreshPlay", 0);
    EXPECT_FALSE(m_page->ClearBuffer(0));
}

TEST_F(PlaybackPictureTest, BufferLevelsArePicturesThenBytes)
{
    play(0, 5);
    stubdecode::answer("GetBufferValue", 7);
    stubdecode::answer("GetSourceBufferRemain", 9000);
    int nPictures = 0, nBytes = 0;
    m_page->GetBufferLevels(0, nPictures, nBytes);
    EXPECT_EQ(nPictures, 7);
    EXPECT_EQ(nBytes, 9000);
    EXPECT_THAT(stubdecode::take(), ElementsAre("GetBufferValue 64 3", "GetSourceBufferRemain 64"));
}

TEST_F(PlaybackPictureTest, SoundOnWindowTwoStopsThatOfWindowZeroFirst)
{
    play(0, 5);
    play(2, 6);
    EXPECT_EQ(m_page->SetSound(0, true), 0);
    EXPECT_EQ(m_page->SetSound(2, true), 0);
    EXPECT_THAT(stubdecode::take(), ElementsAre("PlaySound 64", "StopSound 64", "PlaySound 66"));
    EXPECT_FALSE(m_page->IsSound(0));
    EXPECT_TRUE(m_page->IsSound(2));
}

TEST_F(PlaybackPictureTest, SoundThatIsRefusedIsMinusTwo)
{
    play(0, 5);
    stubdecode::answer("PlaySound", 0);
    EXPECT_EQ(m_page->SetSound(0, true), -2);
    EXPECT_FALSE(m_page->IsSound(0));
    stubdecode::answer("PlaySound", 1);
    m_page->SetSound(0, true);
    stubdecode::answer("StopSound", 0);
    EXPECT_EQ(m_page->SetSound(0, false), -2);
    EXPECT_TRUE(m_page->IsSound(0));
}

TEST_F(PlaybackPictureTest, SoundThatIsRefusedOnAnotherWindowIsOffOnTheFirstToo)
{
    play(0, 5);
    play(2, 6);
    m_page->SetSound(0, true);
    stubdecode::answer("PlaySound", 0);
    EXPECT_EQ(m_page->SetSound(2, true), -2);
    EXPECT_FALSE(m_page->IsSound(0));
    EXPECT_FALSE(m_page->IsSound(2));
}

TEST_F(PlaybackPictureTest, SoundMovesOnThoughTheFirstWindowsDoesNotStop)
{
    play(0, 5);
    play(2, 6);
    m_page->SetSound(0, true);
    stubdecode::take();
    stubdecode::answer("StopSound", 0);
    EXPECT_EQ(m_page->SetSound(2, true), 0);
    EXPECT_THAT(stubdecode::take(), ElementsAre("StopSound 64", "PlaySound 66"));
    EXPECT_FALSE(m_page->IsSound(0));
    EXPECT_TRUE(m_page->IsSound(2));
}

TEST_F(PlaybackPictureTest, SoundOffOnAnotherWindowLeavesTheOne)
{
    play(0, 5);
    m_page->SetSound(0, true);
    EXPECT_EQ(m_page->SetSound(1, false), 0);
    EXPECT_TRUE(m_page->IsSound(0));
}

TEST_F(PlaybackPictureTest, ZoomTogglesTheSelectedWindowAndClearsTheRegionAtItsEnd)
{
    play(0, 5);
    EXPECT_EQ(m_page->ToggleZoom(), 0);
    EXPECT_TRUE(m_page->IsZoom(0));
    EXPECT_THAT(stubdecode::take(), IsEmpty());
    m_page->OnDigitalZoom({100, 200}, {300, 400}, 0);
    EXPECT_EQ(m_page->ToggleZoom(), 0);
    EXPECT_FALSE(m_page->IsZoom(0));
    EXPECT_THAT(stubdecode::take(), ElementsAre("SetDisplayRegion 64 100,200,300,400 1", "SetDisplayRegion 64 null 0"));
}

TEST_F(PlaybackPictureTest, ZoomOfAStoppedWindowIsRefused)
{
    m_page->SetPlayMode(kByTime);
    EXPECT_EQ(m_page->ToggleZoom(), -1);
    EXPECT_FALSE(m_page->IsZoom(0));
}

TEST_F(PlaybackPictureTest, DragInAZoomingWindowBecomesItsRegion)
{
    play(0, 5);
    m_page->ToggleZoom();
    stubdecode::take();
    drag(frame(0), {100, 100}, {300, 200});
    const auto calls = stubdecode::take();
    ASSERT_EQ(calls.size(), 1u);
    EXPECT_THAT(calls[0], testing::StartsWith("SetDisplayRegion 64 "));
    EXPECT_THAT(calls[0], testing::EndsWith(" 1"));
}

TEST_F(PlaybackPictureTest, QuitZoomIsLoggedAndClearsTheRegion)
{
    play(0, 5);
    m_page->ToggleZoom();
    const CLogLines log;
    m_page->OnQuitDigitalZoom(0);
    EXPECT_FALSE(m_page->IsZoom(0));
    EXPECT_THAT(stubdecode::take(), ElementsAre("SetDisplayRegion 64 null 0"));
    m_page->OnQuitDigitalZoom(5);
    EXPECT_EQ(log.of("CPlaybackWidget::OnQuitDigitalZoom"),
              (QStringList{"OnQuitDigitalZoom index :0", "OnQuitDigitalZoom index :5"}));
}

TEST_F(PlaybackPictureTest, StoppingAZoomedWindowEndsItsZoom)
{
    play(0, 5);
    m_page->ToggleZoom();
    m_page->StopWnd(0);
    EXPECT_FALSE(m_page->IsZoom(0));
    EXPECT_FALSE(m_grid->GetDigitalZoomStatus());
}

TEST_F(PlaybackPictureTest, SnapshotInLocalModeIsNamedLocalWithNoChannel)
{
    playFile(0);
    EXPECT_EQ(m_page->CatchPicture(0, "/pictures"), 0);
    expectPath(pathOf(stubdecode::take().at(0), 1), "/pictures", "Local_%T.bmp");
}

TEST_F(PlaybackPictureTest, PictureOfAChannelZeroWindowIsNamed01)
{
    play(0, 0);
    EXPECT_EQ(m_page->CatchPicture(0, "/pictures"), 0);
    expectPath(pathOf(stubdecode::take().at(0), 1), "/pictures", "01_%T.bmp");
}

TEST_F(PlaybackPictureTest, PictureOfAnEmptyWindowIsLeftToItsPortAndNamed00)
{
    m_page->SetPlayMode(kByTime);
    EXPECT_EQ(m_page->CatchPicture(1, "/pictures"), 0);
    const auto calls = stubdecode::take();
    ASSERT_EQ(calls.size(), 1u);
    EXPECT_THAT(calls[0], testing::StartsWith("CatchPicture 65 "));
    expectPath(pathOf(calls[0], 1), "/pictures", "00_%T.bmp");
    EXPECT_EQ(m_page->CatchPicture(4, "/pictures"), -1);
}

TEST_F(PlaybackPictureTest, PictureThatIsRefusedIsMinusTwo)
{
    play(0, 0);
    stubdecode::answer("CatchPicture", 0);
    EXPECT_EQ(m_page->CatchPicture(0, "/pictures"), -2);
}

TEST_F(PlaybackPictureTest, LongPathIsCutTo259Bytes)
{
    play(0, 0);
    m_page->CatchPicture(0, "/" + QString(400, 'p'));
    EXPECT_EQ(pathOf(stubdecode::take().at(0), 1), "/" + std::string(258, 'p'));
}

TEST_F(PlaybackPictureTest, ClipsAreNamedByTypeAndSource)
{
    play(1, 11);
    EXPECT_EQ(m_page->RecordClip(1, 2, true, "/clips"), 1);
    m_page->RecordClip(1, 2, false, "/clips");
    EXPECT_EQ(m_page->RecordClip(1, 0, true, "/clips"), 1);
    const auto device = stubdecode::take();
    ASSERT_EQ(device.size(), 3u);
    EXPECT_THAT(device[0], testing::StartsWith("StartDataRecord 65 2 "));
    expectPath(pathOf(device[0], 2), "/clips", "12_%T.avi");
    EXPECT_EQ(device[1], "StopDataRecord 65");
    EXPECT_THAT(device[2], testing::StartsWith("StartDataRecord 65 0 "));
    expectPath(pathOf(device[2], 2), "/clips", "12_%T.h265x");
    playFile(0);
    m_page->RecordClip(0, 2, true, "/clips");
    expectPath(pathOf(stubdecode::take().at(0), 2), "/clips", "Local_%T.avi");
    m_page->RecordClip(0, 2, false, "/clips");
    stubdecode::take();
    m_page->RecordClip(0, 0, true, "/clips");
    expectPath(pathOf(stubdecode::take().at(0), 2), "/clips", "Local_%T.h265x");
}

TEST_F(PlaybackPictureTest, ClipOfRecordTypeOneStartsWithAnEmptyPath)
{
    play(1, 11);
    m_page->RecordClip(1, 1, true, "/clips");
    EXPECT_THAT(stubdecode::take(), ElementsAre("StartDataRecord 65 0 "));
}

TEST_F(PlaybackPictureTest, ClipOfWindowFourGetsNoPortAndIsZero)
{
    m_page->SetPlayMode(kByTime);
    for (const int nWnd : {4, 5, -1}) {
        EXPECT_EQ(m_page->RecordClip(nWnd, 0, true, "/clips"), 0);
        EXPECT_EQ(m_page->RecordClip(nWnd, 0, false, "/clips"), 0);
    }
    EXPECT_THAT(stubdecode::take(), IsEmpty());
}

TEST_F(PlaybackPictureTest, ClipStartedTwiceOrEndedTwiceIsZeroWithoutACall)
{
    play(1, 11);
    EXPECT_EQ(m_page->RecordClip(1, 0, false, "/clips"), 0);
    EXPECT_NE(m_page->RecordClip(1, 0, true, "/clips"), 0);
    stubdecode::take();
    EXPECT_EQ(m_page->RecordClip(1, 0, true, "/clips"), 0);
    EXPECT_THAT(stubdecode::take(), IsEmpty());
}

TEST_F(PlaybackPictureTest, ClipThatDoesNotEndStaysOn)
{
    play(1, 11);
    m_page->RecordClip(1, 0, true, "/clips");
    stubdecode::answer("StopDataRecord", 0);
    EXPECT_EQ(m_page->RecordClip(1, 0, false, "/clips"), 0);
    EXPECT_TRUE(m_page->IsRecording(1));
}

TEST_F(PlaybackPictureTest, ClipThatDoesNotStartIsOff)
{
    play(1, 11);
    stubdecode::answer("StartDataRecord", 0);
    EXPECT_EQ(m_page->RecordClip(1, 0, true, "/clips"), 0);
    EXPECT_FALSE(m_page->IsRecording(1));
}

TEST_F(PlaybackPictureTest, ThemeIsThatOfItsWindows)
{
    const QColor border(18, 144, 255);
    EXPECT_NE(imageOf(cell(0)).pixelColor(0, 0), border);
    m_page->SetTheme("White");
    EXPECT_EQ(imageOf(cell(0)).pixelColor(0, 0), border);
}
