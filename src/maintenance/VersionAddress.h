// Where the newest build is told when the version file beside the program names no place.
#pragma once

#include <QString>

/// strServer is a host without a scheme, of the build; empty for a build without one, and then so is the address: the
/// request fails at once.
QString defaultVersionAddress(const QString& strServer, const QString& strWebType);
