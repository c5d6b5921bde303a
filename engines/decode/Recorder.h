// A running recording of one port, raw or AVI. It begins with the next key frame and takes the frames as they came.
// Thread: one at a time. Errors: a write that fails ends the recording; what was written stays.
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
    /// False when the recording has ended by a failed write.
    virtual bool write(const Packet& packet) = 0;
    /// Ends the file. A recording that never saw a key frame leaves none.
    virtual void finish() = 0;
};

/// type: LUMODEC_RECORD_... Null for another type, or when the file cannot be made.
std::unique_ptr<Recorder> startRecorder(const std::string& path, int type);

} // namespace lumo
