#include "Security.h"

#include "RtspAuth.h"

#include <glib.h>

#include <cstdlib>
#include <optional>

namespace lumo::recorder
{
namespace
{

std::string textOf(pugi::xml_node parent, const char* name)
{
    return childNamed(parent, name).text().get();
}

std::string fromBase64(const std::string& text)
{
    gsize size = 0;
    guchar* bytes = g_base64_decode(text.empty() ? "=" : text.c_str(), &size);
    std::string out(reinterpret_cast<char*>(bytes), size);
    g_free(bytes);
    return out;
}

std::optional<int64_t> unixTime(const std::string& iso)
{
    GTimeZone* utc = g_time_zone_new_utc();
    GDateTime* time = g_date_time_new_from_iso8601(iso.c_str(), utc);
    g_time_zone_unref(utc);
    if (!time) {
        return std::nullopt;
    }
    const int64_t seconds = g_date_time_to_unix(time);
    g_date_time_unref(time);
    return seconds;
}

} // namespace

std::string passwordDigest(const std::string& nonce, const std::string& created, const std::string& password)
{
    const std::string all = nonce + created + password;
    GChecksum* sum = g_checksum_new(G_CHECKSUM_SHA1);
    g_checksum_update(sum, reinterpret_cast<const guchar*>(all.data()), static_cast<gssize>(all.size()));
    guint8 digest[20];
    gsize size = sizeof(digest);
    g_checksum_get_digest(sum, digest, &size);
    g_checksum_free(sum);
    gchar* text = g_base64_encode(digest, size);
    std::string out = text;
    g_free(text);
    return out;
}

bool Security::allows(const SoapRequest& request, const std::string& tokenHeader, int64_t deviceNow)
{
    if (m_faults.refusesPassword()) {
        return false;
    }
    if (!tokenHeader.empty()) {
        return tokenHeader == kToken;
    }
    const auto token = childNamed(childNamed(request.header, "Security"), "UsernameToken");
    const std::string nonceText = textOf(token, "Nonce"), created = textOf(token, "Created");
    const auto made = unixTime(created);
    if (!token || !made || nonceText.empty() || textOf(token, "Username") != m_options.user ||
        textOf(token, "Password") != passwordDigest(fromBase64(nonceText), created, m_options.password)) {
        return false;
    }
    return fresh(nonceText + created, *made, deviceNow);
}

bool Security::fresh(const std::string& nonceAndTime, int64_t created, int64_t now)
{
    if (std::llabs(now - created) > kToleranceSeconds) {
        return false;
    }
    std::erase_if(m_used, [&](const auto& used) { return std::llabs(now - used.second) > kToleranceSeconds; });
    return m_used.emplace(nonceAndTime, created).second;
}

} // namespace lumo::recorder
