// The ONVIF services of the recorder: one table of operations per service, one handler per operation.
//
// Thread: main loop only.
#pragma once

#include "CommandService.h"
#include "EventHub.h"
#include "LiveStream.h"
#include "RecordingStore.h"
#include "Security.h"
#include "Soap.h"

#include <map>
#include <memory>
#include <string>
#include <vector>

namespace lumo::recorder
{

constexpr const char* kDeviceSpace = "http://www.onvif.org/ver10/device/wsdl";
constexpr const char* kMediaSpace = "http://www.onvif.org/ver10/media/wsdl";
constexpr const char* kSearchSpace = "http://www.onvif.org/ver10/search/wsdl";
constexpr const char* kRecordingSpace = "http://www.onvif.org/ver10/recording/wsdl";
constexpr const char* kReplaySpace = "http://www.onvif.org/ver10/replay/wsdl";
constexpr const char* kEventSpace = "http://www.onvif.org/ver10/events/wsdl";
constexpr const char* kSubscriptionSpace = "http://docs.oasis-open.org/wsn/b-2";
constexpr const char* kDeviceIoSpace = "http://www.onvif.org/ver10/deviceIO/wsdl";
constexpr const char* kSubscriptionPath = "/onvif/subscription/"; // and its number
constexpr const char* kTokenSpace = "urn:lumo:token:1";

/// What the handlers of all services draw on.
struct OnvifContext {
    const Options& options;
    ClipStore& store;
    std::vector<std::unique_ptr<LiveStream>>& streams; // index channel * 2 + stream
    const DeviceZone& zone;
    const RecordingStore& recordings;
    DeviceState& state;
    EventHub& events;
    const Faults& faults;
    int talkers = 0; // how many channels, from the first on, have a loudspeaker
    int httpPort = 0;
    int rtspPort = 0;
    int replayPort = 0;
    int searches = 0;             // how many were begun; a search's number is its token
    std::map<int, int> fetched{}; // by search, the last few: how many of its results were fetched

    int64_t deviceTime() const; // Unix seconds on the device's clock
};

/// A request with the host by which the client reached us ("127.0.0.1:8080"): answers name addresses with it.
struct OnvifCall {
    const SoapRequest& soap;
    std::string hostAndPort;
    std::string path; // of the address that was asked
    std::string host() const;
};

using OnvifHandler = SoapAnswer (*)(OnvifContext&, const OnvifCall&);

struct OnvifOperation {
    OnvifHandler handler = nullptr;
    bool open = false; // may be called without credentials
};

using OperationTable = std::map<std::string, OnvifOperation, std::less<>>;

const OperationTable& deviceOperations();
const OperationTable& mediaOperations();
const OperationTable& searchOperations();
const OperationTable& recordingOperations();
const OperationTable& replayOperations();
const OperationTable& eventOperations();
const OperationTable& subscriptionOperations();
const OperationTable& deviceIoOperations();

class OnvifServices
{
public:
    OnvifServices(OnvifContext& context, const Faults& faults) : m_context(context), m_security(context.options, faults)
    {
    }

    /// Answers a request to any service; the operation's namespace decides which.
    SoapAnswer handle(const std::string& text, const std::string& tokenHeader, const std::string& hostAndPort,
                      const std::string& path);

private:
    OnvifContext& m_context;
    Security m_security;
};

} // namespace lumo::recorder
