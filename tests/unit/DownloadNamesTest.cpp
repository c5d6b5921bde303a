#include "playback/DownloadNames.h"

#include "platform/Paths.h"

#include <gtest/gtest.h>

namespace
{

DownloadRequest file(const char* szBegin, const char* szEnd, const char* szName = "a.h265x")
{
    DownloadRequest request{};
    copyField(request.beginTime, szBegin);
    copyField(request.endTime, szEnd);
    copyField(request.fileName, szName);
    return request;
}

/// As the platform writes paths.
std::string native(const char* szPath)
{
    return platform::nativePath(szPath).toStdString();
}

} // namespace

TEST(DownloadNames, AreMadeOfChannelBeginAndTimeOfDayOfTheEnd)
{
    DownloadRequest request = file("2019-03-01 10:20:30", "2019-03-01 10:25:00");
    EXPECT_EQ(downloadPath("d", request, false).toStdString(), native("d/01_2019-03-01_102030_102500.h265x"));
    request.channel = 63;
    EXPECT_EQ(downloadPath("d", request, false).toStdString(), native("d/64_2019-03-01_102030_102500.h265x"));
}

TEST(DownloadNames, FilesForAviAreMarked)
{
    const DownloadRequest request = file("2019-03-01 10:20:30", "2019-03-01 10:25:00");
    EXPECT_EQ(downloadPath("d", request, true).toStdString(), native("d/01_2019-03-01_102030_102500_for_avi.h265x"));
}

TEST(DownloadNames, PicturesKeepTheirKindEvenWhenMarked)
{
    const DownloadRequest request = file("2019-03-01 10:20:30", "2019-03-01 10:25:00", "r/20190301T102030Z.jpg");
    EXPECT_EQ(downloadPath("d", request, false).toStdString(), native("d/01_2019-03-01_102030_102500.jpg"));
    EXPECT_EQ(downloadPath("d", request, true).toStdString(), native("d/01_2019-03-01_102030_102500_for_avi.jpg"));
}

TEST(DownloadNames, MissingTimesLeaveTheirPlacesEmpty)
{
    EXPECT_EQ(downloadPath("d", file("", ""), false).toStdString(), native("d/01__.h265x"));
    EXPECT_EQ(downloadPath("d", file("10:00", "9:5"), false).toStdString(), native("d/01_1000_95.h265x"));
}

TEST(DownloadNames, PathsAreCutTo259Bytes)
{
    const DownloadRequest request = file("2019-03-01 10:20:30", "2019-03-01 10:25:00");
    EXPECT_EQ(downloadPath(QString(300, 'p'), request, false), QByteArray(259, 'p'));
    EXPECT_EQ(pictureDownloadPath(QString(300, 'p')), QByteArray(259, 'p'));
}

TEST(DownloadNames, PicturesToBeShownShareOneFile)
{
    EXPECT_EQ(pictureDownloadPath("d").toStdString(), native("d/temp.jpg"));
}

TEST(DownloadNames, TheAviLosesTheMark)
{
    EXPECT_EQ(aviNameOf("d/01_a_b_for_avi.h265x"), "d/01_a_b.avi");
    EXPECT_EQ(aviNameOf("d/01_a_b_for_avi.jpg"), "d/01_a_b_for_avi.jpg");
}
