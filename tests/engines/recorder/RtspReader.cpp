#include "RtspReader.h"

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavformat/avformat.h>
#include <libavutil/time.h>
}

RtspReader::RtspReader(const std::string& url, const std::string& transport)
{
    m_format = avformat_alloc_context();
    m_format->interrupt_callback = {&RtspReader::interrupted, this};
    m_deadlineUs = av_gettime_relative() + 30000000;
    AVDictionary* options = nullptr;
    av_dict_set(&options, "rtsp_transport", transport.c_str(), 0);
    av_dict_set(&options, "fflags", "nobuffer", 0);
    m_error = avformat_open_input(&m_format, url.c_str(), nullptr, &options);
    av_dict_free(&options);
    if (m_error < 0) {
        return;
    }
    for (unsigned i = 0; i < m_format->nb_streams; ++i) {
        const auto type = m_format->streams[i]->codecpar->codec_type;
        (type == AVMEDIA_TYPE_VIDEO ? m_video : m_audio) = static_cast<int>(i);
    }
    const AVCodec* codec = m_video < 0 ? nullptr : avcodec_find_decoder(m_format->streams[m_video]->codecpar->codec_id);
    m_decoder = codec ? avcodec_alloc_context3(codec) : nullptr;
    if (m_decoder) {
        avcodec_parameters_to_context(m_decoder, m_format->streams[m_video]->codecpar);
        m_decoder->thread_count = 1;
        m_decoder->flags |= AV_CODEC_FLAG_LOW_DELAY;
        avcodec_open2(m_decoder, codec, nullptr);
    }
}

RtspReader::~RtspReader()
{
    avcodec_free_context(&m_decoder);
    avformat_close_input(&m_format);
}

int RtspReader::interrupted(void* self)
{
    return av_gettime_relative() > static_cast<RtspReader*>(self)->m_deadlineUs;
}

std::string RtspReader::codec() const
{
    return avcodec_get_name(m_decoder->codec_id);
}
int RtspReader::width() const
{
    return m_decoder->width;
}
int RtspReader::height() const
{
    return m_decoder->height;
}

std::optional<SeenPicture> RtspReader::next(int timeoutMs)
{
    m_deadlineUs = av_gettime_relative() + timeoutMs * 1000LL;
    AVPacket* packet = av_packet_alloc();
    AVFrame* frame = av_frame_alloc();
    std::optional<SeenPicture> seen;
    while (!seen && (m_error = av_read_frame(m_format, packet)) >= 0) {
        const int64_t now = av_gettime();
        if (packet->stream_index == m_audio) {
            m_soundBytes += static_cast<size_t>(packet->size);
        } else if (avcodec_send_packet(m_decoder, packet) >= 0 && avcodec_receive_frame(m_decoder, frame) >= 0) {
            const auto code =
                lumo::readPictureCodeLuma(frame->data[0], frame->linesize[0], frame->width, frame->height);
            const auto time =
                lumo::readPictureTimeLuma(frame->data[0], frame->linesize[0], frame->width, frame->height);
            seen = SeenPicture{code.value_or(lumo::PictureCode{-1, -1}), time, now, frame->key_frame != 0};
        }
        av_packet_unref(packet);
    }
    av_frame_free(&frame);
    av_packet_free(&packet);
    return seen;
}

std::vector<SeenPicture> RtspReader::take(int count)
{
    std::vector<SeenPicture> all;
    while (static_cast<int>(all.size()) < count) {
        const auto picture = next();
        if (!picture) {
            break;
        }
        all.push_back(*picture);
    }
    return all;
}
