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
    case LUMONET_ERR_USER:
        return "no such user";
    case LUMONET_ERR_PASSWORD:
        return "wrong password";
    case LUMONET_ERR_LOCKED:
        return "the device has locked the user out";
    case LUMONET_ERR_ALREADY_LOGGED_IN:
        return "the user is logged in already";
    case LUMONET_ERR_NOT_LOGGED_IN:
        return "the login has ended";
    case LUMONET_ERR_SESSIONS:
        return "the device serves as many sessions as it can";
    case LUMONET_ERR_CLOUD:
        return "no device with that serial number was found";
    case LUMONET_ERR_ARGUMENT:
        return "a value that is out of range";
    case LUMONET_ERR_BUSY:
        return "the device is at work already";
    default:
        return "the device refused";
    }
}

} // namespace lumo::net
