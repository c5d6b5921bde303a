#include "RealPlayPage.h"

#include <QDir>
#include <QFileInfo>
#include <QRegularExpression>
#include <QTemporaryDir>

#include <gmock/gmock.h>

namespace
{

using testing::ElementsAre;
using testing::IsEmpty;
using Calls = std::vector<std::string>;

class RealPlayRecordTest : public CRealPlayPage
{
};

/// "2 StartDataRecord"-like lines carry a time: matches folder, number and suffix.
void expectName(const QString& strName, const QString& strFolder, const QString& strNumber, const QString& strSuffix)
{
    const QRegularExpression form("^" + QRegularExpression::escape(strFolder + QDir::separator()) + strNumber +
                                  "_\\d{8}_\\d{6}\\." + strSuffix + "$");
    EXPECT_TRUE(form.match(strName).hasMatch()) << strName.toStdString();
}

} // namespace

TEST_F(RealPlayRecordTest, StopEndsARunningRecordingFirst)
{
    show(3, 2);
    bool bResult = false;
    EXPECT_EQ(m_page->Record(3, true, bResult), 0);
    EXPECT_TRUE(bResult);
    EXPECT_TRUE(m_page->IsRecording(3));
    stubdecode::take();
    m_page->PreviewStop(3);
    EXPECT_THAT(stubdecode::take(),
                ElementsAre("StopDataRecord 3", "SetDisplayRegion 3 null 0", "Stop 3", "CloseStream 3"));
    EXPECT_FALSE(m_page->IsRecording(3));
}

TEST_F(RealPlayRecordTest, RecordOfTypeZeroWritesTheRawStreamIntoTheRecordFolder)
{
    const QTemporaryDir dir;
    configure("Path/RecPath", dir.filePath("new/records"));
    show(3, 2);
    const CLogLines log;
    bool bResult = false;
    EXPECT_EQ(m_page->Record(3, true, bResult), 0);
    const Calls calls = stubdecode::take();
    ASSERT_EQ(calls.size(), 1u);
    const QString strCall = QString::fromStdString(calls[0]);
    ASSERT_TRUE(strCall.startsWith("StartDataRecord 3 0 "));
    expectName(strCall.section(' ', 3), dir.filePath("new/records"), "04", "h265x");
    EXPECT_EQ(log.of("CRealPlayWidget::Record"), (QStringList{strCall.section(' ', 3), "nChannel :3,bRecord :1"}));
    EXPECT_TRUE(QFileInfo(dir.filePath("new/records")).isDir());
}

TEST_F(RealPlayRecordTest, RecordOfTypeTwoWritesAvi)
{
    const QTemporaryDir dir;
    configure("Path/RecPath", dir.path());
    configure("Info/RecordType", 2);
    show(12, 2);
    bool bResult = false;
    EXPECT_EQ(m_page->Record(12, true, bResult), 0);
    const QString strCall = QString::fromStdString(stubdecode::take().at(0));
    ASSERT_TRUE(strCall.startsWith("StartDataRecord 12 2 "));
    expectName(strCall.section(' ', 3), dir.path(), "13", "avi");
}

TEST_F(RealPlayRecordTest, RecordOfTypeOneHasAnEmptyName)
{
    configure("Info/RecordType", 1);
    show(3, 2);
    bool bResult = false;
    m_page->Record(3, true, bResult);
    EXPECT_THAT(stubdecode::take(), ElementsAre("StartDataRecord 3 1 "));
}

TEST_F(RealPlayRecordTest, ChangeOfTheConfigurationCountsAtTheNextRecord)
{
    const QTemporaryDir dir;
    configure("Path/RecPath", dir.filePath("one"));
    show(3, 2);
    bool bResult = false;
    m_page->Record(3, true, bResult);
    configure("Path/RecPath", dir.filePath("two"));
    m_page->Record(3, true, bResult);
    EXPECT_THAT(stubdecode::take().back(), testing::HasSubstr(dir.filePath("two").toStdString()));
}

TEST_F(RealPlayRecordTest, RecordWhileRecordingStopsFirst)
{
    show(3, 2);
    bool bResult = false;
    m_page->Record(3, true, bResult);
    stubdecode::take();
    EXPECT_EQ(m_page->Record(3, true, bResult), 0);
    EXPECT_THAT(stubdecode::take(), ElementsAre("StopDataRecord 3", testing::StartsWith("StartDataRecord 3 0 ")));
    EXPECT_TRUE(bResult);
}

TEST_F(RealPlayRecordTest, RecordOfAStoppedChannelIsRefused)
{
    bool bResult = true;
    EXPECT_EQ(m_page->Record(3, true, bResult), -2);
    EXPECT_FALSE(bResult);
    EXPECT_THAT(stubdecode::take(), IsEmpty());
}

TEST_F(RealPlayRecordTest, RecordOfABadChannelIsNone)
{
    bool bResult = false;
    EXPECT_EQ(m_page->Record(64, true, bResult), -1);
    EXPECT_EQ(m_page->Record(-1, false, bResult), -1);
}

TEST_F(RealPlayRecordTest, RecordOrSnapshotOfABadChannelReadsTheConfigurationFirst)
{
    bool bResult = false;
    ASSERT_EQ(configured("Path/RecPath"), "");
    EXPECT_EQ(m_page->Record(64, true, bResult), -1);
    EXPECT_NE(configured("Path/RecPath"), "");
    QFile::remove(configFile());
    ASSERT_EQ(configured("Path/CapPath"), "");
    EXPECT_EQ(m_page->Capture(64, false), -1);
    EXPECT_NE(configured("Path/CapPath"), "");
}

TEST_F(RealPlayRecordTest, RefusedEndOfARecordingGoesOnRecording)
{
    show(3, 2);
    bool bResult = false;
    m_page->Record(3, true, bResult);
    stubdecode::answer("StopDataRecord", 0);
    EXPECT_EQ(m_page->Record(3, false, bResult), -2);
    EXPECT_TRUE(bResult);
    EXPECT_TRUE(m_page->IsRecording(3));
}

TEST_F(RealPlayRecordTest, FirstUseFillsTheConfigurationWithTheDefaultFolders)
{
    m_page->Capture(3, false);
    const QString strDevice = QDir::toNativeSeparators(QCoreApplication::applicationDirPath() + "/Device/");
    EXPECT_EQ(configured("Path/CapPath"), strDevice + "Capture");
    EXPECT_EQ(configured("Path/RecPath"), strDevice + "Record");
    EXPECT_EQ(configured("Path/DownPath"), strDevice + "Download");
    QDir(strDevice).removeRecursively();
}

TEST_F(RealPlayRecordTest, ConfiguredFolderStaysAsItIsWritten)
{
    const QTemporaryDir dir;
    configure("Path/CapPath", dir.path());
    m_page->Capture(3, false);
    EXPECT_EQ(configured("Path/CapPath"), dir.path());
}

TEST_F(RealPlayRecordTest, SnapshotIsABmpWhateverTheCaptureType)
{
    const QTemporaryDir dir;
    configure("Path/CapPath", dir.filePath("shots"));
    configure("Info/CaptureType", 1);
    show(3, 2);
    EXPECT_EQ(m_page->Capture(3, false), 0);
    const QString strCall = QString::fromStdString(stubdecode::take().at(0));
    ASSERT_TRUE(strCall.startsWith("CatchPicture 3 "));
    expectName(strCall.section(' ', 2), dir.filePath("shots"), "04", "bmp");
    EXPECT_TRUE(QFileInfo(dir.filePath("shots")).isDir());
}

TEST_F(RealPlayRecordTest, SnapshotPathReachesTheLibraryInTheLocal8BitEncoding)
{
    const QTemporaryDir dir;
    const QString strFolder = dir.filePath(QString::fromUtf8("Bilder \xC3\xBC"));
    {
        QSettings settings(configFile(), QSettings::IniFormat);
        settings.setIniCodec("System");
        settings.setValue("Path/CapPath", strFolder);
    }
    m_page->Capture(3, false);
    EXPECT_THAT(stubdecode::take().at(0),
                testing::StartsWith("CatchPicture 3 " + strFolder.toLocal8Bit().toStdString()));
}

TEST_F(RealPlayRecordTest, StillGoesIntoOneFixedFile)
{
    const QString strStill = QDir::toNativeSeparators(QCoreApplication::applicationDirPath() + "/Cfg/capture.bmp");
    EXPECT_EQ(m_page->Capture(3, true), 0);
    EXPECT_EQ(m_page->Capture(3, true), 0);
    const std::string strCall = "CatchPicture 3 " + strStill.toStdString();
    EXPECT_THAT(stubdecode::take(), ElementsAre(strCall, strCall));
    EXPECT_TRUE(QFileInfo(strStill).dir().exists());
}

TEST_F(RealPlayRecordTest, SnapshotOfAChannelThatDoesNotPreviewMakesItsPortAndFailsWithTheLibrary)
{
    stubdecode::answer("CatchPicture", 0);
    const CLogLines log;
    EXPECT_EQ(m_page->Capture(20, false), -2);
    EXPECT_EQ(log.of("CDecodeChannel::CDecodeChannel"), QStringList{"port 20"});
    EXPECT_EQ(m_page->Capture(64, false), -1);
}
