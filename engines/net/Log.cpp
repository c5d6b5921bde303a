#include "Log.h"

#include "device/LumoNet.h"

#include <cstdio>

namespace lumo::net
{

void log(const std::string& line)
{
    std::fprintf(stderr, "LumoNet: %s\n", line.c_str());
}

const char* errorText(int error)
{
    switch (error) {
    case LUMONET_ERR_NONE:
        return "no error";
    case LUMONET_ERR_TIMEOUT:
        return "the device does not answer any more";
    case LUMONET_ERR_UNSUPPORTED:
        return "the device cannot do this";
    case LUMONET_ERR_PASSWORD:
        return "wrong password";
    case LUMONET_ERR_NOT_LOGGED_IN:
        return "the login has ended";
    default:
        return "the device refused";
    }
}

} // namespace lumo::net
