// Turns pushed bytes into frames: whole frames, pieces of frames, a bare Annex B stream, or anything at all.
// Thread: one at a time. Memory: bounded by one frame of each form.
#pragma once

#include "AnnexB.h"
#include "Packet.h"

#include <functional>

namespace lumo
{

class InputParser
{
public:
    using Sink = std::function<void(Packet&&)>;

    void push(const uint8_t* data, size_t size, const Sink& sink);
    void clear();

private:
    bool takeWholeFrames(const uint8_t* data, size_t size, const Sink& sink);
    void takeBare(const uint8_t* data, size_t size, const Sink& sink);

    FrameReader m_reader;
    AnnexBSplitter m_bare;
};

} // namespace lumo
