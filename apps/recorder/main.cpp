// lumo-recorder: a simulated recorder. ONVIF and RTSP for the libraries, the page, and test calls, in one
// process on one GLib main loop; live streams run on gst-rtsp-server's threads and one pacer, each replay on its own.
#include "Discovery.h"
#include "HttpServer.h"
#include "ReplayServer.h"
#include "RtspServer.h"

#include <glib-unix.h>
#include <gst/gst.h>
#include <sys/resource.h>
#include <unistd.h>

extern "C" {
#include <libavutil/log.h>
}

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <filesystem>
#include <memory>
#include <vector>

using namespace lumo::recorder;

namespace
{

constexpr int kTalkers = 2; // more than one, so that "all" is not "the first"

// 64 channels with several clients each need more sockets than the usual 1024.
void raiseFileLimit()
{
    rlimit limit{};
    if (getrlimit(RLIMIT_NOFILE, &limit) == 0) {
        limit.rlim_cur = limit.rlim_max;
        setrlimit(RLIMIT_NOFILE, &limit);
    }
}

int complain(const std::string& text)
{
    std::fprintf(stderr, "lumo-recorder: %s\n", text.c_str());
    return 1;
}

void announce(const Options& options, const OnvifContext& ports)
{
    std::printf("{\"http\":%d,\"rtsp\":%d,\"replay\":%d,\"serial\":\"%s\",\"channels\":%d}\n", ports.httpPort,
                ports.rtspPort, ports.replayPort, options.serial.c_str(), options.channels);
    std::fflush(stdout);
}

// Made before anybody is told that the recorder is ready: from then on it may be asked to end.
GMainLoop* newLoop()
{
    GMainLoop* loop = g_main_loop_new(nullptr, FALSE);
    const auto quit = [](gpointer p) -> gboolean {
        g_main_loop_quit(static_cast<GMainLoop*>(p));
        return G_SOURCE_CONTINUE;
    };
    g_unix_signal_add(SIGINT, quit, loop);
    g_unix_signal_add(SIGTERM, quit, loop);
    return loop;
}

// All that is alive while the recorder serves. Never destroyed: the streams' threads use it to the last moment.
struct Recorder {
    Recorder(const Options& options, ClipStore& store)
        : options(options), store(store), streams(makeStreams()), rooms(makeRooms())
    {
    }

    std::vector<std::unique_ptr<LiveStream>> makeStreams()
    {
        std::vector<std::unique_ptr<LiveStream>> all;
        for (int i = 0; i < options.channels * 2; ++i) {
            all.push_back(std::make_unique<LiveStream>(store, i / 2, i % 2));
        }
        return all;
    }

    // The first channels have a loudspeaker.
    std::vector<std::unique_ptr<TalkRoom>> makeRooms()
    {
        std::vector<std::unique_ptr<TalkRoom>> all;
        for (int i = 0; i < std::min(options.channels, kTalkers); ++i) {
            all.push_back(std::make_unique<TalkRoom>(i, options.receivedDir + "/talk-" + std::to_string(i) + ".alaw"));
        }
        return all;
    }

    const Options& options;
    ClipStore& store;
    Faults faults;
    std::vector<std::unique_ptr<LiveStream>> streams; // index channel * 2 + stream
    std::vector<std::unique_ptr<TalkRoom>> rooms;
    DeviceState state{options.receivedDir, faults};
    RtspServer rtsp{options, store, faults, streams, rooms};
    AlarmBoard alarms{options.channels};
    EventHub events{alarms, faults, options.clockSkewSeconds};
    DeviceZone zone{options.utcOffsetMinutes};
    RecordingStore recordings{options, zone, store};
    ReplayServer replay{options, recordings, faults};
    OnvifContext context{
        options, store, streams, zone, recordings, state, events, faults, static_cast<int>(rooms.size())};
    OnvifServices onvif{context, faults};
    TestApi api{options,
                store,
                faults,
                streams,
                {[this](int channel) { return rtsp.dropChannel(channel); }, [this] { return rtsp.connections(); }}};
    RecordingApi recordingApi{options, zone, recordings};
    DeviceHttp device{options, faults, state, rooms};
    HttpServer http{options, faults, onvif, api, recordingApi, recordings, streams, device, alarms, events};
    std::unique_ptr<Discovery> discovery;
};

int serve(const Options& options, ClipStore& store)
{
    GMainLoop* loop = newLoop();
    auto& recorder = *new Recorder(options, store);
    recorder.context.rtspPort = recorder.rtsp.start();
    if (!recorder.context.rtspPort) {
        return complain("cannot listen for RTSP on " + options.address + ":" + std::to_string(options.rtspPort));
    }
    recorder.context.replayPort = recorder.replay.start();
    if (!recorder.context.replayPort) {
        return complain("cannot listen for replay on " + options.address + ":" + std::to_string(options.replayPort));
    }
    std::string error;
    recorder.context.httpPort = recorder.http.start(error);
    if (!recorder.context.httpPort) {
        return complain("cannot listen for HTTP on " + options.address + ":" + std::to_string(options.httpPort) + ": " +
                        error);
    }
    for (const AlarmPlan& plan : options.alarms) {
        recorder.alarms.follow(plan);
    }
    if (options.discovery) {
        recorder.discovery = std::make_unique<Discovery>(options, recorder.faults, recorder.context.httpPort);
    }
    announce(options, recorder.context);
    g_main_loop_run(loop);
    return 0;
}

int run(const Options& options)
{
    try {
        auto& store = *new ClipStore(options);
        if (options.prepareOnly) {
            const DeviceZone zone(options.utcOffsetMinutes);
            const int clips = store.prepareAll();
            const int recordings = options.recordedGiven ? RecordingStore(options, zone, store).prepareAll() : 0;
            std::printf("{\"clips\":%d,\"recordings\":%d}\n", clips, recordings);
            return 0;
        }
        return serve(options, store);
    } catch (const std::exception& e) {
        return complain(e.what());
    }
}

} // namespace

int main(int argc, char** argv)
{
    const ParsedOptions parsed = parseOptions(argc, argv);
    if (!parsed.options) {
        std::fputs(parsed.message.c_str(), parsed.exitCode ? stderr : stdout);
        return parsed.exitCode;
    }
    gst_init(nullptr, nullptr);
    av_log_set_level(AV_LOG_ERROR);
    raiseFileLimit();
    Options options = *parsed.options;
    const bool keep = !options.receivedDir.empty();
    if (!keep) {
        options.receivedDir =
            (std::filesystem::temp_directory_path() / ("lumo-recorder-" + std::to_string(getpid()))).string();
    }
    const int code = run(options);
    if (!keep) {
        std::error_code ignored;
        std::filesystem::remove_all(options.receivedDir, ignored);
    }
    // At once, without destructors: streams may still be running, and nothing is left to be saved.
    std::fflush(nullptr);
    std::_Exit(code);
}
