// Files towards the device: what is refused before the device is asked, and the calls that send the rest.
#include "LibraryStub.h"

#include "device/DeviceText.h"
#include "device/LumoConnect.h"

#include <gmock/gmock.h>

#include <QFile>
#include <QTemporaryDir>

using testing::ElementsAre;
using testing::IsEmpty;

namespace
{

constexpr int kConfig = 0;

class LumoConnectFilesTest : public testing::Test
{
protected:
    LibraryStub& stub = LibraryStub::reset();
    CLumoConnect& connect = *CLumoConnect::instance();
    QTemporaryDir folder;

    QString path(const char* szName = "file") { return folder.filePath(szName); }

    QString fileOf(int nSize)
    {
        QFile file(path());
        EXPECT_TRUE(file.open(QIODevice::WriteOnly));
        file.write(QByteArray(nSize, 'c'));
        return path();
    }

    int import(int nKind, const QString& strFile, int nChannel = 2)
    {
        return connect.ImportFile(nKind, 5, nChannel, strFile, nullptr, 7);
    }
};

TEST_F(LumoConnectFilesTest, AConfigurationOfExactly65536BytesIsAccepted)
{
    EXPECT_EQ(100, import(kConfig, fileOf(65536)));
    EXPECT_THAT(stub.calls, ElementsAre("SetDevConfig 5 52 -1 cccccccc 65536 8000"));
}

TEST_F(LumoConnectFilesTest, AConfigurationOf65537BytesGives1015)
{
    EXPECT_EQ(1015, import(kConfig, fileOf(65537)));
    EXPECT_THAT(stub.calls, IsEmpty());
}

TEST_F(LumoConnectFilesTest, AMissingConfigurationGives1019)
{
    EXPECT_EQ(1019, import(kConfig, path()));
    EXPECT_FALSE(QFile::exists(path()));
    EXPECT_EQ(1019, import(kConfig, folder.path())); // a folder does not open either
    EXPECT_THAT(stub.calls, IsEmpty());
}

TEST_F(LumoConnectFilesTest, AnEmptyConfigurationIsTheDevicesToRefuse)
{
    EXPECT_EQ(100, import(kConfig, fileOf(0)));
    EXPECT_THAT(stub.calls, ElementsAre("SetDevConfig 5 52 -1  0 8000"));
}

TEST_F(LumoConnectFilesTest, AConfigurationFailsBelowZeroOnly)
{
    stub.results["SetDevConfig"] = 0;
    EXPECT_EQ(100, import(kConfig, fileOf(3)));
    stub.results["SetDevConfig"] = -1;
    stub.results["GetLastError"] = -11300;
    EXPECT_EQ(107, import(kConfig, fileOf(3)));
}

TEST_F(LumoConnectFilesTest, AMissingVoiceFileGives109AndLeavesAnEmptyFileBehind)
{
    EXPECT_EQ(109, import(2, path()));
    EXPECT_TRUE(QFile::exists(path()));
    EXPECT_EQ(0, QFile(path()).size());
    EXPECT_THAT(stub.calls, IsEmpty());
}

TEST_F(LumoConnectFilesTest, AVoiceFileWhoseFolderIsMissingGives109)
{
    EXPECT_EQ(109, import(2, path("missing/file")));
    EXPECT_THAT(stub.calls, IsEmpty());
}

TEST_F(LumoConnectFilesTest, AFileIsAnnouncedAndThenSent)
{
    const QString strFile = fileOf(3);
    for (int nKind = 1; nKind <= 4; ++nKind) {
        stub.calls.clear();
        EXPECT_EQ(100, import(nKind, strFile));
        const std::string strText = announceFileText(nKind, 2, 3).toStdString();
        EXPECT_THAT(stub.calls,
                    ElementsAre("Cmd_Json 5 OPFile 3500 -1 " + strText + " " + std::to_string(strText.size()) + " 5000",
                                "SendFileDataToDevice 5 " + strFile.toStdString() + " 7"));
    }
    EXPECT_EQ(3, QFile(strFile).size());
}

TEST_F(LumoConnectFilesTest, AKindBeyondTheTableGoesOnWithAnEmptyText)
{
    const QString strFile = fileOf(1);
    EXPECT_EQ(100, import(9, strFile));
    EXPECT_THAT(stub.calls, ElementsAre("Cmd_Json 5 OPFile 3500 -1  0 5000",
                                        "SendFileDataToDevice 5 " + strFile.toStdString() + " 7"));
}

TEST_F(LumoConnectFilesTest, ARefusedAnnouncementSendsNothing)
{
    stub.results["Cmd_Json"] = 2; // anything but 1
    stub.results["GetLastError"] = -11401;
    EXPECT_EQ(1013, import(1, fileOf(1)));
    EXPECT_EQ("GetLastError", stub.calls.back());
    EXPECT_EQ(2u, stub.calls.size());
}

TEST_F(LumoConnectFilesTest, ATransferThatDoesNotStartGivesItsError)
{
    stub.results["SendFileDataToDevice"] = 0;
    stub.results["GetLastError"] = -10005;
    EXPECT_EQ(1006, import(1, fileOf(1)));
}

TEST_F(LumoConnectFilesTest, SendAudioFileCountsBytesAndTellsItsStepsApart)
{
    EXPECT_EQ(1, connect.SendAudioFile(5, "/voice", "{\"a\":\"\xC3\xA4\"}", nullptr, 7));
    EXPECT_THAT(stub.calls, ElementsAre("Cmd_Json 5 OPFile 3500 -1 {\"a\":\"\xC3\xA4\"} 10 5000",
                                        "SendFileDataToDevice 5 /voice 7"));
    stub.results["SendFileDataToDevice"] = 0;
    EXPECT_EQ(-2, connect.SendAudioFile(5, "/voice", "{}", nullptr, 7));
    stub.results["Cmd_Json"] = 0;
    EXPECT_EQ(-1, connect.SendAudioFile(5, "/voice", "{}", nullptr, 7));
}

} // namespace
