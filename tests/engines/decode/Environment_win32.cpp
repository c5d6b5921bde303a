// SDL asks the system, not the C library, whose copy would not do.
#include "Environment.h"

#include <windows.h>

void setEnvironment(const char* name, const std::string& value)
{
    SetEnvironmentVariableA(name, value.c_str());
}

std::string localPathText(const std::filesystem::path& path)
{
    const std::wstring text = path.wstring();
    std::string out(text.size() * 4 + 1, '\0');
    BOOL unknown = FALSE;
    const int size = WideCharToMultiByte(CP_ACP, WC_NO_BEST_FIT_CHARS, text.data(), static_cast<int>(text.size()),
                                         out.data(), static_cast<int>(out.size()), nullptr, &unknown);
    out.resize(unknown ? 0 : static_cast<size_t>(size));
    return out;
}
