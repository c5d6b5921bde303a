#include "Http.h"

#include "Text.h"

#include "device/LumoNet.h"

#include <curl/curl.h>

namespace lumo::net
{
namespace
{

size_t onBody(char* data, size_t size, size_t count, void* user)
{
    auto& reply = *static_cast<HttpReply*>(user);
    if (reply.body.size() + size * count > HttpClient::kMaxReply)
        return 0;
    reply.body.append(data, size * count);
    return size * count;
}

size_t onHeader(char* data, size_t size, size_t count, void* user)
{
    std::string_view line(data, size * count);
    const std::string_view key = trim(takeUntil(line, ':'));
    if (sameText(key, "WWW-Authenticate"))
        static_cast<HttpReply*>(user)->challenges.emplace_back(trim(line));
    return size * count;
}

int onProgress(void* user, curl_off_t, curl_off_t, curl_off_t, curl_off_t)
{
    return static_cast<const std::atomic<bool>*>(user)->load() ? 1 : 0;
}

int errorOfCurl(CURLcode code)
{
    switch (code) {
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
    : m_curl(curl_easy_init()), m_connectMs(connectMs), m_requestMs(requestMs), m_cancel(std::move(cancel))
{
}

HttpClient::~HttpClient()
{
    curl_easy_cleanup(m_curl);
}

HttpReply HttpClient::post(const std::string& url, const std::string& contentType, const std::string& body,
                           const std::vector<std::string>& headers)
{
    Request request{"POST", url, body, headers};
    request.headers.push_back("Content-Type: " + contentType);
    request.headers.push_back("Expect:");
    return ask(request);
}

HttpReply HttpClient::get(const std::string& url, const std::vector<std::string>& headers)
{
    return ask({"GET", url, {}, headers});
}

HttpReply HttpClient::ask(const Request& request)
{
    const bool answered = m_auth.active();
    HttpReply reply = once(request);
    if (reply.error == 0 && reply.status == 401) {
        const Challenge offered = bestChallenge(reply.challenges);
        const bool stale = offered.stale && offered.nonce != m_auth.challenge().nonce;
        if ((!answered || stale) && offered.scheme == Challenge::Scheme::Digest &&
            m_auth.setChallenge(reply.challenges))
            reply = once(request);
    }
    return reply;
}

HttpReply HttpClient::once(const Request& request)
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
    if (std::string_view(request.method) == "POST") {
        curl_easy_setopt(curl, CURLOPT_POSTFIELDS, request.body.c_str());
        curl_easy_setopt(curl, CURLOPT_POSTFIELDSIZE, long(request.body.size()));
    }
    curl_easy_setopt(curl, CURLOPT_CONNECTTIMEOUT_MS, long(m_connectMs));
    curl_easy_setopt(curl, CURLOPT_TIMEOUT_MS, long(m_requestMs));
    // Devices come with certificates that nobody signed; their users know them by address.
    curl_easy_setopt(curl, CURLOPT_SSL_VERIFYPEER, 0L);
    curl_easy_setopt(curl, CURLOPT_SSL_VERIFYHOST, 0L);
    curl_easy_setopt(curl, CURLOPT_WRITEFUNCTION, onBody);
    curl_easy_setopt(curl, CURLOPT_WRITEDATA, &reply);
    curl_easy_setopt(curl, CURLOPT_HEADERFUNCTION, onHeader);
    curl_easy_setopt(curl, CURLOPT_HEADERDATA, &reply);
    curl_easy_setopt(curl, CURLOPT_NOPROGRESS, 0L);
    curl_easy_setopt(curl, CURLOPT_XFERINFOFUNCTION, onProgress);
    curl_easy_setopt(curl, CURLOPT_XFERINFODATA, m_cancel.get());
    reply.error = errorOfCurl(curl_easy_perform(curl));
    long status = 0;
    curl_easy_getinfo(curl, CURLINFO_RESPONSE_CODE, &status);
    reply.status = int(status);
    curl_slist_free_all(list);
    return reply;
}

} // namespace lumo::net
