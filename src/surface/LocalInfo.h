// What survives a session on the user's machine: folders, formats and the version of this build.
#pragma once

#include <QtGlobal>

/// Text in the local 8-bit encoding, always ended by a zero byte.
struct LocalInfo {
    char szRecPath[260];
    char szCapPath[260];
    char szDownPath[260];
    qint32 nCaptureType;
    qint32 nRecordType;
    char szVersion[260];
    char szDate[32];
};

static_assert(sizeof(LocalInfo) == 3 * 260 + 2 * 4 + 260 + 32);
