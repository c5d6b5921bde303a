#include "Recorder.h"

#include "AviWriter.h"
#include "Clock.h"
#include "Files.h"
#include "Trouble.h"
#include "decode/LumoDecode.h"

#include <vector>

namespace lumo
{
namespace
{

constexpr int64_t kFlushMs = 1000;
constexpr char kIncomplete[] = ".incomplete";
constexpr char kUnfinished[] = ".part"; // behind the name of a conversion that is not whole yet

void keepIncomplete(const std::string& path)
{
    tellSystemTrouble("recording ended, it cannot be written", path);
    renameFile(path, pathWith(path, kIncomplete));
}

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

    bool finish() override
    {
        if (!m_file)
            return true;
        if (std::fclose(m_file.release()) != 0) {
            keepIncomplete(m_path);
            return false;
        }
        if (!m_started)
            removeFile(m_path);
        return true;
    }

    void abandon() override
    {
        m_file.reset();
        keepIncomplete(m_path);
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
    AviRecorder(std::string path, bool conversion) : m_path(std::move(path)), m_tail(conversion ? kUnfinished : "") {}
    ~AviRecorder() override
    {
        if (m_writer)
            m_tail.empty() ? void(finish()) : abandon();
    }

    bool start()
    {
        m_writer = AviWriter::create(m_path + m_tail);
        m_files.push_back(m_path);
        return m_writer != nullptr;
    }

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

    bool finish() override
    {
        if (!m_writer)
            return true;
        bool good = m_writer->finish();
        m_writer.reset();
        if (!m_started)
            removeFile(m_path + m_tail);
        for (size_t i = 0; good && m_started && !m_tail.empty() && i < m_files.size(); ++i)
            good = renameFile(m_files[i] + m_tail, m_files[i]);
        if (!good)
            abandon();
        return good;
    }

    void abandon() override
    {
        if (m_writer)
            m_writer->finish(); // so far as it will go, it can be played
        m_writer.reset();
        if (m_tail.empty())
            return keepIncomplete(m_files.back());
        tellSystemTrouble("conversion ended, the file cannot be written", m_path);
        for (const std::string& file : m_files)
            removeFile(file + m_tail);
    }

private:
    bool mustSplit(const Packet& packet) const
    {
        return packet.v.codec != m_form.codec || packet.v.width != m_form.width || packet.v.height != m_form.height ||
               m_writer->full();
    }

    bool nextPart()
    {
        if (!m_writer->finish())
            return false;
        m_files.push_back(pathWith(m_path, "_" + std::to_string(m_files.size())));
        m_writer = AviWriter::create(m_files.back() + m_tail);
        return m_writer != nullptr;
    }

    std::unique_ptr<AviWriter> m_writer;
    const std::string m_path;
    const std::string m_tail; // behind each name until all is written
    std::vector<std::string> m_files;
    VideoFrameHeader m_form;
    bool m_started = false;
};

std::unique_ptr<Recorder> startAvi(const std::string& path, bool conversion)
{
    auto recorder = std::make_unique<AviRecorder>(path, conversion);
    return recorder->start() ? std::move(recorder) : nullptr;
}

} // namespace

std::unique_ptr<Recorder> startRecorder(const std::string& path, int type)
{
    if (type == LUMODEC_RECORD_RAW) {
        FilePtr file = createFile(path);
        return file ? std::make_unique<RawRecorder>(std::move(file), path) : nullptr;
    }
    return type == LUMODEC_RECORD_AVI ? startAvi(path, false) : nullptr;
}

std::unique_ptr<Recorder> startConversion(const std::string& path)
{
    return path.empty() ? nullptr : startAvi(path, true);
}

} // namespace lumo
