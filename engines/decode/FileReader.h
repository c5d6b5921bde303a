// Reads a recording from its file, frame after frame in the file's own order. Two kinds: our raw recordings, and what
// FFmpeg opens.
//
// Thread: one at a time. Errors: what cannot be read any more is the end. A file that is not a recording, or has no
// picture that could be decoded, does not open.
#pragma once

#include "MediaIndex.h"
#include "Packet.h"

#include <memory>
#include <string>

namespace lumo
{

class FileReader
{
public:
    virtual ~FileReader() = default;

    /// The next frame, video or sound; false at the end.
    virtual bool next(Packet& packet) = 0;
    /// Instead of next(), for a reader that makes the index: what is to be known of the next picture; false at the end.
    virtual bool scan(IndexEntry& entry) = 0;
    /// The next picture is this one, a key frame; false when the file gives it no more.
    virtual bool rewind(const MediaIndex& index, int64_t serial) = 0;

    /// How much of the file is read, 0 to 1.
    virtual double progress() const = 0;
    /// How long a picture is shown when no time tells.
    virtual int intervalMs() const = 0;
    /// When the first picture is shown, where pictures have no times of their own.
    virtual int64_t beginMs() const { return 0; }
    virtual bool hasSound() const = 0;
    /// Whether its pictures are of a codec that our own frames cannot carry.
    virtual bool foreign() const = 0;
};

/// Null when there is nothing that could be played. path: local 8-bit.
std::unique_ptr<FileReader> openFileReader(const std::string& path);

} // namespace lumo
