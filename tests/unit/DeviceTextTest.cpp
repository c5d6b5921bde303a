// The JSON texts of device commands, blank by blank.
#include "device/DeviceText.h"

#include <gtest/gtest.h>

namespace
{

const char* const kVoice = "\"FileName\": \"customAlarmVoice.pcm\",\"Parameter\":  {\"AudioFormat\": {\"BitRate\": 128,"
                           "\"SampleRate\": 8000,\"SampleBit\": 8,\"EncodeType\": \"G711_ALAW\"},\"Channel\": [";

TEST(DeviceText, AFileOfAnyKindSaysItsSizeAlone)
{
    EXPECT_EQ("{\"Action\" : \"Send\", \"FileType\": 1,\"FilePurpose\": 1,\"FileSize\": 77,\"FileName\": \"\",  "
              "\"Path\": \"\",\"Parameter\":{}}",
              announceFileText(1, 3, 77).toStdString());
}

TEST(DeviceText, AnAlarmVoiceNamesItsChannelTwice)
{
    const std::string strHead = "{\"Action\": \"Send\",\"FileType\": 1,\"Channel\": [3],\"FilePurpose\": ";
    EXPECT_EQ(strHead + "0,\"FileSize\": 77," + kVoice + "3]}}", announceFileText(2, 3, 77).toStdString());
    EXPECT_EQ(strHead + "7,\"FileSize\": 77," + kVoice + "3]}}", announceFileText(3, 3, 77).toStdString());
    EXPECT_EQ(strHead + "5,\"FileSize\": 77," + kVoice + "3]}}", alarmVoiceText(3, 77, 5).toStdString());
}

TEST(DeviceText, TheShortFormHasNoChannel)
{
    EXPECT_EQ("{\"FileType\": 1,\"FilePurpose\": 0,\"FileSize\": 77,\"FileName\": \"customAlarmVoice.pcm\","
              "\"Parameter\": {\"AudioFormat\": {\"BitRate\": 128,\"SampleRate\": 8000,\"SampleBit\": 8,"
              "\"EncodeType\": \"G711_ALAW\"}}}",
              announceFileText(4, 3, 77).toStdString());
}

TEST(DeviceText, Channel255IsWrittenAsMinusOne)
{
    EXPECT_TRUE(announceFileText(2, 255, 1).contains("\"Channel\": [-1],\"FilePurpose\""));
    EXPECT_TRUE(announceFileText(3, 255, 1).endsWith("\"Channel\": [-1]}}"));
    EXPECT_TRUE(announceFileText(2, 254, 1).endsWith("\"Channel\": [254]}}"));
}

TEST(DeviceText, AKindBeyondTheTableHasNoText)
{
    for (const int nKind : {-1, 0, 5, 9})
        EXPECT_EQ("", announceFileText(nKind, 0, 1).toStdString()) << nKind;
}

TEST(DeviceText, AScaleIsSetWithOneDecimal)
{
    EXPECT_EQ("[{\"StreamType\": 1}]", readScaleText(1).toStdString());
    EXPECT_EQ("[{\"StreamType\": 0,\"TimesOri\": 0.0,\"Times\": 7.0}]", setScaleText(0, 0, 7).toStdString());
    EXPECT_EQ("[{\"StreamType\": 1,\"TimesOri\": 6.8,\"Times\": 0.1}]", setScaleText(1, 6.8F, 0.06F).toStdString());
}

TEST(DeviceText, AHalfIsRoundedToTheEvenDigitAsCDoes)
{
    EXPECT_EQ("[{\"StreamType\": 0,\"TimesOri\": 0.2,\"Times\": 0.8}]", setScaleText(0, 0.25F, 0.75F).toStdString());
}

TEST(DeviceText, TheLargestScaleStillFitsACommand)
{
    EXPECT_LT(setScaleText(-2147483647 - 1, 3.4e38F, -3.4e38F).size(), 256);
}

} // namespace
