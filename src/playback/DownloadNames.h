// How files of a download are named on this machine.
#pragma once

#include "device/LumoConnect.h"

#include <QByteArray>
#include <QString>

/// "<folder>/<channel from 01>_<begin>_<end>.h265x", in the local 8-bit encoding, 259 bytes at most. ".jpg" for what
/// bears that in its name on the device; bForAvi marks what will be converted and then deleted.
QByteArray downloadPath(const QString& strFolder, const DownloadRequest& file, bool bForAvi);

/// The one file that pictures are downloaded over, to be shown; cut likewise.
QByteArray pictureDownloadPath(const QString& strFolder);

/// The name of the AVI file made of a file marked for it.
QString aviNameOf(const QString& strSource);
