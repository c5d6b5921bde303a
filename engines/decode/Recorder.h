// A recording that is being written, raw or AVI: of what a port plays, or of a file that is converted. It begins with
// the next key frame and takes the frames as they came.
//
// Only a recording that was ended as it should bears its name. When a write fails, what a port had recorded up to then
// is kept as "name.incomplete.avi"; of a conversion nothing is kept. Thread: one at a time.
#pragma once

#include "Packet.h"

#include <memory>
#include <string>

namespace lumo
{

class Recorder
{
public:
    virtual ~Recorder() = default;
    /// False when the recording has failed: it takes nothing any more and waits for abandon().
    virtual bool write(const Packet& packet) = 0;
    /// Ends the file; false when it failed at that, and was abandoned. One that never saw a key frame leaves no file.
    virtual bool finish() = 0;
    /// It has failed.
    virtual void abandon() = 0;
};

/// type: LUMODEC_RECORD_... Null for another type, or when the file cannot be made.
std::unique_ptr<Recorder> startRecorder(const std::string& path, int type);
/// An AVI that bears its name only once it is whole. Null when the file cannot be made.
std::unique_ptr<Recorder> startConversion(const std::string& path);

} // namespace lumo
