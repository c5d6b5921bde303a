#include "PictureOrder.h"

namespace lumo
{

PictureOrder::PictureOrder(AVCodecID codec)
{
    if (codec != AV_CODEC_ID_H264 && codec != AV_CODEC_ID_HEVC)
        return;
    m_parser.reset(av_parser_init(codec));
    m_context.reset(avcodec_alloc_context3(nullptr));
    if (!m_parser || !m_context)
        throw std::bad_alloc();
    m_context->codec_id = codec;
    m_parser->flags |= PARSER_FLAG_COMPLETE_FRAMES;
}

int64_t PictureOrder::placeOf(const Packet& packet)
{
    if (!m_parser)
        return 0;
    uint8_t* out = nullptr;
    int size = 0;
    av_parser_parse2(m_parser.get(), m_context.get(), &out, &size, packet.payload(), int(packet.payloadSize),
                     AV_NOPTS_VALUE, AV_NOPTS_VALUE, 0);
    return m_parser->output_picture_number;
}

} // namespace lumo
