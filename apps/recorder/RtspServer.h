// The RTSP side: one shared media per stream at /live/<channel>/<stream>, over TCP and UDP; of channels that talk
// another one, for who asks for ONVIF's back channel.
//
// Thread: made and started on the main loop's thread. Clients are served by gst-rtsp-server's own threads.
// Lives until the process ends: those threads hold on to it, and the library has no way to wait for them.
#pragma once

#include "Pacer.h"
#include "TalkRoom.h"

#include <gst/rtsp-server/rtsp-server.h>

#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <set>
#include <string>
#include <vector>

namespace lumo::recorder
{

class RtspServer
{
public:
    /// streams: index channel * 2 + stream; rooms: of the first channels. Both must outlive this.
    RtspServer(const Options& options, ClipStore& store, Faults& faults,
               std::vector<std::unique_ptr<LiveStream>>& streams, std::vector<std::unique_ptr<TalkRoom>>& rooms);
    RtspServer(const RtspServer&) = delete;
    RtspServer& operator=(const RtspServer&) = delete;

    /// The port it listens on, 0 when it cannot.
    int start();
    /// Closes the connections of all who play the channel, and their sessions. Returns how many.
    int dropChannel(int channel);
    int connections();

private:
    struct Mount {
        RtspServer* server;
        LiveStream* stream;
        GstRTSPMediaFactory* factory; // the mount points hold it
        std::mutex joining;           // held by a client's request that joins or leaves its media
    };
    struct Client {
        GSocket* socket = nullptr; // a reference
        std::set<int> channels;
        std::set<std::string> sessions;
    };

    void addMount(GstRTSPMountPoints* mounts, LiveStream& stream);
    void onMediaConfigure(const Mount& mount, GstRTSPMedia* media);
    void configureLive(const Mount& mount, GstRTSPMedia* media, GstElement* bin);
    void configureTalk(const Mount& mount, GstRTSPMedia* media, GstElement* bin, GstElement* mouth);
    void onClientConnected(GstRTSPClient* client);
    void onClientClosed(GstRTSPClient* client);
    /// The index of the stream that a request is about.
    std::optional<size_t> streamOf(const GstRTSPContext* context) const;
    void onAdmitted(const GstRTSPContext* context);
    void onBeforePlay(GstRTSPContext* context);
    void onPlay(GstRTSPClient* client, GstRTSPContext* context);

    const Options& m_options;
    ClipStore& m_store;
    Faults& m_faults;
    std::vector<std::unique_ptr<LiveStream>>& m_streams;
    std::vector<std::unique_ptr<TalkRoom>>& m_rooms;
    std::vector<std::unique_ptr<Mount>> m_mounts; // index channel * 2 + stream
    Pacer m_pacer;
    GstRTSPServer* m_server = nullptr;
    std::mutex m_mutex; // guards m_clients
    std::map<GstRTSPClient*, Client> m_clients;
};

} // namespace lumo::recorder
