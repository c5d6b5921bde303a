#include "Recorder.h"

#include "AviWriter.h"
#include "Clock.h"
#include "Files.h"
#include "decode/LumoDecode.h"

#include <optional>

namespace lumo
{
namespace
{

constexpr int64_t kFlushMs = 1000;

/// The frames, headers and all, one after the other.
class RawRecorder final : public Recorder
{
public:
    RawRecorder(FilePtr file, std::string path) : m_file(std::move(file)), m_path(std::move(path)) {}
    ~RawRecorder() override { finish(); }

    bool write(const Packet& packet) override
    {
        if (!m_started && !packet.isKey())
            return true;
        m_started = true;
        if (!m_file || std::fwrite(packet.whole(), packet.wholeSize, 1, m_file.get()) != 1)
            return false;
        if (nowMs() - m_flushedMs < kFlushMs)
            return true;
        m_flushedMs = nowMs();
        return std::fflush(m_file.get()) == 0;
    }

    void finish() override
    {
        if (!m_file)
            return;
        m_file.reset();
        if (!m_started)
            removeFile(m_path);
    }

private:
    FilePtr m_file;
    const std::string m_path;
    bool m_started = false;
    int64_t m_flushedMs = 0;
};

/// AVI files: a new one when the picture's form changes or the format's size ends ("name_1.avi", "name_2.avi", ...).
class AviRecorder final : public Recorder
{
public:
    AviRecorder(std::unique_ptr<AviWriter> first, std::string path)
        : m_writer(std::move(first)), m_path(std::move(path))
    {
    }
    ~AviRecorder() override { finish(); }

    bool write(const Packet& packet) override
    {
        if (!m_started && !packet.isKey())
            return true;
        if (m_started && packet.isKey() && mustSplit(packet) && !nextPart())
            return false;
        if (packet.isKey()) {
            m_started = true;
            m_form = packet.v;
        }
        if (packet.video && packet.v.codec != m_form.codec)
            return true; // goes on at the other codec's key frame, in a file of its own
        return m_writer && m_writer->write(packet);
    }

    void finish() override
    {
        if (!m_writer)
            return;
        m_writer->finish();
        m_writer.reset();
        if (!m_started)
            removeFile(m_path);
    }

private:
    bool mustSplit(const Packet& packet) const
    {
        return packet.v.codec != m_form.codec || packet.v.width != m_form.width || packet.v.height != m_form.height ||
               m_writer->full();
    }

    bool nextPart()
    {
        m_writer->finish();
        const size_t dot = m_path.find_last_of('.');
        const size_t folder = m_path.find_last_of("/\\");
        const bool hasDot = dot != std::string::npos && (folder == std::string::npos || dot > folder);
        const std::string stem = hasDot ? m_path.substr(0, dot) : m_path;
        const std::string tail = hasDot ? m_path.substr(dot) : std::string();
        m_writer = AviWriter::create(stem + "_" + std::to_string(++m_part) + tail);
        return m_writer != nullptr;
    }

    std::unique_ptr<AviWriter> m_writer;
    const std::string m_path;
    VideoFrameHeader m_form;
    bool m_started = false;
    int m_part = 0;
};

} // namespace

std::unique_ptr<Recorder> startRecorder(const std::string& path, int type)
{
    if (type == LUMODEC_RECORD_RAW) {
        FilePtr file = createFile(path);
        return file ? std::make_unique<RawRecorder>(std::move(file), path) : nullptr;
    }
    if (type == LUMODEC_RECORD_AVI) {
        auto writer = AviWriter::create(path);
        return writer ? std::make_unique<AviRecorder>(std::move(writer), path) : nullptr;
    }
    return nullptr;
}

} // namespace lumo
