// Hashes, base64 and the HTTP authentication schemes (RFC 7617 Basic, RFC 7616 Digest with MD5 or SHA-256) as RTSP and
// ONVIF devices ask for them.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace lumo::net
{

enum class Hash { Md5, Sha1, Sha256 };

std::string hashBytes(Hash hash, std::string_view data); // raw bytes
std::string hashHex(Hash hash, std::string_view data);   // lower case
std::string base64(std::string_view data);
std::vector<uint8_t> fromBase64(std::string_view text); // stops at the first character that does not belong
std::string randomBytes(size_t count);
std::string toHex(std::string_view data);

struct Challenge {
    enum class Scheme { None, Basic, Digest } scheme = Scheme::None;
    Hash hash = Hash::Md5;
    bool session = false; // an algorithm with "-sess"
    bool qopAuth = false;
    bool hasAlgorithm = false;
    bool stale = false;
    std::string realm, nonce, opaque;
};

/// The best of what a reply's WWW-Authenticate header lines offer; Scheme::None when nothing here is understood.
Challenge bestChallenge(const std::vector<std::string>& headerValues);

/// The response text of RFC 7616; cnonce and nc are used only with qop.
std::string digestResponse(const Challenge& challenge, std::string_view user, std::string_view password,
                           std::string_view method, std::string_view uri, std::string_view cnonce, uint32_t nc);

/// Answers one server's challenges. Thread: one at a time.
class Authenticator
{
public:
    void setCredentials(std::string user, std::string password);
    bool hasCredentials() const { return !m_user.empty(); }
    /// Takes a 401's header lines. False when there is no answer to give: nothing understood, or nobody to be.
    bool setChallenge(const std::vector<std::string>& headerValues);
    bool active() const { return m_challenge.scheme != Challenge::Scheme::None; }
    const Challenge& challenge() const { return m_challenge; }
    /// The value of the Authorization header; empty when no challenge was set.
    std::string authorization(std::string_view method, std::string_view uri);

private:
    std::string m_user, m_password;
    Challenge m_challenge;
    uint32_t m_count = 0;
};

} // namespace lumo::net
