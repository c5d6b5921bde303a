#include "hub/AlarmNames.h"

#include "device/LumoNet.h"

namespace
{

struct SAlarmName {
    int nEvent;
    const char* szName;
};

/// The page compares these letter by letter: the spelling of each is part of the protocol.
constexpr SAlarmName kNames[] = {
    {1, "LocalIO"},
    {2, "NetAlarm"},
    {3, "ManualAlarm"},
    {4, "VideoMotion"},
    {5, "VideoLoss"},
    {6, "VideoBlind"},
    {7, "VideoTitle"},
    {8, "VideoSplit"},
    {9, "VideoTour"},
    {10, "StorageNotExist"},
    {11, "StorageFailure"},
    {12, "StorrageLowSpace"},
    {13, "NetAbort"},
    {14, "CommAlarm"},
    {15, "StorageFailureRead"},
    {16, "StorageFailureWrite"},
    {17, "NetIPConflict"},
    {25, "VideoAnalyze"},
    {29, "LoginFailed"},
    {30, "SerialAlarm"},
    {31, "PIRAlarm"},
    {32, "ConsSensorAlarm"},
    {33, "WordDetect"},
    {34, "BlurCheck"},
    {35, "PlateDetect"},
    {36, "FaceDetectV2"},
    {37, "433Alarm"},
    {38, "PIRDetect"},
    {39, "appEventHumanDetectAlarm"},
    {40, "FaceDetect"},
    {41, "FaceRecognition"},
};

} // namespace

const char* alarmName(int nEvent)
{
    for (const SAlarmName& row : kNames)
        if (row.nEvent == nEvent)
            return row.szName;
    return "";
}

const char* alarmStatus(int nStatus)
{
    switch (nStatus) {
    case LUMO_ALARM_STATUS_START:
        return "Start";
    case LUMO_ALARM_STATUS_STOP:
        return "Stop";
    case LUMO_ALARM_STATUS_PULSE:
        return "Pulse";
    default:
        return "";
    }
}
