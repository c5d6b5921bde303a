// The JSON texts that go to a device as commands. They are protocol: devices were met that mind the blanks, so every
// text stands here as it is sent. Pure values.
#pragma once

#include <QByteArray>
#include <QString>

/// Announces a file that follows, nSize bytes long. nFileKind 1: any file; 2 and 3: the alarm voice with purpose 0 and
/// 7; 4: the alarm voice in its short form; any other: empty, for the device to refuse. nChannel 255 stands for all.
QString announceFileText(int nFileKind, int nChannel, qint64 nSize);
/// The alarm voice for a channel, -1 for all.
QString alarmVoiceText(int nChannel, qint64 nSize, int nPurpose);
/// The alarm voice for a device that has but one.
QString alarmVoiceShortText(qint64 nSize);

/// Asks for the scale of one lens (nStream), or sets it from one value to another.
QByteArray readScaleText(int nStream);
QByteArray setScaleText(int nStream, float fOriginalTimes, float fTimes);
