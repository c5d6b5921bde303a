// Fetches the version file that a server offers. Certificates are not checked: the file only says that there is
// something newer.
//
// Thread: that of pOwner; the answer comes there later, never within the call. Blocking: never.
#pragma once

#include <QByteArray>
#include <QObject>
#include <QString>

#include <functional>

constexpr int kVersionTimeoutMs = 60000;
/// A longer body counts as an empty one: no version file has more, and no server may fill the memory.
constexpr int kVersionFileBytes = 1 << 20;

struct SVersionEnds {
    /// The body; empty when the request failed, for whatever reason.
    std::function<void(const QByteArray& body)> fnAnswer;
    std::function<void()> fnTimeout;
};

/// Calls exactly one of the two, unless pOwner goes before.
void fetchVersionFile(QObject* pOwner, const QString& strAddress, const SVersionEnds& ends,
                      int nTimeoutMs = kVersionTimeoutMs);
