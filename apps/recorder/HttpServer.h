// The HTTP side on one port: ONVIF on /onvif/, test calls on /api/, pictures on /snapshot/, what DeviceHttp has,
// the page on the rest.
// What may have to wait for an encoder is answered from a thread of its own.
//
// Thread: main loop only. Lives until the process ends.
#pragma once

#include "AlarmApi.h"
#include "DeviceHttp.h"
#include "OnvifServices.h"
#include "RecordingApi.h"
#include "TestApi.h"

#include <libsoup/soup.h>

#include <functional>
#include <vector>

namespace lumo::recorder
{

class HttpServer
{
public:
    HttpServer(const Options& options, Faults& faults, OnvifServices& onvif, TestApi& api, RecordingApi& recordingApi,
               RecordingStore& recordings, std::vector<std::unique_ptr<LiveStream>>& streams, DeviceHttp& device,
               AlarmBoard& alarms, EventHub& events);
    HttpServer(const HttpServer&) = delete;
    HttpServer& operator=(const HttpServer&) = delete;

    /// The port it listens on; 0 when it cannot, with the reason in `error`.
    int start(std::string& error);

private:
    using Handler = void (HttpServer::*)(SoupServerMessage*, const std::string& path);

    template <Handler handler> void route(const char* path);
    /// True when the recorder is silent: the message then waits until that ends.
    bool held(SoupServerMessage* message);
    void releaseHeld();

    void onOnvif(SoupServerMessage* message, const std::string& path);
    /// Answers from another thread, or later, or both.
    void answerLater(SoupServerMessage* message, std::function<ApiAnswer()> make, const char* type);
    void onRecordings(SoupServerMessage* message, const std::string& path);
    void onApi(SoupServerMessage* message, const std::string& path);
    void onSnapshot(SoupServerMessage* message, const std::string& path);
    void onPage(SoupServerMessage* message, const std::string& path);

    const Options& m_options;
    Faults& m_faults;
    OnvifServices& m_onvif;
    TestApi& m_api;
    RecordingApi& m_recordingApi;
    RecordingStore& m_recordings;
    std::vector<std::unique_ptr<LiveStream>>& m_streams;
    DeviceHttp& m_device;
    EventHub& m_events;
    AlarmApi m_alarmApi;
    SoupServer* m_server;
    std::vector<SoupServerMessage*> m_held; // references; answered with 503 once the recorder speaks again
};

} // namespace lumo::recorder
