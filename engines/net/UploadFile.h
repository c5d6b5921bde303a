// A file on its way to a device: its size is the one it had when it was opened; if it becomes shorter meanwhile, the
// sending fails. Path in the local 8-bit encoding. Thread: one at a time.
#pragma once

#include "Http.h"

#include <cstdio>
#include <memory>
#include <string>

namespace lumo::net
{

class UploadFile
{
public:
    /// Nothing where the file cannot be read or is empty.
    static std::shared_ptr<UploadFile> open(const std::string& path);
    ~UploadFile() { std::fclose(m_file); }
    UploadFile(const UploadFile&) = delete;
    UploadFile& operator=(const UploadFile&) = delete;

    int64_t size() const { return m_size; }
    /// Reads from this file; holds on to it.
    static HttpUpload upload(const std::shared_ptr<UploadFile>& file, const struct Timings& timings);

private:
    UploadFile(std::FILE* file, int64_t size) : m_file(file), m_size(size) {}
    long read(char* to, size_t room);
    bool rewind();

    std::FILE* const m_file;
    const int64_t m_size;
    int64_t m_left = 0;
};

/// The same from memory.
HttpUpload uploadOf(std::string bytes, const struct Timings& timings);

} // namespace lumo::net
