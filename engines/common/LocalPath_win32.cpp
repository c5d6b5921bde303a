#include "common/LocalPath.h"

#include <windows.h>

namespace lumo
{
namespace
{

/// From the code page that programs of this machine use for their 8-bit calls.
std::wstring wide(const std::string& text)
{
    const int size = static_cast<int>(text.size());
    std::wstring out(size_t(MultiByteToWideChar(CP_ACP, 0, text.data(), size, nullptr, 0)), L'\0');
    MultiByteToWideChar(CP_ACP, 0, text.data(), size, out.data(), static_cast<int>(out.size()));
    return out;
}

} // namespace

std::filesystem::path localPath(const std::string& path)
{
    return wide(path);
}

std::string utf8Path(const std::string& path)
{
    const std::wstring from = wide(path);
    const int size = static_cast<int>(from.size());
    std::string out(size_t(WideCharToMultiByte(CP_UTF8, 0, from.data(), size, nullptr, 0, nullptr, nullptr)), '\0');
    WideCharToMultiByte(CP_UTF8, 0, from.data(), size, out.data(), static_cast<int>(out.size()), nullptr, nullptr);
    return out;
}

} // namespace lumo
