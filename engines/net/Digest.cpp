#include "Digest.h"

#include "Text.h"

#include <cstdio>
#include <openssl/evp.h>
#include <openssl/rand.h>

namespace lumo::net
{
namespace
{

const EVP_MD* method(Hash hash)
{
    switch (hash) {
    case Hash::Md5:
        return EVP_md5();
    case Hash::Sha1:
        return EVP_sha1();
    case Hash::Sha256:
        break;
    }
    return EVP_sha256();
}

/// The next key=value of a challenge; quoted values may hold commas and escaped characters.
bool nextParameter(std::string_view& s, std::string& key, std::string& value)
{
    while (!s.empty() && (s.front() == ',' || std::isspace(uint8_t(s.front()))))
        s.remove_prefix(1);
    const size_t equals = s.find('=');
    if (equals == std::string_view::npos)
        return false;
    key = lower(trim(s.substr(0, equals)));
    s.remove_prefix(equals + 1);
    value.clear();
    while (!s.empty() && std::isspace(uint8_t(s.front())))
        s.remove_prefix(1);
    if (s.empty() || s.front() != '"') {
        value = trim(takeUntil(s, ','));
        return true;
    }
    s.remove_prefix(1);
    while (!s.empty() && s.front() != '"') {
        if (s.front() == '\\' && s.size() > 1)
            s.remove_prefix(1);
        value += s.front();
        s.remove_prefix(1);
    }
    if (!s.empty())
        s.remove_prefix(1);
    return true;
}

bool takeAlgorithm(Challenge& c, std::string_view name)
{
    std::string text = lower(name);
    if (text.size() > 5 && text.ends_with("-sess")) {
        c.session = true;
        text.resize(text.size() - 5);
    }
    c.hasAlgorithm = true;
    c.hash = text == "sha-256" ? Hash::Sha256 : Hash::Md5;
    return text == "md5" || text == "sha-256";
}

Challenge parseChallenge(std::string_view text)
{
    text = trim(text);
    const size_t space = text.find(' ');
    const std::string_view scheme = text.substr(0, space);
    Challenge c;
    if (sameText(scheme, "Basic")) {
        c.scheme = Challenge::Scheme::Basic;
        return c;
    }
    if (!sameText(scheme, "Digest") || space == std::string_view::npos)
        return c;
    std::string_view rest = text.substr(space + 1);
    std::string key, value;
    bool known = true;
    while (nextParameter(rest, key, value)) {
        if (key == "realm")
            c.realm = value;
        else if (key == "nonce")
            c.nonce = value;
        else if (key == "opaque")
            c.opaque = value;
        else if (key == "stale")
            c.stale = sameText(value, "true");
        else if (key == "algorithm")
            known = takeAlgorithm(c, value);
        else if (key == "qop")
            for (const auto option : split(value, ','))
                c.qopAuth = c.qopAuth || sameText(trim(option), "auth");
    }
    if (known && !c.nonce.empty())
        c.scheme = Challenge::Scheme::Digest;
    return c;
}

int rank(const Challenge& c)
{
    if (c.scheme == Challenge::Scheme::None)
        return 0;
    if (c.scheme == Challenge::Scheme::Basic)
        return 1;
    return c.hash == Hash::Sha256 ? 3 : 2;
}

std::string quoted(std::string_view s)
{
    std::string out = "\"";
    for (const char c : s) {
        if (c == '"' || c == '\\')
            out += '\\';
        if (c != '\r' && c != '\n')
            out += c;
    }
    return out + '"';
}

} // namespace

std::string hashBytes(Hash hash, std::string_view data)
{
    unsigned char out[EVP_MAX_MD_SIZE];
    unsigned size = 0;
    if (EVP_Digest(data.data(), data.size(), out, &size, method(hash), nullptr) != 1)
        return {};
    return std::string(reinterpret_cast<char*>(out), size);
}

std::string toHex(std::string_view data)
{
    static const char digits[] = "0123456789abcdef";
    std::string out;
    for (const char c : data) {
        out += digits[uint8_t(c) >> 4];
        out += digits[uint8_t(c) & 15];
    }
    return out;
}

std::string hashHex(Hash hash, std::string_view data)
{
    return toHex(hashBytes(hash, data));
}

std::string base64(std::string_view data)
{
    std::string out(4 * ((data.size() + 2) / 3) + 1, '\0');
    const int n = EVP_EncodeBlock(reinterpret_cast<unsigned char*>(out.data()),
                                  reinterpret_cast<const unsigned char*>(data.data()), int(data.size()));
    out.resize(size_t(n));
    return out;
}

std::vector<uint8_t> fromBase64(std::string_view text)
{
    std::vector<uint8_t> out;
    uint32_t bits = 0;
    int count = 0;
    for (const char ch : text) {
        int v;
        if (ch >= 'A' && ch <= 'Z')
            v = ch - 'A';
        else if (ch >= 'a' && ch <= 'z')
            v = ch - 'a' + 26;
        else if (ch >= '0' && ch <= '9')
            v = ch - '0' + 52;
        else if (ch == '+' || ch == '/')
            v = ch == '+' ? 62 : 63;
        else
            break;
        bits = (bits << 6) | uint32_t(v);
        count += 6;
        if (count >= 8) {
            count -= 8;
            out.push_back(uint8_t(bits >> count));
        }
    }
    return out;
}

std::string randomBytes(size_t count)
{
    std::string out(count, '\0');
    RAND_bytes(reinterpret_cast<unsigned char*>(out.data()), int(count));
    return out;
}

Challenge bestChallenge(const std::vector<std::string>& headerValues)
{
    Challenge best;
    for (const auto& value : headerValues) {
        const Challenge c = parseChallenge(value);
        if (rank(c) > rank(best))
            best = c;
    }
    return best;
}

std::string digestResponse(const Challenge& c, std::string_view user, std::string_view password,
                           std::string_view method, std::string_view uri, std::string_view cnonce, uint32_t nc)
{
    char count[9];
    std::snprintf(count, sizeof count, "%08x", nc);
    std::string a1 = hashHex(c.hash, std::string(user) + ":" + c.realm + ":" + std::string(password));
    if (c.session)
        a1 = hashHex(c.hash, a1 + ":" + c.nonce + ":" + std::string(cnonce));
    const std::string a2 = hashHex(c.hash, std::string(method) + ":" + std::string(uri));
    if (!c.qopAuth)
        return hashHex(c.hash, a1 + ":" + c.nonce + ":" + a2);
    return hashHex(c.hash, a1 + ":" + c.nonce + ":" + count + ":" + std::string(cnonce) + ":auth:" + a2);
}

void Authenticator::setCredentials(std::string user, std::string password)
{
    m_user = std::move(user);
    m_password = std::move(password);
}

bool Authenticator::setChallenge(const std::vector<std::string>& headerValues)
{
    const Challenge c = bestChallenge(headerValues);
    if (c.scheme == Challenge::Scheme::None || !hasCredentials())
        return false;
    m_challenge = c;
    m_count = 0;
    return true;
}

std::string Authenticator::authorization(std::string_view method, std::string_view uri)
{
    const Challenge& c = m_challenge;
    if (c.scheme == Challenge::Scheme::None)
        return {};
    if (c.scheme == Challenge::Scheme::Basic)
        return "Basic " + base64(m_user + ":" + m_password);
    const std::string cnonce = c.qopAuth || c.session ? toHex(randomBytes(8)) : std::string();
    ++m_count;
    std::string out = "Digest username=" + quoted(m_user) + ", realm=" + quoted(c.realm) +
                      ", nonce=" + quoted(c.nonce) + ", uri=" + quoted(uri) + ", response=\"" +
                      digestResponse(c, m_user, m_password, method, uri, cnonce, m_count) + '"';
    if (c.hasAlgorithm)
        out += std::string(", algorithm=") + (c.hash == Hash::Sha256 ? "SHA-256" : "MD5") + (c.session ? "-sess" : "");
    if (!c.opaque.empty())
        out += ", opaque=" + quoted(c.opaque);
    if (!cnonce.empty())
        out += ", cnonce=\"" + cnonce + '"';
    if (c.qopAuth) {
        char count[9];
        std::snprintf(count, sizeof count, "%08x", m_count);
        out += std::string(", qop=auth, nc=") + count;
    }
    return out;
}

} // namespace lumo::net
