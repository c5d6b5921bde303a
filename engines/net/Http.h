// One HTTP request at a time to a device, over a connection that is kept. Answers a digest challenge once.
// Thread: one at a time. Blocks up to the time-out, or until the cancel flag is up.
#pragma once

#include "Digest.h"

#include <atomic>
#include <memory>
#include <string>
#include <vector>

namespace lumo::net
{

struct HttpReply {
    int error = 0; // LUMONET_ERROR when there was no reply; an HTTP status above 400 is a reply
    int status = 0;
    std::string body;
    std::vector<std::string> challenges;
};

class HttpClient
{
public:
    HttpClient(int connectMs, int requestMs, std::shared_ptr<const std::atomic<bool>> cancel);
    ~HttpClient();
    HttpClient(const HttpClient&) = delete;
    HttpClient& operator=(const HttpClient&) = delete;

    void setCredentials(const std::string& user, const std::string& password) { m_auth.setCredentials(user, password); }
    HttpReply post(const std::string& url, const std::string& contentType, const std::string& body,
                   const std::vector<std::string>& headers);

    HttpReply get(const std::string& url, const std::vector<std::string>& headers);

    static constexpr size_t kMaxReply = 16u << 20; // bytes

private:
    struct Request {
        const char* method;
        const std::string& url;
        std::string body;
        std::vector<std::string> headers;
    };
    HttpReply ask(const Request& request);
    HttpReply once(const Request& request);

    void* m_curl;
    int m_connectMs, m_requestMs;
    std::shared_ptr<const std::atomic<bool>> m_cancel;
    Authenticator m_auth;
};

} // namespace lumo::net
