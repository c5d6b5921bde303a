#include "ContainerFile.h"

#include "Adts.h"
#include "AnnexB.h"
#include "common/LocalText.h"

extern "C" {
#include <libavutil/parseutils.h>
}

#include <algorithm>
#include <utility>
#include <vector>

namespace lumo
{
namespace
{

// What is taken for a recording. Others would turn texts and single pictures into "videos", or open what a file names.
constexpr char kFormats[] = "avi,mov,matroska,mpeg,mpegts,asf,flv,ogg,mxf,wtv,h264,hevc,mpegvideo,m4v,mjpeg,dhav";
constexpr int kSearched = 2000; // pictures behind the place that a seek led to

bool ownCodec(AVCodecID id, VideoCodec& codec)
{
    switch (id) {
    case AV_CODEC_ID_H264:
        codec = VideoCodec::H264;
        return true;
    case AV_CODEC_ID_HEVC:
        codec = VideoCodec::H265;
        return true;
    case AV_CODEC_ID_MJPEG:
        codec = VideoCodec::Mjpeg;
        return true;
    default:
        return false;
    }
}

StreamForm copyOf(const AVCodecParameters& form)
{
    AVCodecParameters* copy = avcodec_parameters_alloc();
    StreamForm owned(copy, [](const AVCodecParameters* p) {
        auto* own = const_cast<AVCodecParameters*>(p);
        avcodec_parameters_free(&own);
    });
    if (!copy || avcodec_parameters_copy(copy, &form) < 0)
        throw std::bad_alloc();
    return owned;
}

} // namespace

std::unique_ptr<ContainerFile> ContainerFile::open(const std::string& path)
{
    std::unique_ptr<ContainerFile> file(new ContainerFile);
    file->m_path = path;
    file->m_read = newAvPacket();
    return file->openFile() ? std::move(file) : nullptr;
}

bool ContainerFile::openFile()
{
    av_log_set_level(AV_LOG_QUIET);
    m_file.reset();
    m_filter.reset();
    m_soundStream = -1;
    m_pending = false;
    AVDictionary* options = nullptr;
    av_dict_set(&options, "protocol_whitelist", "file", 0);
    av_dict_set(&options, "format_whitelist", kFormats, 0);
    AVFormatContext* file = nullptr;
    const int opened = avformat_open_input(&file, ("file:" + utf8OfLocal(m_path)).c_str(), nullptr, &options);
    av_dict_free(&options);
    if (opened < 0)
        return false;
    m_file.reset(file);
    if (avformat_find_stream_info(file, nullptr) < 0 || !openVideo())
        return false;
    openSound();
    for (unsigned i = 0; i < file->nb_streams; ++i)
        if (int(i) != m_videoStream && int(i) != m_soundStream)
            file->streams[i]->discard = AVDISCARD_ALL;
    int64_t createdUs = 0;
    const AVDictionaryEntry* created = av_dict_get(file->metadata, "creation_time", nullptr, 0);
    if (created && av_parse_time(&createdUs, created->value, 0) >= 0 && createdUs > 0)
        m_createdMs = createdUs / 1000;
    return true;
}

bool ContainerFile::openVideo()
{
    m_videoStream = av_find_best_stream(m_file.get(), AVMEDIA_TYPE_VIDEO, -1, -1, nullptr, 0);
    if (m_videoStream < 0)
        return false;
    const AVStream& stream = *m_file->streams[m_videoStream];
    const AVCodecParameters& form = *stream.codecpar;
    if ((stream.disposition & AV_DISPOSITION_ATTACHED_PIC) || form.width < 1 || form.height < 1 ||
        !avcodec_find_decoder(form.codec_id))
        return false;
    m_foreign = !ownCodec(form.codec_id, m_header.codec);
    m_doubtKeys = !m_foreign && std::string(m_file->iformat->name) == "avi";
    if (form.codec_id == AV_CODEC_ID_H264 && !makeFilter("h264_mp4toannexb"))
        return false;
    if (form.codec_id == AV_CODEC_ID_HEVC && !makeFilter("hevc_mp4toannexb"))
        return false;
    if (!m_videoForm) // kept when the file is opened again: to the decoder it is the same stream
        m_videoForm = copyOf(m_filter ? *m_filter->par_out : form);
    m_header.width = uint16_t(std::min(form.width, 0xFFFF));
    m_header.height = uint16_t(std::min(form.height, 0xFFFF));
    const AVRational rate = stream.avg_frame_rate.num > 0 ? stream.avg_frame_rate : stream.r_frame_rate;
    if (rate.num > 0 && rate.den > 0) {
        m_intervalMs = int(std::clamp<int64_t>(av_rescale(1000, rate.den, rate.num), 1, 60'000));
        m_header.fps = uint8_t(std::clamp<int64_t>((rate.num + rate.den / 2) / rate.den, 0, 255));
    }
    return true;
}

bool ContainerFile::makeFilter(const char* name)
{
    const AVBitStreamFilter* kind = av_bsf_get_by_name(name);
    AVBSFContext* filter = nullptr;
    if (!kind || av_bsf_alloc(kind, &filter) < 0)
        return false;
    m_filter.reset(filter);
    return avcodec_parameters_copy(filter->par_in, m_file->streams[m_videoStream]->codecpar) >= 0 &&
           av_bsf_init(filter) >= 0;
}

void ContainerFile::openSound()
{
    const int found = av_find_best_stream(m_file.get(), AVMEDIA_TYPE_AUDIO, -1, m_videoStream, nullptr, 0);
    if (found < 0 || !avcodec_find_decoder(m_file->streams[found]->codecpar->codec_id))
        return;
    m_soundStream = found;
    if (!m_soundForm)
        m_soundForm = copyOf(*m_file->streams[found]->codecpar);
}

int64_t ContainerFile::msOf(int64_t stamp, int stream) const
{
    if (stamp == AV_NOPTS_VALUE)
        return kNoTime;
    const int64_t beginUs = m_file->start_time != AV_NOPTS_VALUE ? m_file->start_time : 0;
    return (av_rescale_q(stamp, m_file->streams[stream]->time_base, AVRational{1, 1'000'000}) - beginUs) / 1000;
}

/// The next frame of either stream, as the file has it. A frame whose end is missing is the end of the file; but in a
/// transport stream the same flag tells of a loss in the middle.
bool ContainerFile::read()
{
    const bool endsCut = (m_file->iformat->flags & AVFMT_TS_DISCONT) == 0;
    do {
        av_packet_unref(m_read.get());
        if (av_read_frame(m_file.get(), m_read.get()) < 0 || (endsCut && (m_read->flags & AV_PKT_FLAG_CORRUPT)))
            return false;
    } while (m_read->stream_index != m_videoStream && m_read->stream_index != m_soundStream);
    return true;
}

bool ContainerFile::readVideo()
{
    do {
        if (!read())
            return false;
    } while (m_read->stream_index != m_videoStream);
    return true;
}

bool ContainerFile::next(Packet& packet)
{
    if (!std::exchange(m_pending, false) && !read())
        return false;
    packet = m_read->stream_index == m_videoStream ? makeVideo() : makeSound();
    return true;
}

/// A frame that the filter cannot read stays, empty: it counts, as it does in the index.
Packet ContainerFile::makeVideo()
{
    VideoFrameHeader header = m_header;
    header.key = (m_read->flags & AV_PKT_FLAG_KEY) != 0;
    header.flags = m_read->flags & AV_PKT_FLAG_DISCARD ? kFlagDecodeOnly : 0;
    int64_t stamp = m_read->pts;
    if (stamp == AV_NOPTS_VALUE && delay() == 0)
        stamp = m_read->dts;
    const int64_t timeMs = msOf(stamp, m_videoStream);
    if (m_createdMs && timeMs != kNoTime)
        header.utcMs = uint64_t(std::max<int64_t>(0, m_createdMs + timeMs));
    if (m_filter && (av_bsf_send_packet(m_filter.get(), m_read.get()) < 0 ||
                     av_bsf_receive_packet(m_filter.get(), m_read.get()) < 0)) {
        av_bsf_flush(m_filter.get());
        av_packet_unref(m_read.get());
    }
    if (header.key && m_doubtKeys)
        header.key = mayBeginWith(header.codec, m_read->data, size_t(m_read->size));
    Packet packet = makeVideoPacket(header, m_read->data, size_t(m_read->size));
    packet.timeMs = timeMs;
    packet.intervalMs = m_intervalMs;
    packet.form = m_videoForm;
    packet.foreign = m_foreign;
    return packet;
}

Packet ContainerFile::makeSound() const
{
    const AVCodecParameters& form = *m_soundForm;
    const auto* data = m_read->data;
    const size_t size = size_t(m_read->size);
    AudioFrameHeader header;
    header.sampleRate = uint32_t(form.sample_rate);
    Packet packet;
    const bool canSay = rateCode(header.sampleRate) != 0 && size <= 0xF000;
    if (canSay && form.codec_id == AV_CODEC_ID_PCM_ALAW && form.ch_layout.nb_channels == 1) {
        packet = makeSoundPacket(header, data, size);
    } else if (canSay && form.codec_id == AV_CODEC_ID_AAC && isAdts(data, size)) {
        header.codec = AudioCodec::Aac;
        packet = makeSoundPacket(header, data, size);
    } else if (const auto adts = adtsHeader(form.extradata, size_t(form.extradata_size), size);
               canSay && form.codec_id == AV_CODEC_ID_AAC && adts[0]) {
        header.codec = AudioCodec::Aac;
        std::vector<uint8_t> frame(adts.begin(), adts.end());
        frame.insert(frame.end(), data, data + size);
        packet = makeSoundPacket(header, frame.data(), frame.size());
    } else {
        packet = makeSoundPacket(header, data, size);
        packet.form = m_soundForm;
        packet.foreign = true;
    }
    packet.timeMs = msOf(m_read->pts != AV_NOPTS_VALUE ? m_read->pts : m_read->dts, m_soundStream);
    return packet;
}

// ---- the index

bool ContainerFile::scan(IndexEntry& entry)
{
    if (m_soundStream >= 0)
        m_file->streams[m_soundStream]->discard = AVDISCARD_ALL;
    if (!readVideo())
        return false;
    entry = {};
    entry.offset = m_read->pos;
    entry.stamp = m_read->pts != AV_NOPTS_VALUE ? m_read->pts : m_read->dts;
    entry.decodeStamp = m_read->dts;
    entry.size = uint32_t(m_read->size);
    entry.decodeMs = msOf(m_read->dts, m_videoStream);
    const bool told = m_read->pts != AV_NOPTS_VALUE;
    const Packet packet = makeVideo();
    entry.key = packet.v.key;
    entry.hidden = (packet.v.flags & kFlagDecodeOnly) != 0;
    entry.timeMs = packet.timeMs;
    if (told || (m_foreign && delay() == 0)) {
        entry.place = packet.timeMs;
        return true;
    }
    if (m_foreign) {
        entry.placed = false;
        return true;
    }
    if (!m_order)
        m_order = std::make_unique<PictureOrder>(m_videoForm->codec_id);
    entry.place = m_order->placeOf(packet);
    if (entry.decodeMs != kNoTime)
        entry.decodeMs += beginMs(); // where it serves as a time of showing
    return true;
}

bool ContainerFile::isPicture(const IndexEntry& entry) const
{
    const int64_t stamp = m_read->pts != AV_NOPTS_VALUE ? m_read->pts : m_read->dts;
    if (uint32_t(m_read->size) != entry.size)
        return false;
    return stamp == entry.stamp || (m_read->pos >= 0 && m_read->pos == entry.offset);
}

/// From the place that the seek leads to on; false when the picture is not met.
bool ContainerFile::findFrom(const IndexEntry& entry, int64_t stamp, bool byBytes)
{
    const int flags = AVSEEK_FLAG_BACKWARD | (byBytes ? AVSEEK_FLAG_BYTE : 0);
    if (stamp == AV_NOPTS_VALUE || av_seek_frame(m_file.get(), m_videoStream, stamp, flags) < 0)
        return false;
    for (int i = 0; i < kSearched && readVideo(); ++i) {
        if (isPicture(entry))
            return true;
        if (entry.offset >= 0 && m_read->pos > entry.offset)
            return false;
    }
    return false;
}

/// Where seeking does not lead there: from the beginning, picture by picture.
bool ContainerFile::countFrom(int64_t serial)
{
    if (!openFile())
        return false;
    for (int64_t i = 0; i <= serial; ++i)
        if (!readVideo())
            return false;
    return true;
}

bool ContainerFile::rewind(const MediaIndex& index, int64_t serial)
{
    const IndexEntry& entry = index.entry(serial);
    if (m_filter)
        av_bsf_flush(m_filter.get());
    const AVRational base = m_file->streams[m_videoStream]->time_base;
    const int64_t second = av_rescale_q(1000, AVRational{1, 1000}, base);
    const bool byBytes = (m_file->iformat->flags & (AVFMT_TS_DISCONT | AVFMT_NOTIMESTAMPS)) != 0;
    bool found = false;
    if (byBytes) {
        found = entry.offset >= 0 && findFrom(entry, entry.offset, true);
    } else {
        found = findFrom(entry, entry.decodeStamp, false) || findFrom(entry, entry.stamp, false) ||
                (entry.stamp != AV_NOPTS_VALUE && findFrom(entry, entry.stamp - 2 * second, false));
    }
    m_pending = found || countFrom(serial);
    return m_pending;
}

double ContainerFile::progress() const
{
    const int64_t size = m_file->pb ? avio_size(m_file->pb) : 0;
    return size > 0 ? std::clamp(double(avio_tell(m_file->pb)) / double(size), 0.0, 1.0) : 0;
}

} // namespace lumo
