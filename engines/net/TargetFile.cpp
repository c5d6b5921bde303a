#include "TargetFile.h"

#include "common/LocalText.h"

#include <cerrno>
#include <cstring>

namespace lumo::net
{

bool TargetFile::failed()
{
    m_reason = std::strerror(errno);
    return false;
}

bool TargetFile::open()
{
    std::error_code ignored; // opening tells what is wrong
    const auto folder = localPath(m_path).parent_path();
    if (!folder.empty())
        std::filesystem::create_directories(folder, ignored);
    m_file = std::fopen(partPath().c_str(), "wb");
    return m_file || failed();
}

bool TargetFile::write(const void* data, size_t size)
{
    return std::fwrite(data, 1, size, m_file) == size || failed();
}

bool TargetFile::finish()
{
    std::FILE* file = m_file;
    m_file = nullptr;
    if (std::fclose(file) != 0) { // writes what was left in its buffer
        failed();
        std::remove(partPath().c_str());
        return false;
    }
    std::error_code error;
    std::filesystem::rename(localPath(partPath()), localPath(m_path), error);
    if (error) {
        m_reason = error.message();
        std::remove(partPath().c_str());
    }
    return !error;
}

void TargetFile::discard()
{
    if (!m_file)
        return;
    std::fclose(m_file);
    m_file = nullptr;
    std::remove(partPath().c_str());
}

} // namespace lumo::net
