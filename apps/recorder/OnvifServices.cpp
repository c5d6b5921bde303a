#include "OnvifServices.h"

#include <glib.h>

namespace lumo::recorder
{
namespace
{

const OperationTable* tableFor(const std::string& space)
{
    return space == kDeviceSpace         ? &deviceOperations()
           : space == kMediaSpace        ? &mediaOperations()
           : space == kSearchSpace       ? &searchOperations()
           : space == kRecordingSpace    ? &recordingOperations()
           : space == kReplaySpace       ? &replayOperations()
           : space == kEventSpace        ? &eventOperations()
           : space == kSubscriptionSpace ? &subscriptionOperations()
           : space == kDeviceIoSpace     ? &deviceIoOperations()
                                         : nullptr;
}

} // namespace

int64_t OnvifContext::deviceTime() const
{
    return g_get_real_time() / G_USEC_PER_SEC + options.clockSkewSeconds;
}

std::string OnvifCall::host() const
{
    if (!hostAndPort.empty() && hostAndPort[0] == '[') {
        return hostAndPort.substr(0, hostAndPort.find(']') + 1);
    }
    return hostAndPort.substr(0, hostAndPort.find(':'));
}

SoapAnswer OnvifServices::handle(const std::string& text, const std::string& tokenHeader,
                                 const std::string& hostAndPort, const std::string& path)
{
    const auto soap = parseSoap(text);
    if (!soap) {
        return soapFault("Sender", "ter:WellFormed", "The request is not well-formed SOAP");
    }
    const OperationTable* table = tableFor(soap->space);
    const auto operation = table ? table->find(soap->name) : OperationTable::const_iterator();
    const bool known = table && operation != table->end();
    if (!(known && operation->second.open) && !m_security.allows(*soap, tokenHeader, m_context.deviceTime())) {
        return soapFault("Sender", "ter:NotAuthorized", "Sender not authorized");
    }
    if (!known) {
        return soapFault("Receiver", "ter:ActionNotSupported", "Operation " + soap->name + " is not implemented");
    }
    return operation->second.handler(m_context, {*soap, hostAndPort, path});
}

} // namespace lumo::recorder
