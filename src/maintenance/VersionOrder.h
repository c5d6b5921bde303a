// Which of two versions is the newer one. Plain values.
#pragma once

#include <QString>

/// Versions are four numbers joined by dots; a field that is missing or no number counts as 0, and what follows the
/// fourth not at all. Equal ones are not new, an empty new one never is, and any is newer than an empty current one.
bool IsNewVersion(const QString& strNew, const QString& strCur);
