#include "PictureSize.h"

#include "VideoDecoder.h"

namespace lumo
{

void readPictureSize(const Packet& packet, int& width, int& height)
{
    VideoDecoder decoder(true);
    const auto look = [&](Picture&& picture) {
        width = picture.frame->width;
        height = picture.frame->height;
    };
    decoder.decode(packet, look);
    decoder.drain(look);
}

} // namespace lumo
