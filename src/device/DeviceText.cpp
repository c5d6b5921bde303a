#include "device/DeviceText.h"

#include "device/Channels.h"

#include <charconv>

namespace
{

constexpr int kPurposeAlarm = 0;
constexpr int kPurposeOther = 7;

/// "%.1f" as C prints it, whatever the locale says of the decimal point.
QByteArray oneDecimal(float fValue)
{
    char buffer[64]; // the largest float has 39 digits before its point
    const auto end = std::to_chars(buffer, buffer + sizeof buffer, double(fValue), std::chars_format::fixed, 1);
    return QByteArray(buffer, int(end.ptr - buffer));
}

} // namespace

QString announceFileText(int nFileKind, int nChannel, qint64 nSize)
{
    const int nDeviceChannel = deviceChannelOf(nChannel);
    switch (nFileKind) {
    case 1:
        return QString(
                   "{\"Action\" : \"Send\", \"FileType\": 1,\"FilePurpose\": 1,\"FileSize\": %1,\"FileName\": \"\",  "
                   "\"Path\": \"\",\"Parameter\":{}}")
            .arg(nSize);
    case 2:
        return alarmVoiceText(nDeviceChannel, nSize, kPurposeAlarm);
    case 3:
        return alarmVoiceText(nDeviceChannel, nSize, kPurposeOther);
    case 4:
        return alarmVoiceShortText(nSize);
    default:
        return {};
    }
}

QString alarmVoiceText(int nChannel, qint64 nSize, int nPurpose)
{
    return QString("{\"Action\": \"Send\",\"FileType\": 1,\"Channel\": [%1],\"FilePurpose\": %4,\"FileSize\": %2,"
                   "\"FileName\": \"customAlarmVoice.pcm\",\"Parameter\":  {\"AudioFormat\": {\"BitRate\": 128,"
                   "\"SampleRate\": 8000,\"SampleBit\": 8,\"EncodeType\": \"G711_ALAW\"},\"Channel\": [%3]}}")
        .arg(nChannel)
        .arg(nSize)
        .arg(nChannel)
        .arg(nPurpose);
}

QString alarmVoiceShortText(qint64 nSize)
{
    return QString("{\"FileType\": 1,\"FilePurpose\": 0,\"FileSize\": %1,\"FileName\": \"customAlarmVoice.pcm\","
                   "\"Parameter\": {\"AudioFormat\": {\"BitRate\": 128,\"SampleRate\": 8000,\"SampleBit\": 8,"
                   "\"EncodeType\": \"G711_ALAW\"}}}")
        .arg(nSize);
}

QByteArray readScaleText(int nStream)
{
    return "[{\"StreamType\": " + QByteArray::number(nStream) + "}]";
}

QByteArray setScaleText(int nStream, float fOriginalTimes, float fTimes)
{
    return "[{\"StreamType\": " + QByteArray::number(nStream) + ",\"TimesOri\": " + oneDecimal(fOriginalTimes) +
           ",\"Times\": " + oneDecimal(fTimes) + "}]";
}
