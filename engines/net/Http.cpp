#include "Http.h"

#include "Text.h"

#include "device/LumoNet.h"

#include <curl/curl.h>

#include <algorithm>
#include <chrono>
#include <cstdio>

namespace lumo::net
{
namespace
{

constexpr int kLookMs = 20;       // how soon a raised cancel flag is seen
constexpr long kContinueMs = 500; // for a device to say that it wants to have a large body
constexpr int kCanceled = -1;     // of perform(), beside CURLcode

struct ReplyRoom {
    HttpReply* reply;
    size_t max;
};

size_t onBody(char* data, size_t size, size_t count, void* user)
{
    const auto& room = *static_cast<ReplyRoom*>(user);
    if (room.reply->body.size() + size * count > room.max)
        return 0;
    room.reply->body.append(data, size * count);
    return size * count;
}

size_t onRead(char* to, size_t size, size_t count, void* user)
{
    const long got = static_cast<const HttpUpload*>(user)->read(to, size * count);
    return got < 0 ? CURL_READFUNC_ABORT : size_t(got);
}

int onSeek(void* user, curl_off_t offset, int origin)
{
    const bool done = offset == 0 && origin == SEEK_SET && static_cast<const HttpUpload*>(user)->rewind();
    return done ? CURL_SEEKFUNC_OK : CURL_SEEKFUNC_FAIL;
}

size_t onHeader(char* data, size_t size, size_t count, void* user)
{
    std::string_view line(data, size * count);
    const std::string_view key = trim(takeUntil(line, ':'));
    if (sameText(key, "WWW-Authenticate"))
        static_cast<HttpReply*>(user)->challenges.emplace_back(trim(line));
    return size * count;
}

int errorOfCurl(int code)
{
    switch (code) {
    case CURLE_ABORTED_BY_CALLBACK: // what is sent cannot be read
        return LUMONET_ERR_ARGUMENT;
    case CURLE_OK:
        return 0;
    case CURLE_WEIRD_SERVER_REPLY:
    case CURLE_WRITE_ERROR: // the reply was larger than any sound one
    case CURLE_URL_MALFORMAT:
    case CURLE_UNSUPPORTED_PROTOCOL:
    case CURLE_HTTP2:
        return LUMONET_ERR_REFUSED;
    default:
        return LUMONET_ERR_TIMEOUT;
    }
}

} // namespace

HttpClient::HttpClient(int connectMs, int requestMs, std::shared_ptr<const std::atomic<bool>> cancel)
    : m_curl(curl_easy_init()), m_multi(curl_multi_init()), m_connectMs(connectMs), m_requestMs(requestMs),
      m_cancel(std::move(cancel))
{
}

HttpClient::~HttpClient()
{
    curl_easy_cleanup(m_curl);
    curl_multi_cleanup(m_multi);
}

HttpReply HttpClient::post(const std::string& url, const std::string& contentType, const std::string& body,
                           const std::vector<std::string>& headers)
{
    Request request{"POST", url, body, headers};
    request.headers.push_back("Content-Type: " + contentType);
    request.headers.push_back("Expect:");
    return ask(request, m_requestMs);
}

HttpReply HttpClient::get(const std::string& url, const std::vector<std::string>& headers)
{
    return ask({"GET", url, {}, headers}, m_requestMs);
}

HttpReply HttpClient::upload(const std::string& url, const HttpUpload& upload, const std::vector<std::string>& headers)
{
    Request request{"POST", url, {}, headers, &upload};
    request.headers.push_back("Content-Type: " + upload.contentType);
    // A device that wants credentials says so before it is sent megabytes in vain.
    request.headers.push_back("Expect: 100-continue");
    return ask(request, upload.limitMs);
}

/// The limit is for both attempts together; 0: none.
HttpReply HttpClient::ask(const Request& request, int limitMs)
{
    using namespace std::chrono;
    const bool answered = m_auth.active();
    const auto begin = steady_clock::now();
    const auto spentMs = [&] { return int(duration_cast<milliseconds>(steady_clock::now() - begin).count()); };
    HttpReply reply = once(request, limitMs);
    if (reply.error == 0 && reply.status == 401) {
        const Challenge offered = bestChallenge(reply.challenges);
        const bool stale = offered.stale && offered.nonce != m_auth.challenge().nonce;
        if ((!answered || stale) && offered.scheme == Challenge::Scheme::Digest &&
            m_auth.setChallenge(reply.challenges) && (!request.upload || request.upload->rewind()))
            reply = once(request, limitMs > 0 ? std::max(limitMs - spentMs(), 1) : 0);
    }
    return reply;
}

HttpReply HttpClient::once(const Request& request, int limitMs)
{
    HttpReply reply;
    CURL* curl = m_curl;
    curl_easy_reset(curl);
    curl_slist* list = nullptr;
    for (const auto& h : request.headers)
        list = curl_slist_append(list, h.c_str());
    if (m_auth.active()) {
        const size_t host = request.url.find("://");
        const size_t path = request.url.find('/', host == std::string::npos ? 0 : host + 3);
        const std::string uri = path == std::string::npos ? "/" : request.url.substr(path);
        list = curl_slist_append(list, ("Authorization: " + m_auth.authorization(request.method, uri)).c_str());
    }
    curl_easy_setopt(curl, CURLOPT_URL, request.url.c_str());
    curl_easy_setopt(curl, CURLOPT_PROTOCOLS_STR, "http,https");
    curl_easy_setopt(curl, CURLOPT_NOPROXY, "*"); // a device is never behind the browser's proxy
    curl_easy_setopt(curl, CURLOPT_NOSIGNAL, 1L);
    curl_easy_setopt(curl, CURLOPT_HTTPHEADER, list);
    if (request.upload) {
        prepareUpload(*request.upload);
    } else if (std::string_view(request.method) == "POST") {
        curl_easy_setopt(curl, CURLOPT_POSTFIELDS, request.body.c_str());
        curl_easy_setopt(curl, CURLOPT_POSTFIELDSIZE, long(request.body.size()));
    }
    curl_easy_setopt(curl, CURLOPT_CONNECTTIMEOUT_MS, long(m_connectMs));
    curl_easy_setopt(curl, CURLOPT_TIMEOUT_MS, long(limitMs));
    // Devices come with certificates that nobody signed; their users know them by address.
    curl_easy_setopt(curl, CURLOPT_SSL_VERIFYPEER, 0L);
    curl_easy_setopt(curl, CURLOPT_SSL_VERIFYHOST, 0L);
    curl_easy_setopt(curl, CURLOPT_WRITEFUNCTION, onBody);
    ReplyRoom room{&reply, m_maxReply};
    curl_easy_setopt(curl, CURLOPT_WRITEDATA, &room);
    curl_easy_setopt(curl, CURLOPT_HEADERFUNCTION, onHeader);
    curl_easy_setopt(curl, CURLOPT_HEADERDATA, &reply);
    reply.error = errorOfCurl(perform(request.upload));
    long status = 0;
    curl_easy_getinfo(curl, CURLINFO_RESPONSE_CODE, &status);
    reply.status = int(status);
    curl_slist_free_all(list);
    return reply;
}

void HttpClient::prepareUpload(const HttpUpload& upload)
{
    CURL* curl = m_curl;
    auto* user = const_cast<HttpUpload*>(&upload);
    curl_easy_setopt(curl, CURLOPT_POST, 1L);
    curl_easy_setopt(curl, CURLOPT_POSTFIELDSIZE_LARGE, curl_off_t(upload.size));
    curl_easy_setopt(curl, CURLOPT_READFUNCTION, onRead);
    curl_easy_setopt(curl, CURLOPT_READDATA, user);
    curl_easy_setopt(curl, CURLOPT_SEEKFUNCTION, onSeek);
    curl_easy_setopt(curl, CURLOPT_SEEKDATA, user);
    curl_easy_setopt(curl, CURLOPT_EXPECT_100_TIMEOUT_MS, kContinueMs);
}

/// CURLcode, or kCanceled. Not curl_easy_perform: that looks at nothing else for up to a second.
int HttpClient::perform(const HttpUpload* upload)
{
    using Clock = std::chrono::steady_clock;
    curl_multi_add_handle(m_multi, m_curl);
    int code = kCanceled, running = 1;
    int64_t sent = 0;
    auto moved = Clock::now();
    while (!m_cancel->load()) {
        curl_multi_perform(m_multi, &running);
        if (running == 0) {
            int left = 0;
            if (const CURLMsg* message = curl_multi_info_read(m_multi, &left))
                code = message->data.result;
            break;
        }
        if (upload) {
            curl_off_t now = 0;
            curl_easy_getinfo(static_cast<CURL*>(m_curl), CURLINFO_SIZE_UPLOAD_T, &now);
            if (now != sent) {
                sent = now;
                moved = Clock::now();
                if (upload->progress)
                    upload->progress(sent);
            }
            const int patience = sent >= upload->size ? upload->answerMs : upload->stallMs;
            if (Clock::now() - moved > std::chrono::milliseconds(patience)) {
                code = CURLE_OPERATION_TIMEDOUT;
                break;
            }
        }
        curl_multi_poll(m_multi, nullptr, 0, kLookMs, nullptr);
    }
    curl_multi_remove_handle(m_multi, m_curl);
    return code;
}

} // namespace lumo::net
