// One HTTP request at a time to a device, over a connection that is kept. Answers a digest challenge once.
// Thread: one at a time. Blocks up to the time-out, or until the cancel flag is up.
#pragma once

#include "Digest.h"

#include <atomic>
#include <functional>
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

/// Something large to be sent, read piece by piece.
struct HttpUpload {
    std::string contentType = "application/octet-stream";
    int64_t size = 0;                                     // bytes
    std::function<long(char* to, size_t room)> read;      // bytes; below 0: it cannot be read any more
    std::function<bool()> rewind;                         // to its beginning, for a second attempt
    std::function<void(int64_t sent)> progress = nullptr; // bytes that left
    int stallMs = 0;                                      // without a byte taken by the device
    int answerMs = 0;                                     // from the last byte to the answer
    int limitMs = 0;                                      // for the whole; 0: none
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
    /// POST without the client's time-out: it ends when the device stops taking it, or does not answer.
    HttpReply upload(const std::string& url, const HttpUpload& upload, const std::vector<std::string>& headers);

    static constexpr size_t kMaxReply = 16u << 20; // bytes
    /// How long a request may take from now on.
    void setRequestMs(int ms) { m_requestMs = ms; }
    /// What may be answered from now on; more is refused as soon as it is seen.
    void setMaxReply(size_t bytes) { m_maxReply = bytes; }

private:
    struct Request {
        const char* method;
        const std::string& url;
        std::string body;
        std::vector<std::string> headers;
        const HttpUpload* upload = nullptr;
    };
    HttpReply ask(const Request& request, int limitMs);
    HttpReply once(const Request& request, int limitMs);
    void prepareUpload(const HttpUpload& upload);
    int perform(const HttpUpload* upload);

    void *m_curl, *m_multi;
    int m_connectMs, m_requestMs;
    size_t m_maxReply = kMaxReply;
    std::shared_ptr<const std::atomic<bool>> m_cancel;
    Authenticator m_auth;
};

} // namespace lumo::net
