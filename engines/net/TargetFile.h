// A file that stands under its own name only when it is whole: written beside it, then renamed. What is not finished
// is removed.
//
// Thread: one at a time. Paths are in the local 8-bit encoding. Folders that are missing are made.
#pragma once

#include <cstddef>
#include <cstdio>
#include <string>

namespace lumo::net
{

class TargetFile
{
public:
    explicit TargetFile(std::string path) : m_path(std::move(path)) {}
    ~TargetFile() { discard(); }
    TargetFile(const TargetFile&) = delete;
    TargetFile& operator=(const TargetFile&) = delete;

    // Each is false when the disk did not take it; reason() then says why.
    bool open();
    bool write(const void* data, size_t size);
    bool finish();
    void discard();

    const std::string& reason() const { return m_reason; }
    const std::string& path() const { return m_path; }

private:
    bool failed();
    std::string partPath() const { return m_path + ".part"; }

    const std::string m_path;
    std::FILE* m_file = nullptr;
    std::string m_reason;
};

} // namespace lumo::net
