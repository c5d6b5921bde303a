// What a test says to the recorder over HTTP, through libcurl.
#pragma once

#include <json/json.h>

#include <string>
#include <vector>

struct HttpReply {
    int status = 0; // 0: no answer in time, or none at all
    std::string body;
    std::string type;
    std::string headers; // as they came
    Json::Value json() const;
};

HttpReply httpGet(const std::string& url, int timeoutMs = 10000, const std::vector<std::string>& headers = {});
HttpReply httpPost(const std::string& url, const std::string& body, const std::vector<std::string>& headers = {},
                   int timeoutMs = 10000);

/// What goes into a WS-UsernameToken; the digest is made of it.
struct Login {
    std::string user = "admin";
    std::string password = "lumo";
    std::string nonce;   // raw; empty: a new one
    std::string created; // empty: now
};

std::string isoTime(int64_t unixSeconds);
std::string soapEnvelope(const std::string& body, const Login* login = nullptr);
/// body: the operation's element with its namespace.
HttpReply soapCall(const std::string& serviceUrl, const std::string& body, const Login* login = nullptr,
                   const std::vector<std::string>& headers = {}, int timeoutMs = 10000);

inline const std::string kDeviceInformation =
    "<GetDeviceInformation xmlns=\"http://www.onvif.org/ver10/device/wsdl\"/>";
/// <Operation xmlns="..media..">inner</Operation>
std::string mediaCall(const std::string& operation, const std::string& inner = "");
std::string deviceCall(const std::string& operation, const std::string& inner = "");
