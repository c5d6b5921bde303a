#include "RtspServer.h"

#include "LiveFactory.h"
#include "RtspAuth.h"

#include <gst/app/gstappsink.h>
#include <gst/rtsp-server/rtsp-onvif-server.h>

#include <atomic>
#include <cstdio>
#include <exception>

namespace lumo::recorder
{
namespace
{

// Clients share these; a media's own work runs on threads of its own.
constexpr int kClientThreads = 16;
constexpr int kBacklog = 256;

// The sound of a media is linked nowhere while no client has set it up. Its source must not stop on that: the error
// would end what the other tracks carry, too.
constexpr const char* kAlsoUnheard = "! tee allow-not-linked=true ";

const char* videoBranch(Codec codec)
{
    switch (codec) {
    case Codec::H264:
        return "caps=video/x-h264,stream-format=byte-stream,alignment=au ! rtph264pay name=pay0 pt=96 "
               "config-interval=0";
    case Codec::H265:
        return "caps=video/x-h265,stream-format=byte-stream,alignment=au ! rtph265pay name=pay0 pt=96 "
               "config-interval=0";
    default:
        return nullptr;
    }
}

std::string launchLine(ClipStore& store, LiveStream& stream, bool sound)
{
    const Codec codec = store.codec(stream.channel, stream.stream);
    std::string line = "( appsrc name=video is-live=true format=time ";
    if (codec == Codec::Mjpeg) {
        const PictureSize size = store.size(stream.channel, stream.stream);
        line += "caps=image/jpeg,width=" + std::to_string(size.width) + ",height=" + std::to_string(size.height) +
                ",framerate=" + std::to_string(static_cast<int>(store.fps(stream.channel, stream.stream))) +
                "/1 ! rtpjpegpay name=pay0 pt=26";
    } else {
        line += videoBranch(codec);
    }
    if (sound) {
        line += " appsrc name=audio is-live=true format=time caps=audio/x-alaw,rate=8000,channels=1 ";
        line += kAlsoUnheard;
        line += "! rtppcmapay name=pay1 pt=8 min-ptime=20000000 max-ptime=20000000";
    }
    return line + " )";
}

std::string talkLine()
{
    return std::string("( audiotestsrc name=mouth is-live=true samplesperbuffer=160 volume=0 "
                       "! audio/x-raw,format=S16LE,rate=8000,channels=1 ! alawenc ") +
           kAlsoUnheard + "! rtppcmapay name=pay0 pt=8 min-ptime=20000000 max-ptime=20000000 )";
}

constexpr const char* kHeardLine =
    "( capsfilter name=depay_backchannel caps=application/x-rtp,media=audio,payload=8,clock-rate=8000,"
    "encoding-name=PCMA ! rtppcmadepay ! appsink name=ear sync=false async=false )";

// What a media's signal handlers need; dies with the media.
struct LaneHolder {
    std::shared_ptr<Lane> lane;
    Pacer* pacer;
    GstRTSPMediaFactory* factory;
    std::atomic<bool> retired{false};

    // From now on whoever comes gets a new media, with a lane of its own.
    void retire()
    {
        if (!retired.exchange(true)) {
            pacer->remove(lane);
            retireMedia(factory);
        }
    }
};

// The same for a media that talks.
struct TalkHolder {
    TalkRoom* room;
    GstElement* mouth; // the media holds it
    std::atomic<bool> retired{false};

    void retire()
    {
        if (!retired.exchange(true)) {
            room->removeMouth(mouth);
        }
    }
};

// Of the request that this thread serves just now, if it joins or leaves a stream.
thread_local std::unique_lock<std::mutex> t_joining;

template <typename Holder> void keepWithMedia(GstRTSPMedia* media, Holder* holder)
{
    g_object_set_data_full(G_OBJECT(media), "lumo-holder", holder, [](gpointer p) {
        auto* h = static_cast<Holder*>(p);
        h->retire();
        delete h;
    });
    g_signal_connect(media, "target-state", G_CALLBACK(+[](GstRTSPMedia*, gint state, gpointer p) {
                         if (state == GST_STATE_NULL) {
                             static_cast<Holder*>(p)->retire();
                         }
                     }),
                     holder);
    g_signal_connect(media, "unprepared",
                     G_CALLBACK(+[](GstRTSPMedia*, gpointer p) { static_cast<Holder*>(p)->retire(); }), holder);
}

GstFlowReturn onHeard(GstAppSink* sink, gpointer room)
{
    GstSample* sample = gst_app_sink_pull_sample(sink);
    if (!sample) {
        return GST_FLOW_EOS;
    }
    GstMapInfo map;
    GstBuffer* buffer = gst_sample_get_buffer(sample);
    if (gst_buffer_map(buffer, &map, GST_MAP_READ)) {
        static_cast<TalkRoom*>(room)->hear(map.data, map.size);
        gst_buffer_unmap(buffer, &map);
    }
    gst_sample_unref(sample);
    return GST_FLOW_OK;
}

} // namespace

RtspServer::RtspServer(const Options& options, ClipStore& store, Faults& faults,
                       std::vector<std::unique_ptr<LiveStream>>& streams, std::vector<std::unique_ptr<TalkRoom>>& rooms)
    : m_options(options), m_store(store), m_faults(faults), m_streams(streams), m_rooms(rooms),
      m_server(gst_rtsp_onvif_server_new())
{
    gst_rtsp_server_set_address(m_server, options.address.c_str());
    gst_rtsp_server_set_service(m_server, std::to_string(options.rtspPort).c_str());
    gst_rtsp_server_set_backlog(m_server, kBacklog);
    GstRTSPThreadPool* pool = gst_rtsp_server_get_thread_pool(m_server);
    gst_rtsp_thread_pool_set_max_threads(pool, kClientThreads);
    g_object_unref(pool);
    GstRTSPAuth* auth = newRtspAuth(
        options, faults,
        [](GstRTSPContext* context, void* self) { static_cast<RtspServer*>(self)->onAdmitted(context); }, this);
    gst_rtsp_server_set_auth(m_server, auth);
    g_object_unref(auth);
    GstRTSPMountPoints* mounts = gst_rtsp_server_get_mount_points(m_server);
    for (auto& stream : streams) {
        addMount(mounts, *stream);
    }
    g_object_unref(mounts);
    g_signal_connect(m_server, "client-connected",
                     G_CALLBACK(+[](GstRTSPServer*, GstRTSPClient* client, gpointer self) {
                         static_cast<RtspServer*>(self)->onClientConnected(client);
                     }),
                     this);
}

void RtspServer::addMount(GstRTSPMountPoints* mounts, LiveStream& stream)
{
    const bool sound = stream.channel == 0, talks = static_cast<size_t>(stream.channel) < m_rooms.size();
    GstRTSPMediaFactory* factory =
        newLiveFactory({launchLine(m_store, stream, sound), talks ? talkLine() : "", kHeardLine});
    gst_rtsp_media_factory_set_shared(factory, TRUE);
    gst_rtsp_media_factory_set_protocols(
        factory, static_cast<GstRTSPLowerTrans>(GST_RTSP_LOWER_TRANS_TCP | GST_RTSP_LOWER_TRANS_UDP));
    gst_rtsp_media_factory_add_role(factory, kViewerRole, GST_RTSP_PERM_MEDIA_FACTORY_ACCESS, G_TYPE_BOOLEAN, TRUE,
                                    GST_RTSP_PERM_MEDIA_FACTORY_CONSTRUCT, G_TYPE_BOOLEAN, TRUE, nullptr);
    m_mounts.push_back(std::make_unique<Mount>());
    m_mounts.back()->server = this;
    m_mounts.back()->stream = &stream;
    m_mounts.back()->factory = factory;
    g_signal_connect(factory, "media-configure",
                     G_CALLBACK(+[](GstRTSPMediaFactory*, GstRTSPMedia* media, gpointer data) {
                         auto* mount = static_cast<Mount*>(data);
                         mount->server->onMediaConfigure(*mount, media);
                     }),
                     m_mounts.back().get());
    const std::string path = "/live/" + std::to_string(stream.channel) + "/" + std::to_string(stream.stream);
    gst_rtsp_mount_points_add_factory(mounts, path.c_str(), factory);
}

void RtspServer::onMediaConfigure(const Mount& mount, GstRTSPMedia* media)
{
    GstElement* bin = gst_rtsp_media_get_element(media);
    if (GstElement* mouth = gst_bin_get_by_name(GST_BIN(bin), "mouth")) {
        configureTalk(mount, media, bin, mouth);
        gst_object_unref(mouth);
    } else {
        configureLive(mount, media, bin);
    }
    gst_object_unref(bin);
}

void RtspServer::configureTalk(const Mount& mount, GstRTSPMedia* media, GstElement* bin, GstElement* mouth)
{
    TalkRoom* room = m_rooms[static_cast<size_t>(mount.stream->channel)].get();
    GstElement* ear = gst_bin_get_by_name(GST_BIN(bin), "ear");
    GstAppSinkCallbacks callbacks{};
    callbacks.new_sample = onHeard;
    gst_app_sink_set_callbacks(GST_APP_SINK(ear), &callbacks, room, nullptr);
    gst_object_unref(ear);
    auto* holder = new TalkHolder{room, mouth};
    keepWithMedia(media, holder);
    g_signal_connect(media, "new-state", G_CALLBACK(+[](GstRTSPMedia*, gint state, gpointer p) {
                         auto* h = static_cast<TalkHolder*>(p);
                         if (state == GST_STATE_PLAYING && !h->retired) {
                             h->room->addMouth(h->mouth);
                         }
                     }),
                     holder);
    gst_rtsp_media_set_rate_control(media, FALSE);
}

// On a client's thread. The clip may have to be encoded here; only this client's thread waits for it.
void RtspServer::configureLive(const Mount& mount, GstRTSPMedia* media, GstElement* bin)
{
    LiveStream& stream = *mount.stream;
    GstElement* video = gst_bin_get_by_name(GST_BIN(bin), "video");
    GstElement* audio = gst_bin_get_by_name(GST_BIN(bin), "audio");
    try {
        auto lane = std::make_shared<Lane>(stream, m_faults, GST_APP_SRC(video), audio ? GST_APP_SRC(audio) : nullptr);
        auto* holder = new LaneHolder{lane, &m_pacer, mount.factory};
        keepWithMedia(media, holder);
        g_signal_connect(media, "new-state", G_CALLBACK(+[](GstRTSPMedia*, gint state, gpointer p) {
                             auto* h = static_cast<LaneHolder*>(p);
                             if (!h->retired) {
                                 h->lane->setPlaying(state == GST_STATE_PLAYING);
                             }
                         }),
                         holder);
        // Frames leave when they are handed over; a sink that waits for their time would only add delay.
        gst_rtsp_media_set_rate_control(media, FALSE);
        m_pacer.add(lane);
    } catch (const std::exception& e) {
        std::fprintf(stderr, "lumo-recorder: channel %d stream %d: %s\n", stream.channel, stream.stream, e.what());
    }
    gst_object_unref(video);
    if (audio) {
        gst_object_unref(audio);
    }
}

void RtspServer::onClientConnected(GstRTSPClient* client)
{
    GSocket* socket = gst_rtsp_connection_get_read_socket(gst_rtsp_client_get_connection(client));
    {
        std::lock_guard lock(m_mutex);
        m_clients[client].socket = G_SOCKET(g_object_ref(socket));
    }
    g_signal_connect(
        client, "closed",
        G_CALLBACK(+[](GstRTSPClient* c, gpointer self) { static_cast<RtspServer*>(self)->onClientClosed(c); }), this);
    g_signal_connect(client, "pre-play-request",
                     G_CALLBACK(+[](GstRTSPClient*, GstRTSPContext* context, gpointer self) -> GstRTSPStatusCode {
                         static_cast<RtspServer*>(self)->onBeforePlay(context);
                         return GST_RTSP_STS_OK;
                     }),
                     this);
    g_signal_connect(client, "send-message",
                     G_CALLBACK(+[](GstRTSPClient*, GstRTSPContext*, gpointer, gpointer) { t_joining = {}; }), nullptr);
    g_signal_connect(client, "play-request", G_CALLBACK(+[](GstRTSPClient* c, GstRTSPContext* context, gpointer self) {
                         static_cast<RtspServer*>(self)->onPlay(c, context);
                     }),
                     this);
}

std::optional<size_t> RtspServer::streamOf(const GstRTSPContext* context) const
{
    int channel = -1, stream = -1;
    const bool known = context->uri && std::sscanf(context->uri->abspath, "/live/%d/%d", &channel, &stream) == 2 &&
                       channel >= 0 && channel < m_options.channels && (stream == 0 || stream == 1);
    return known ? std::optional(static_cast<size_t>(channel) * 2 + static_cast<size_t>(stream)) : std::nullopt;
}

void RtspServer::onClientClosed(GstRTSPClient* client)
{
    std::lock_guard lock(m_mutex);
    const auto it = m_clients.find(client);
    if (it != m_clients.end()) {
        g_object_unref(it->second.socket);
        m_clients.erase(it);
    }
}

// The library finds a media and joins it in two steps. Were its last client to leave in between, it would be found but
// not joined any more, and the answer would be 503. So requests that join or leave a stream come one after the other;
// each ends with its answer. The library's own signals for them come too late: with SETUP and TEARDOWN it has locked
// the media by then, which DESCRIBE does afterwards, and two requests would wait for each other.
void RtspServer::onAdmitted(const GstRTSPContext* context)
{
    t_joining = {};
    if (context->method != GST_RTSP_DESCRIBE && context->method != GST_RTSP_SETUP &&
        context->method != GST_RTSP_TEARDOWN) {
        return;
    }
    if (const auto index = streamOf(context)) {
        t_joining = std::unique_lock(m_mounts[*index]->joining);
    }
}

// The picture that waited for this PLAY goes out before anybody is told of the new state: its time is now.
void RtspServer::onBeforePlay(GstRTSPContext* context)
{
    if (const auto index = streamOf(context)) {
        m_streams[*index]->noteWaitingLeft();
    }
}

void RtspServer::onPlay(GstRTSPClient* client, GstRTSPContext* context)
{
    int channel = 0;
    if (!context->uri || std::sscanf(context->uri->abspath, "/live/%d/", &channel) != 1) {
        return;
    }
    std::lock_guard lock(m_mutex);
    const auto it = m_clients.find(client);
    if (it != m_clients.end()) {
        it->second.channels.insert(channel);
        if (context->session) {
            it->second.sessions.insert(gst_rtsp_session_get_sessionid(context->session));
        }
    }
}

int RtspServer::start()
{
    if (!gst_rtsp_server_attach(m_server, nullptr)) {
        return 0;
    }
    g_timeout_add_seconds(
        5,
        [](gpointer self) -> gboolean {
            GstRTSPSessionPool* pool = gst_rtsp_server_get_session_pool(static_cast<RtspServer*>(self)->m_server);
            gst_rtsp_session_pool_cleanup(pool);
            g_object_unref(pool);
            return G_SOURCE_CONTINUE;
        },
        this);
    return gst_rtsp_server_get_bound_port(m_server);
}

// Sockets are shut down, not closed: the thread that serves the client then sees the end and cleans up itself.
int RtspServer::dropChannel(int channel)
{
    GstRTSPSessionPool* pool = gst_rtsp_server_get_session_pool(m_server);
    std::set<std::string> sessions;
    int count = 0;
    {
        std::lock_guard lock(m_mutex);
        for (auto& [client, info] : m_clients) {
            if (info.channels.count(channel)) {
                g_socket_shutdown(info.socket, TRUE, TRUE, nullptr);
                sessions.merge(info.sessions);
                ++count;
            }
        }
    }
    for (const auto& id : sessions) {
        // A session over UDP would outlive its connection and go on sending.
        if (GstRTSPSession* session = gst_rtsp_session_pool_find(pool, id.c_str())) {
            gst_rtsp_session_pool_remove(pool, session);
            g_object_unref(session);
        }
    }
    g_object_unref(pool);
    return count;
}

int RtspServer::connections()
{
    std::lock_guard lock(m_mutex);
    return static_cast<int>(m_clients.size());
}

} // namespace lumo::recorder
