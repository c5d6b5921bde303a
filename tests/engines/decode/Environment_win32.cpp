// SDL asks the system, not the C library, whose copy would not do.
#include "Environment.h"

#include <windows.h>

void setEnvironment(const char* name, const std::string& value)
{
    SetEnvironmentVariableA(name, value.c_str());
}
