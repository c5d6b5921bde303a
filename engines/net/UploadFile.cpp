#include "UploadFile.h"

#include "Timings.h"
#include "common/LocalText.h"

#include <algorithm>
#include <cstring>

namespace lumo::net
{

std::shared_ptr<UploadFile> UploadFile::open(const std::string& path)
{
    std::error_code error;
    if (!std::filesystem::is_regular_file(localPath(path), error))
        return nullptr;
    const auto size = std::filesystem::file_size(localPath(path), error);
    std::FILE* file = error || size == 0 ? nullptr : std::fopen(path.c_str(), "rb");
    if (!file)
        return nullptr;
    std::shared_ptr<UploadFile> made(new UploadFile(file, int64_t(size)));
    made->m_left = made->m_size;
    return made;
}

long UploadFile::read(char* to, size_t room)
{
    const size_t wanted = size_t(std::min<int64_t>(int64_t(room), m_left));
    const size_t got = std::fread(to, 1, wanted, m_file);
    if (got < wanted)
        return -1;
    m_left -= int64_t(got);
    return long(got);
}

bool UploadFile::rewind()
{
    m_left = m_size;
    return std::fseek(m_file, 0, SEEK_SET) == 0;
}

HttpUpload UploadFile::upload(const std::shared_ptr<UploadFile>& file, const Timings& timings)
{
    HttpUpload upload;
    upload.size = file->size();
    upload.read = [file](char* to, size_t room) { return file->read(to, room); };
    upload.rewind = [file] { return file->rewind(); };
    upload.stallMs = timings.uploadStallMs;
    upload.answerMs = timings.uploadAnswerMs;
    return upload;
}

HttpUpload uploadOf(std::string bytes, const Timings& timings)
{
    struct Place {
        std::string bytes;
        size_t at = 0;
    };
    const auto place = std::make_shared<Place>(Place{std::move(bytes)});
    HttpUpload upload;
    upload.size = int64_t(place->bytes.size());
    upload.read = [place](char* to, size_t room) {
        const size_t size = std::min(room, place->bytes.size() - place->at);
        std::memcpy(to, place->bytes.data() + place->at, size);
        place->at += size;
        return long(size);
    };
    upload.rewind = [place] {
        place->at = 0;
        return true;
    };
    upload.stallMs = timings.uploadStallMs;
    upload.answerMs = timings.uploadAnswerMs;
    return upload;
}

} // namespace lumo::net
