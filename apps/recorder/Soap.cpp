#include "Soap.h"

namespace lumo::recorder
{
namespace
{

constexpr const char* kEnvelope =
    R"(<?xml version="1.0" encoding="UTF-8"?>)"
    R"(<s:Envelope xmlns:s="http://www.w3.org/2003/05/soap-envelope")"
    R"( xmlns:tds="http://www.onvif.org/ver10/device/wsdl" xmlns:trt="http://www.onvif.org/ver10/media/wsdl")"
    R"( xmlns:tse="http://www.onvif.org/ver10/search/wsdl" xmlns:trc="http://www.onvif.org/ver10/recording/wsdl")"
    R"( xmlns:trp="http://www.onvif.org/ver10/replay/wsdl" xmlns:tev="http://www.onvif.org/ver10/events/wsdl")"
    R"( xmlns:tmd="http://www.onvif.org/ver10/deviceIO/wsdl" xmlns:wsnt="http://docs.oasis-open.org/wsn/b-2")"
    R"( xmlns:wstop="http://docs.oasis-open.org/wsn/t-1" xmlns:wsa="http://www.w3.org/2005/08/addressing")"
    R"( xmlns:wsrf-rw="http://docs.oasis-open.org/wsrf/rw-2" xmlns:xs="http://www.w3.org/2001/XMLSchema")"
    R"( xmlns:tns1="http://www.onvif.org/ver10/topics" xmlns:lumo="urn:lumo:topics:1")"
    R"( xmlns:tt="http://www.onvif.org/ver10/schema" xmlns:ter="http://www.onvif.org/ver10/error"><s:Body>)";

// The namespace that a node's prefix stands for, looked up through its ancestors.
std::string spaceOf(pugi::xml_node node)
{
    const std::string name = node.name();
    const auto colon = name.find(':');
    const std::string attribute = colon == std::string::npos ? "xmlns" : "xmlns:" + name.substr(0, colon);
    for (pugi::xml_node at = node; at; at = at.parent()) {
        if (const auto value = at.attribute(attribute.c_str())) {
            return value.value();
        }
    }
    return "";
}

} // namespace

std::string localName(pugi::xml_node node)
{
    const std::string_view name = node.name();
    const auto colon = name.find(':');
    return std::string(colon == std::string_view::npos ? name : name.substr(colon + 1));
}

pugi::xml_node childNamed(pugi::xml_node parent, std::string_view name)
{
    for (const pugi::xml_node child : parent.children()) {
        if (child.type() == pugi::node_element && localName(child) == name) {
            return child;
        }
    }
    return {};
}

std::optional<SoapRequest> parseSoap(std::string_view text)
{
    SoapRequest request;
    request.document = std::make_shared<pugi::xml_document>();
    if (!request.document->load_buffer(text.data(), text.size())) {
        return std::nullopt;
    }
    const pugi::xml_node envelope = request.document->document_element();
    const pugi::xml_node body = childNamed(envelope, "Body");
    if (localName(envelope) != "Envelope" || !body) {
        return std::nullopt;
    }
    for (const pugi::xml_node child : body.children()) {
        if (child.type() == pugi::node_element) {
            request.action = child;
            break;
        }
    }
    if (!request.action) {
        return std::nullopt;
    }
    request.header = childNamed(envelope, "Header");
    request.name = localName(request.action);
    request.space = spaceOf(request.action);
    return request;
}

SoapAnswer soapAnswer(const std::string& content)
{
    return {200, kEnvelope + content + "</s:Body></s:Envelope>", {}};
}

SoapAnswer soapFault(const std::string& code, const std::string& subcode, const std::string& reason)
{
    SoapAnswer answer = soapAnswer("<s:Fault><s:Code><s:Value>s:" + code + "</s:Value><s:Subcode><s:Value>" + subcode +
                                   "</s:Value></s:Subcode></s:Code><s:Reason><s:Text xml:lang=\"en\">" +
                                   xmlEscape(reason) + "</s:Text></s:Reason></s:Fault>");
    answer.httpStatus = code == "Sender" ? 400 : 500;
    return answer;
}

std::string xmlEscape(std::string_view text)
{
    std::string out;
    for (const char c : text) {
        switch (c) {
        case '&':
            out += "&amp;";
            break;
        case '<':
            out += "&lt;";
            break;
        case '>':
            out += "&gt;";
            break;
        case '"':
            out += "&quot;";
            break;
        default:
            out += c;
        }
    }
    return out;
}

} // namespace lumo::recorder
