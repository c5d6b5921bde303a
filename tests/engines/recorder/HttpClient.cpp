#include "HttpClient.h"

#include <curl/curl.h>
#include <glib.h>

#include <ctime>
#include <memory>
#include <random>

// Written here once more on purpose: a client that shares the recorder's own digest could not find its mistakes.
namespace
{

size_t collect(char* data, size_t size, size_t count, void* to)
{
    static_cast<std::string*>(to)->append(data, size * count);
    return size * count;
}

HttpReply perform(const std::string& url, const std::string* body, const std::vector<std::string>& headers,
                  int timeoutMs)
{
    CURL* curl = curl_easy_init();
    HttpReply reply;
    curl_slist* list = nullptr;
    for (const auto& header : headers) {
        list = curl_slist_append(list, header.c_str());
    }
    curl_easy_setopt(curl, CURLOPT_URL, url.c_str());
    curl_easy_setopt(curl, CURLOPT_PATH_AS_IS, 1L);
    curl_easy_setopt(curl, CURLOPT_NOPROXY, "*");
    curl_easy_setopt(curl, CURLOPT_NOSIGNAL, 1L);
    curl_easy_setopt(curl, CURLOPT_TIMEOUT_MS, static_cast<long>(timeoutMs));
    curl_easy_setopt(curl, CURLOPT_HTTPHEADER, list);
    curl_easy_setopt(curl, CURLOPT_WRITEFUNCTION, collect);
    curl_easy_setopt(curl, CURLOPT_WRITEDATA, &reply.body);
    curl_easy_setopt(curl, CURLOPT_HEADERFUNCTION, collect);
    curl_easy_setopt(curl, CURLOPT_HEADERDATA, &reply.headers);
    if (body) {
        curl_easy_setopt(curl, CURLOPT_POSTFIELDS, body->c_str());
        curl_easy_setopt(curl, CURLOPT_POSTFIELDSIZE, static_cast<long>(body->size()));
    }
    if (curl_easy_perform(curl) == CURLE_OK) {
        long status = 0;
        curl_easy_getinfo(curl, CURLINFO_RESPONSE_CODE, &status);
        reply.status = static_cast<int>(status);
        const char* type = nullptr;
        curl_easy_getinfo(curl, CURLINFO_CONTENT_TYPE, &type);
        reply.type = type ? type : "";
    }
    curl_slist_free_all(list);
    curl_easy_cleanup(curl);
    return reply;
}

std::string base64(const std::string& bytes)
{
    gchar* text = g_base64_encode(reinterpret_cast<const guchar*>(bytes.data()), bytes.size());
    std::string out = text;
    g_free(text);
    return out;
}

std::string sha1(const std::string& bytes)
{
    gchar* hex =
        g_compute_checksum_for_data(G_CHECKSUM_SHA1, reinterpret_cast<const guchar*>(bytes.data()), bytes.size());
    std::string out;
    for (int i = 0; i < 20; ++i) {
        out += static_cast<char>(std::stoi(std::string(hex + 2 * i, 2), nullptr, 16));
    }
    g_free(hex);
    return out;
}

std::string randomNonce()
{
    std::random_device random;
    std::string nonce;
    for (int i = 0; i < 16; ++i) {
        nonce += static_cast<char>(random());
    }
    return nonce;
}

std::string securityHeader(const Login& login)
{
    const std::string nonce = login.nonce.empty() ? randomNonce() : login.nonce;
    const std::string created = login.created.empty() ? isoTime(std::time(nullptr)) : login.created;
    return "<s:Header><w:Security s:mustUnderstand=\"1\""
           " xmlns:w=\"http://docs.oasis-open.org/wss/2004/01/oasis-200401-wss-wssecurity-secext-1.0.xsd\""
           " xmlns:u=\"http://docs.oasis-open.org/wss/2004/01/oasis-200401-wss-wssecurity-utility-1.0.xsd\">"
           "<w:UsernameToken><w:Username>" +
           login.user +
           "</w:Username><w:Password Type=\"http://docs.oasis-open.org/wss/2004/01/"
           "oasis-200401-wss-username-token-profile-1.0#PasswordDigest\">" +
           base64(sha1(nonce + created + login.password)) + "</w:Password><w:Nonce>" + base64(nonce) +
           "</w:Nonce><u:Created>" + created + "</u:Created></w:UsernameToken></w:Security></s:Header>";
}

} // namespace

Json::Value HttpReply::json() const
{
    Json::Value value;
    std::string errors;
    const std::unique_ptr<Json::CharReader> reader(Json::CharReaderBuilder().newCharReader());
    reader->parse(body.data(), body.data() + body.size(), &value, &errors);
    return value;
}

HttpReply httpGet(const std::string& url, int timeoutMs, const std::vector<std::string>& headers)
{
    return perform(url, nullptr, headers, timeoutMs);
}

HttpReply httpPost(const std::string& url, const std::string& body, const std::vector<std::string>& headers,
                   int timeoutMs)
{
    return perform(url, &body, headers, timeoutMs);
}

std::string isoTime(int64_t unixSeconds)
{
    const std::time_t seconds = unixSeconds;
    std::tm utc{};
    gmtime_r(&seconds, &utc);
    char text[32];
    std::strftime(text, sizeof(text), "%Y-%m-%dT%H:%M:%SZ", &utc);
    return text;
}

std::string soapEnvelope(const std::string& body, const Login* login)
{
    return "<s:Envelope xmlns:s=\"http://www.w3.org/2003/05/soap-envelope\">" + (login ? securityHeader(*login) : "") +
           "<s:Body>" + body + "</s:Body></s:Envelope>";
}

HttpReply soapCall(const std::string& url, const std::string& body, const Login* login,
                   const std::vector<std::string>& headers, int timeoutMs)
{
    std::vector<std::string> all = {"Content-Type: application/soap+xml; charset=utf-8"};
    all.insert(all.end(), headers.begin(), headers.end());
    return httpPost(url, soapEnvelope(body, login), all, timeoutMs);
}

std::string mediaCall(const std::string& operation, const std::string& inner)
{
    return "<m:" + operation + " xmlns:m=\"http://www.onvif.org/ver10/media/wsdl\">" + inner + "</m:" + operation + ">";
}

std::string deviceCall(const std::string& operation, const std::string& inner)
{
    return "<d:" + operation + " xmlns:d=\"http://www.onvif.org/ver10/device/wsdl\">" + inner + "</d:" + operation +
           ">";
}
