// The gate to the pages, and the local information.
#include "null/NullBrowser.h"

#include "platform/Paths.h"
#include "surface/VideoWnd.h"

#include <QFile>
#include <QSettings>
#include <QSignalSpy>
#include <QTextCodec>

namespace
{
constexpr int kLive = 0, kPlayback = 1, kColour = 2, kNoPage = 3, kCurrent = 5;

class PlayWidgetPages : public NullBrowserTest
{
protected:
    PlayWidgetPages()
    {
        QFile::remove(configFile());
        start(kWindows7Version);
    }
    ~PlayWidgetPages() override
    {
        QFile::remove(configFile());
        QFile::remove(versionFile("O5"));
    }

    static QString configFile() { return platform::applicationDir() + "/ClientCfg.ini"; }
    static QString versionFile(const QString& prefix)
    {
        return QString("%1/%2LumoPlayToolVersion.ini").arg(platform::applicationDir(), prefix);
    }

    static void write(const QString& file, const QString& key, const QVariant& value)
    {
        QSettings settings(file, QSettings::IniFormat);
        settings.setIniCodec(QTextCodec::codecForName("System"));
        settings.setValue(key, value);
    }
    static QString read(const QString& key)
    {
        return QSettings(configFile(), QSettings::IniFormat).value(key).toString();
    }

    QWidget* page(const char* szClass)
    {
        for (QObject* child : surface().children())
            if (qstrcmp(child->metaObject()->className(), szClass) == 0)
                return static_cast<QWidget*>(child);
        return nullptr;
    }

    /// Which of the pages would be seen if the surface were: "live", "playback", "colour".
    QStringList shownPages()
    {
        QStringList shown;
        const std::pair<const char*, const char*> names[] = {
            {"CRealPlayWidget", "live"}, {"CPlaybackWidget", "playback"}, {"CColorSetWidget", "colour"}};
        for (const auto& [szClass, szName] : names)
            if (!page(szClass)->isHidden())
                shown << szName;
        return shown;
    }

    int cellsShown(const char* szClass)
    {
        int nShown = 0;
        for (const CVideoWnd* cell : page(szClass)->findChildren<CVideoWnd*>())
            nShown += !cell->isHidden();
        return nShown;
    }
};
} // namespace

TEST_F(PlayWidgetPages, AllPagesAreHiddenUntilOneIsChosen)
{
    EXPECT_EQ(shownPages(), QStringList());
}

TEST_F(PlayWidgetPages, ChoosingAPageShowsItAndHidesTheOthers)
{
    const std::pair<int, QString> pages[] = {{kColour, "colour"}, {kPlayback, "playback"}, {kLive, "live"}};
    for (const auto& [nPage, strName] : pages) {
        log.clear();
        surface().SetPageIndex(nPage);
        EXPECT_EQ(shownPages(), QStringList(strName));
        EXPECT_EQ(surface().GetPageIndex(), nPage);
        EXPECT_EQ(log.of("PlayWidget::SetPageIndex"), QStringList(QString("m_nCurPageIndex = %1").arg(nPage)));
    }
}

TEST_F(PlayWidgetPages, AnInvalidPageIsStoredAndShowsNothing)
{
    surface().SetPageIndex(kLive);
    log.clear();
    for (const int nPage : {kNoPage, -1, 1000}) {
        EXPECT_EQ(surface().SetPageIndex(nPage), 0);
        EXPECT_EQ(surface().GetPageIndex(), nPage);
        EXPECT_EQ(surface().GetCurWnd(), -1);
        EXPECT_EQ(surface().GetCurChannel(kCurrent), -1);
        EXPECT_EQ(surface().Capture(0, false), -1);
        EXPECT_EQ(surface().ChangeSplit(1), 0);
    }
    EXPECT_EQ(shownPages(), QStringList("live"));
    EXPECT_TRUE(log.of("PlayWidget::SetPageIndex").isEmpty());
}

TEST_F(PlayWidgetPages, ForwardersWithAPageNumberRefuseOtherPages)
{
    for (const int nPage : {kColour, kNoPage, -1}) {
        EXPECT_EQ(surface().GetWndChannel(nPage, 0), -1);
        EXPECT_EQ(surface().FindWndByChannel(nPage, 0), -1);
        EXPECT_FALSE(surface().IsDigitalZoom(nPage, 0));
        EXPECT_FALSE(surface().IsSoundOn(nPage, 0));
        EXPECT_EQ(surface().SetSound(nPage, 0, true), -1);
        EXPECT_EQ(surface().GetPlayState(nPage, 0), -1);
        EXPECT_EQ(surface().GetCurChannel(nPage), -1);
    }
}

TEST_F(PlayWidgetPages, ForwardersReachTheLivePageByItsNumber)
{
    surface().SetPageIndex(kColour);
    ASSERT_EQ(surface().StartPreview(0, 5, 2), 0);
    EXPECT_EQ(surface().GetWndChannel(kLive, 2), 5);
    EXPECT_EQ(surface().FindWndByChannel(kLive, 5), 2);
    EXPECT_EQ(surface().GetPlayState(kLive, 5), 2);
    EXPECT_EQ(surface().GetPlayState(kLive, 6), 0);
    EXPECT_EQ(surface().GetPlayState(kLive, 64), -1);
    EXPECT_EQ(surface().GetWndChannel(kPlayback, 2), -1);
    EXPECT_EQ(surface().IsOriginal(5), 0);
    EXPECT_EQ(surface().SetSound(kLive, 5, true), 0);
    EXPECT_TRUE(surface().IsSoundOn(kLive, 5));
    EXPECT_FALSE(surface().IsSoundOn(kPlayback, 5));
    EXPECT_EQ(surface().PreviewStop(5), 0);
    EXPECT_EQ(log.of("PlayWidget::PreviewStop"), QStringList("PlayWidget::PreviewStop Chn=5"));
}

TEST_F(PlayWidgetPages, TheOriginalAspectIsToldOnTheLivePageOnly)
{
    ASSERT_EQ(surface().StartPreview(0, 5, 2), 0);
    surface().SetPageIndex(kLive);
    ASSERT_EQ(surface().PlayOriginal(5), 0);
    EXPECT_EQ(surface().IsOriginal(5), 1);
    surface().SetPageIndex(kPlayback);
    EXPECT_EQ(surface().IsOriginal(5), 0);
}

TEST_F(PlayWidgetPages, TheCurrentChannelIsAskedByASelector)
{
    ASSERT_EQ(surface().StartPreview(0, 7, 0), 0);
    surface().SetPageIndex(kLive);
    EXPECT_EQ(surface().GetCurChannel(0), 7);
    EXPECT_EQ(surface().GetCurChannel(1), -1);
    EXPECT_EQ(surface().GetCurChannel(kCurrent), 7);
    surface().SetPageIndex(kPlayback);
    EXPECT_EQ(surface().GetCurChannel(0), 7);
    EXPECT_EQ(surface().GetCurChannel(kCurrent), -1);
    EXPECT_EQ(surface().GetCurChannel(4), -1);
}

TEST_F(PlayWidgetPages, EachModeHasItsNumberOfWindowsOnEachPage)
{
    const int live[] = {1, 4, 9, 16, 25, 36, 64, 1};
    const int playback[] = {1, 4, 1, 1, 1, 1, 1, 1};
    for (int nMode = 0; nMode < 8; ++nMode) {
        surface().SetPageIndex(kLive);
        EXPECT_EQ(surface().ChangeSplit(nMode), 0);
        EXPECT_EQ(cellsShown("CRealPlayWidget"), live[nMode]) << nMode;
        surface().SetPageIndex(kPlayback);
        EXPECT_EQ(surface().ChangeSplit(nMode), 0);
        EXPECT_EQ(cellsShown("CPlaybackWidget"), playback[nMode]) << nMode;
    }
    surface().ChangeSplit(-3);
    EXPECT_EQ(cellsShown("CPlaybackWidget"), 1);
    EXPECT_EQ(log.of("PlayWidget::ChangeSplit").first(), "pageid=0 mode=0");
}

TEST_F(PlayWidgetPages, AThemeReachesTheCellsOfBothPages)
{
    const auto border = [this](const char* szClass) {
        return page(szClass)->findChild<CVideoWnd*>()->grab().toImage().pixelColor(0, 0);
    };
    surface().SetTheme("Black");
    for (const char* szClass : {"CRealPlayWidget", "CPlaybackWidget"})
        EXPECT_EQ(border(szClass), QColor(196, 0, 34)) << szClass;
    surface().SetTheme("");
    for (const char* szClass : {"CRealPlayWidget", "CPlaybackWidget"})
        EXPECT_EQ(border(szClass), QColor(18, 144, 255)) << szClass;
}

TEST_F(PlayWidgetPages, TheColourPageHasNoSplit)
{
    surface().SetPageIndex(kColour);
    EXPECT_EQ(surface().ChangeSplit(4), 0);
    EXPECT_EQ(cellsShown("CRealPlayWidget"), 9);
    EXPECT_EQ(cellsShown("CPlaybackWidget"), 1);
}

TEST_F(PlayWidgetPages, APlaybackWindowIsSelectedOnThePlaybackPageOnly)
{
    QSignalSpy spy(&surface(), &PlayWidget::curWndIndexSig);
    surface().SetPageIndex(kLive);
    surface().SelectPlaybackWnd(2);
    EXPECT_EQ(spy.count(), 0);
    EXPECT_EQ(surface().GetCurWnd(), 0);

    surface().SetPageIndex(kPlayback);
    surface().ChangeSplit(1);
    surface().SelectPlaybackWnd(2);
    EXPECT_EQ(surface().GetCurWnd(), 2);
    ASSERT_EQ(spy.count(), 2); // the grid's own word, and that of the command
    for (const QList<QVariant>& call : spy)
        EXPECT_EQ(call, QList<QVariant>({kPlayback, 2}));
    spy.clear();
    surface().SelectPlaybackWnd(2);
    EXPECT_EQ(spy.count(), 1);
}

TEST_F(PlayWidgetPages, ASelectionIsToldWithTheCurrentPage)
{
    QSignalSpy spy(&surface(), &PlayWidget::curWndIndexSig);
    surface().SetPageIndex(kColour);
    surface().onCurWndIndexChange(3);
    ASSERT_EQ(spy.count(), 1);
    EXPECT_EQ(spy.first(), QList<QVariant>({kColour, 3}));
}

TEST_F(PlayWidgetPages, StreamDataAreDroppedOnceTheSurfaceIsGone)
{
    const unsigned char data[4] = {};
    EXPECT_EQ(PlayWidget::InputRealData(3, data, 4), 0);
    EXPECT_EQ(PlayWidget::InputRealData(64, data, 4), -1);
    PlayWidget::ReleaseInstance();
    EXPECT_EQ(PlayWidget::InputRealData(3, data, 4), -1);
}

TEST_F(PlayWidgetPages, ConstructionFillsTheConfigurationWithDefaultFoldersInSlashes)
{
    const QString dir = platform::applicationDir();
    EXPECT_EQ(read("Path/CapPath"), dir + "/Device/Capture");
    EXPECT_EQ(read("Path/RecPath"), dir + "/Device/Record");
    EXPECT_EQ(read("Path/DownPath"), dir + "/Device/Download");
    EXPECT_EQ(log.of("PlayWidget::LoadLocalInfo"),
              QStringList({"LoadLocalInfo begin", "Load cfg finish", "LoadLocalInfo end"}));
    const LocalInfo info = surface().ReloadLocalInfo();
    EXPECT_EQ(QString::fromLocal8Bit(info.szCapPath), dir + "/Device/Capture");
    EXPECT_EQ(QString::fromLocal8Bit(info.szRecPath), dir + "/Device/Record");
    EXPECT_EQ(QString::fromLocal8Bit(info.szDownPath), dir + "/Device/Download");
}

TEST_F(PlayWidgetPages, AChangedConfigurationTakesEffectAtTheNextLoad)
{
    write(configFile(), "Path/RecPath", QString::fromUtf8("/srv/B\u00fcro"));
    write(configFile(), "Info/RecordType", 2);
    write(configFile(), "Info/CaptureType", 1);
    const LocalInfo info = surface().ReloadLocalInfo();
    EXPECT_STREQ(info.szRecPath, QString::fromUtf8("/srv/B\u00fcro").toLocal8Bit().constData());
    EXPECT_EQ(info.nRecordType, 2);
    EXPECT_EQ(info.nCaptureType, 1);
    write(configFile(), "Path/RecPath", "");
    surface().LoadLocalInfo(QString());
    EXPECT_EQ(read("Path/RecPath"), platform::applicationDir() + "/Device/Record");
}

TEST_F(PlayWidgetPages, VersionAndDateComeFromThePrefixedFileAndAreCut)
{
    write(versionFile("O5"), "Tool/version", QString(300, 'v'));
    write(versionFile("O5"), "Tool/date", QString(40, 'd'));
    LocalInfo info;
    surface().LoadLocalInfo(&info, "O5");
    EXPECT_EQ(QByteArray(info.szVersion), QByteArray(259, 'v'));
    EXPECT_EQ(QByteArray(info.szDate), QByteArray(31, 'd'));
    surface().LoadLocalInfo(&info, QString());
    EXPECT_STREQ(info.szVersion, "");
    EXPECT_STREQ(info.szDate, "");
}

TEST_F(PlayWidgetPages, ALongPathIsCutToItsField)
{
    write(configFile(), "Path/CapPath", QString(400, 'p'));
    EXPECT_EQ(QByteArray(surface().ReloadLocalInfo().szCapPath), QByteArray(259, 'p'));
}
