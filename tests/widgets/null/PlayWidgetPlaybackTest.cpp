// The gate to the playback page.
#include "null/NullBrowser.h"

#include "StubLumoDecode.h"
#include "platform/Paths.h"
#include "surface/VideoWnd.h"

#include <QFile>
#include <QSettings>
#include <QSignalSpy>

#include <gmock/gmock.h>

#include <thread>

namespace
{

constexpr int kLive = 0, kPlayback = 1, kColour = 2;
constexpr int kByTime = 2;

using testing::ElementsAre;
using testing::IsEmpty;
using testing::StartsWith;

class PlayWidgetPlayback : public NullBrowserTest
{
protected:
    PlayWidgetPlayback()
    {
        QFile::remove(configFile());
        start(kWindows7Version);
        surface().SetPlaybackMode(kByTime);
        stubdecode::reset();
    }
    ~PlayWidgetPlayback() override { QFile::remove(configFile()); }

    static QString configFile() { return platform::applicationDir() + "/ClientCfg.ini"; }
    static void configure(const QString& key, const QVariant& value)
    {
        QSettings(configFile(), QSettings::IniFormat).setValue(key, value);
    }

    int cellsShown(const char* szClass)
    {
        for (QObject* child : surface().children()) {
            if (qstrcmp(child->metaObject()->className(), szClass) != 0)
                continue;
            int nShown = 0;
            for (const CVideoWnd* cell : child->findChildren<CVideoWnd*>())
                nShown += !cell->isHidden();
            return nShown;
        }
        return -1;
    }
};

} // namespace

TEST_F(PlayWidgetPlayback, PlaybackGoesToItsPageWhateverPageIsCurrent)
{
    stubdecode::answer("GetCurrentFrameTime", 0);
    for (const int nPage : {kLive, kPlayback, kColour}) {
        surface().SetPageIndex(nPage);
        EXPECT_EQ(surface().StartPlay(1, 2), 0);
        EXPECT_EQ(surface().GetWndStatus(2), 0);
        EXPECT_EQ(surface().GetPlayState(kPlayback, 2), 2);
        EXPECT_NE(surface().SetPlayTime(2, "", ""), 0);
        EXPECT_TRUE(surface().Refresh(2));
        EXPECT_EQ(surface().SetSpeed(2, 2), 2);
        EXPECT_EQ(surface().GetPlayState(kPlayback, 2), 4);
        EXPECT_EQ(surface().SetSound(kPlayback, 2, true), 0);
        EXPECT_TRUE(surface().IsSoundOn(kPlayback, 2));
        EXPECT_EQ(surface().GetTimePos(2), 0.0f);
        EXPECT_EQ(surface().GetSeekSeconds(2, 500), 0);
        int nPictures = 0, nBytes = 0;
        surface().GetBufferInfo(2, nPictures, nBytes);
        EXPECT_EQ(nPictures + nBytes, 2);
        EXPECT_EQ(surface().SetPos(2, 0.5f), 1);
        EXPECT_EQ(surface().StopPlay(2), 0);
        EXPECT_EQ(surface().GetPlayState(kPlayback, 2), 0);
    }
    EXPECT_EQ(surface().GetPlayState(kPlayback, 4), -1);
    EXPECT_EQ(surface().SetSound(kPlayback, 4, true), -1);
}

TEST_F(PlayWidgetPlayback, ChannelOfAWindowIsTakenOnThePlaybackPageOnly)
{
    for (const int nPage : {kLive, kColour}) {
        surface().SetPageIndex(nPage);
        surface().SetPlaybackChannel(7, 1);
        EXPECT_EQ(surface().GetWndChannel(kPlayback, 1), -1);
    }
    surface().SetPageIndex(kPlayback);
    surface().SetPlaybackChannel(7, 1);
    EXPECT_EQ(surface().GetWndChannel(kPlayback, 1), 7);
    EXPECT_EQ(surface().FindWndByChannel(kPlayback, 7), 1);
}

TEST_F(PlayWidgetPlayback, SplitOfThePlaybackPageLeavesTheLiveOneAlone)
{
    surface().SetPageIndex(kLive);
    log.clear();
    EXPECT_EQ(surface().ChangePlaybackSplit(1), 0);
    EXPECT_EQ(cellsShown("CPlaybackWidget"), 4);
    EXPECT_EQ(cellsShown("CRealPlayWidget"), 9);
    EXPECT_EQ(log.of("PlayWidget::ChangeSplit"), QStringList());
    surface().SetPageIndex(kPlayback);
    EXPECT_EQ(surface().ChangePlaybackSplit(0), 0);
    EXPECT_EQ(cellsShown("CPlaybackWidget"), 1);
    EXPECT_EQ(log.of("PlayWidget::ChangeSplit"), QStringList("pageid=1 mode=0"));
}

TEST_F(PlayWidgetPlayback, SnapshotOnThePlaybackPageGoesIntoTheFolderOfTheMoment)
{
    surface().SetPageIndex(kPlayback);
    surface().SetPlaybackChannel(4, 0);
    configure("Path/CapPath", "/pictures");
    EXPECT_EQ(surface().Capture(0, false), 0);
    EXPECT_THAT(stubdecode::take(),
                ElementsAre(StartsWith("CatchPicture 64 " + platform::joinPath("/pictures", "05_").toStdString())));
    surface().SetPageIndex(kColour);
    EXPECT_EQ(surface().Capture(0, false), -1);
}

TEST_F(PlayWidgetPlayback, ClipGoesIntoTheFolderAndFormatOfTheMoment)
{
    surface().SetPageIndex(kPlayback);
    surface().StartPlay(0, 0);
    surface().SetPlaybackChannel(4, 0);
    configure("Path/RecPath", "/clips");
    configure("Info/RecordType", 2);
    stubdecode::take();
    EXPECT_NE(surface().PlaybackRecord(0, true), 0);
    EXPECT_TRUE(surface().IsPlaybackRecord(0));
    EXPECT_THAT(stubdecode::take(),
                ElementsAre(StartsWith("StartDataRecord 64 2 " + platform::joinPath("/clips", "05_").toStdString())));
    EXPECT_NE(surface().PlaybackRecord(0, false), 0);
    EXPECT_FALSE(surface().IsPlaybackRecord(0));
}

TEST_F(PlayWidgetPlayback, ZoomTogglesTheSelectedWindow)
{
    surface().SetPageIndex(kPlayback);
    EXPECT_EQ(surface().ToggleDigitalZoom(), -1);
    surface().StartPlay(0, 0);
    EXPECT_EQ(surface().ToggleDigitalZoom(), 0);
    EXPECT_TRUE(surface().IsDigitalZoom(kPlayback, 0));
}

TEST_F(PlayWidgetPlayback, ModeIsToldAsASelectionOfWindowZero)
{
    surface().SetPageIndex(kPlayback);
    QSignalSpy spy(&surface(), &PlayWidget::curWndIndexSig);
    surface().SetPlaybackMode(kByTime);
    ASSERT_EQ(spy.count(), 1);
    EXPECT_EQ(spy.first(), QList<QVariant>({kPlayback, 0}));
}

TEST_F(PlayWidgetPlayback, DataReachThePortOfTheWindowFromAnyThreadUntilTheSurfaceIsGone)
{
    const unsigned char data[4] = {};
    std::thread([&] { EXPECT_EQ(PlayWidget::InputPlaybackData(3, data, 4), 0); }).join();
    EXPECT_EQ(stubdecode::inputPort(), 67);
    EXPECT_EQ(PlayWidget::InputPlaybackData(4, data, 4), -1);
    PlayWidget::ReleaseInstance();
    EXPECT_EQ(PlayWidget::InputPlaybackData(3, data, 4), -1);
}

TEST_F(PlayWidgetPlayback, ConversionGoesStraightToTheLibrary)
{
    EXPECT_TRUE(surface().ChangeFileFormat(
        "/a", "/b", 2, [](long, long, intptr_t) {}, 0));
    EXPECT_FALSE(surface().ChangeFileFormat(
        "/a", "/b", 0, [](long, long, intptr_t) {}, 0));
    EXPECT_THAT(stubdecode::take(), ElementsAre("ConvertFile /a /b 2"));
}
