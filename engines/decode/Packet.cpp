#include "Packet.h"

#include <cstring>

namespace lumo
{
namespace
{

Packet packetOf(const std::vector<uint8_t>& head, const uint8_t* payload, size_t size)
{
    Packet packet;
    packet.wholeSize = head.size() + size;
    packet.payloadSize = size;
    packet.buffer = newFrameBuffer(packet.wholeSize);
    std::memcpy(packet.buffer->data, head.data(), head.size());
    if (size > 0)
        std::memcpy(packet.buffer->data + head.size(), payload, size);
    return packet;
}

} // namespace

BufferPtr newFrameBuffer(size_t size)
{
    BufferPtr buffer(av_buffer_alloc(size + AV_INPUT_BUFFER_PADDING_SIZE));
    if (!buffer)
        throw std::bad_alloc();
    std::memset(buffer->data + size, 0, AV_INPUT_BUFFER_PADDING_SIZE);
    return buffer;
}

Packet makePacket(const FrameView& frame, int64_t arrivalMs)
{
    Packet packet;
    packet.video = frame.video;
    packet.v = frame.v;
    packet.a = frame.a;
    packet.wholeSize = frame.wholeSize;
    packet.payloadSize = frame.payloadSize;
    packet.arrivalMs = arrivalMs;
    if (frame.video && frame.v.utcMs)
        packet.timeMs = int64_t(frame.v.utcMs);
    packet.buffer = newFrameBuffer(frame.wholeSize);
    std::memcpy(packet.buffer->data, frame.whole, frame.wholeSize);
    return packet;
}

Packet makeVideoPacket(const VideoFrameHeader& header, const uint8_t* payload, size_t size)
{
    std::vector<uint8_t> head;
    appendVideoHeader(head, header, size);
    Packet packet = packetOf(head, payload, size);
    packet.v = header;
    packet.v.payloadSize = uint32_t(size);
    return packet;
}

Packet makeSoundPacket(const AudioFrameHeader& header, const uint8_t* payload, size_t size)
{
    std::vector<uint8_t> head;
    appendAudioFrame(head, header, payload, 0);
    const size_t said = size > 0xFFFF ? 0xFFFF : size;
    head[6] = uint8_t(said);
    head[7] = uint8_t(said >> 8);
    Packet packet = packetOf(head, payload, size);
    packet.video = false;
    packet.a = header;
    packet.a.payloadSize = uint16_t(said);
    return packet;
}

Packet sharePacket(const Packet& packet)
{
    Packet same;
    same.video = packet.video;
    same.v = packet.v;
    same.a = packet.a;
    same.wholeSize = packet.wholeSize;
    same.payloadSize = packet.payloadSize;
    same.arrivalMs = packet.arrivalMs;
    same.serial = packet.serial;
    same.timeMs = packet.timeMs;
    same.intervalMs = packet.intervalMs;
    same.form = packet.form;
    same.foreign = packet.foreign;
    same.buffer.reset(av_buffer_ref(packet.buffer.get()));
    if (!same.buffer)
        throw std::bad_alloc();
    return same;
}

void referTo(const Packet& packet, AVPacket& to)
{
    av_packet_unref(&to);
    to.buf = av_buffer_ref(packet.buffer.get());
    if (!to.buf)
        throw std::bad_alloc();
    to.data = const_cast<uint8_t*>(packet.payload());
    to.size = int(packet.payloadSize);
}

} // namespace lumo
