// The engine's part for talks.
#include "Engine.h"

#include "Talk.h"

namespace lumo::net
{

int Engine::startTalk(int login, int channel, LumoVoiceCallback voice, intptr_t user)
{
    int error = 0;
    const auto device = deviceOf(login, error);
    std::vector<StreamSource> sources;
    if (error == 0)
        error = device->talkSources(channel, sources);
    if (error != 0)
        return error;
    return openTransfer(login, m_talkHandles, [&](int handle, const std::shared_ptr<Device>&) {
        return std::make_shared<Talk>(m_loop, handle, sources, m_timings, Talk::Callback{voice, user});
    });
}

int Engine::sendSpeech(int talk, const uint8_t* frame, size_t size)
{
    const auto found = transferOf<Talk>(talk);
    return found ? found->send(frame, size) : int(LUMONET_ERR_NOT_LOGGED_IN);
}

int Engine::stopTalk(int talk)
{
    return stopTransfer(talk, m_talkHandles);
}

} // namespace lumo::net
