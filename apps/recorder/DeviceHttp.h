// The web side of all that is no picture: the command service (HTTP digest, or the token), the places for uploads, the
// talk's and the device's state for tests, and a page that shows it.
//
//   /lumo/command/...                      see CommandService.h
//   POST /upload/<ticket>                  firmware and settings, where ONVIF said; the ticket is the key to it
//   GET  /api/device                       files, firmware, lenses
//   GET  /api/talk?channel=C               what a channel heard: packets, bytes, odd ones, the largest gap, the file
//   GET  /api/talk/heard?channel=C         the sound itself, G.711 A-law
//   POST /api/talk                         {"channel":C,"clear":true} forgets it; {"channel":C,"tone":Hz} says so back
//   GET  /status                           the page
// All but the first two are for this machine only.
// Thread: main loop only. Lives until the process ends.
#pragma once

#include "CommandService.h"
#include "TalkRoom.h"

#include <libsoup/soup.h>

#include <functional>
#include <memory>
#include <vector>

namespace lumo::recorder
{

class DeviceHttp
{
public:
    DeviceHttp(const Options& options, Faults& faults, DeviceState& state,
               std::vector<std::unique_ptr<TalkRoom>>& rooms);
    DeviceHttp(const DeviceHttp&) = delete;
    DeviceHttp& operator=(const DeviceHttp&) = delete;

    /// held: true when the message is kept, for the recorder is silent.
    void begin(SoupServer* server, std::function<bool(SoupServerMessage*)> held);
    /// Answers what hangs, unless it shall go on.
    void releaseHanging();

private:
    using Handler = void (DeviceHttp::*)(SoupServerMessage*, const std::string& path);
    template <Handler handler> void route(const char* path);

    void addDigest();
    void onCommand(SoupServerMessage* message, const std::string& path);
    bool spoiled(SoupServerMessage* message);
    void onUploadBegins(SoupServerMessage* message, const std::string& path);
    void onUploaded(SoupServerMessage* message, const std::string& path);
    void onDevice(SoupServerMessage* message, const std::string& path);
    void onTalk(SoupServerMessage* message, const std::string& path);
    void onStatus(SoupServerMessage* message, const std::string& path);
    TalkRoom* roomOf(int channel);
    ApiAnswer changeTalk(const std::string& body);

    const Options& m_options;
    Faults& m_faults;
    DeviceState& m_state;
    std::vector<std::unique_ptr<TalkRoom>>& m_rooms;
    CommandService m_commands;
    SoupServer* m_server = nullptr;
    std::function<bool(SoupServerMessage*)> m_held;
    std::vector<SoupServerMessage*> m_hanging; // references
};

} // namespace lumo::recorder
