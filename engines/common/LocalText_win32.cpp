#include "common/LocalText.h"

#include <windows.h>

namespace lumo
{
namespace
{

constexpr unsigned kLocal = CP_ACP; // the code page that programs of this machine use for their 8-bit calls

std::wstring wide(const std::string& text, unsigned codePage)
{
    const int size = static_cast<int>(text.size());
    std::wstring out(size_t(MultiByteToWideChar(codePage, 0, text.data(), size, nullptr, 0)), L'\0');
    MultiByteToWideChar(codePage, 0, text.data(), size, out.data(), static_cast<int>(out.size()));
    return out;
}

std::string narrow(const std::wstring& text, unsigned codePage)
{
    const int size = static_cast<int>(text.size());
    std::string out(size_t(WideCharToMultiByte(codePage, 0, text.data(), size, nullptr, 0, nullptr, nullptr)), '\0');
    WideCharToMultiByte(codePage, 0, text.data(), size, out.data(), static_cast<int>(out.size()), nullptr, nullptr);
    return out;
}

} // namespace

std::filesystem::path localPath(const std::string& path)
{
    return wide(path, kLocal);
}

std::string utf8OfLocal(const std::string& text)
{
    return narrow(wide(text, kLocal), CP_UTF8);
}

std::string localOfUtf8(const std::string& text)
{
    return narrow(wide(text, CP_UTF8), kLocal);
}

} // namespace lumo
