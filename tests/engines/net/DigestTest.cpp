#include "Digest.h"
#include "Onvif.h"

#include <gtest/gtest.h>

using namespace lumo::net;

namespace
{

Challenge rfc7616(Hash hash)
{
    Challenge c;
    c.scheme = Challenge::Scheme::Digest;
    c.hash = hash;
    c.qopAuth = true;
    c.realm = "http-auth@example.org";
    c.nonce = "7ypf/xlj9XXwfDPEoM4URrv/xwf94BcCAzFZH4GiTo0v";
    return c;
}

constexpr const char* kCnonce = "f2/wE4q74E6zIJEtWaHKaf5wv/H5QzzpXusqGemxURZJ";

std::string part(const std::string& header, const std::string& key)
{
    const size_t at = header.find(key + "=\"");
    return at == std::string::npos
               ? ""
               : header.substr(at + key.size() + 2, header.find('"', at + key.size() + 2) - at - key.size() - 2);
}

} // namespace

TEST(Digest, Rfc7616ExampleWithMd5)
{
    EXPECT_EQ(digestResponse(rfc7616(Hash::Md5), "Mufasa", "Circle of Life", "GET", "/dir/index.html", kCnonce, 1),
              "8ca523f5e9506fed4657c9700eebdbec");
}

TEST(Digest, Rfc7616ExampleWithSha256)
{
    EXPECT_EQ(digestResponse(rfc7616(Hash::Sha256), "Mufasa", "Circle of Life", "GET", "/dir/index.html", kCnonce, 1),
              "753927fa0e85d155564e2e272a28d1802ca10daf4496794697cf8db5856cb6c1");
}

TEST(Digest, Rfc2617Example)
{
    Challenge c;
    c.scheme = Challenge::Scheme::Digest;
    c.qopAuth = true;
    c.realm = "testrealm@host.com";
    c.nonce = "dcd98b7102dd2f0e8b11d0f600bfb0c093";
    EXPECT_EQ(digestResponse(c, "Mufasa", "Circle Of Life", "GET", "/dir/index.html", "0a4f113b", 1),
              "6629fae49393a05397450978507c4ef1");
    c.qopAuth = false; // the older form, RFC 2069
    EXPECT_EQ(digestResponse(c, "Mufasa", "Circle Of Life", "GET", "/dir/index.html", "", 0),
              "670fd8c2df070c60b045671b8b24ff02");
}

TEST(Digest, SessionAlgorithmHashesTheNonceIn)
{
    Challenge c = rfc7616(Hash::Md5);
    c.session = true;
    EXPECT_NE(digestResponse(c, "Mufasa", "Circle of Life", "GET", "/dir/index.html", kCnonce, 1),
              "8ca523f5e9506fed4657c9700eebdbec");
}

TEST(Digest, BestOfferIsTaken)
{
    const Challenge c = bestChallenge({"Basic realm=\"x\"", "Digest realm=\"r\", nonce=\"n1\", algorithm=MD5",
                                       "Digest realm=\"r, with comma \\\" quote\", nonce=\"n2\", algorithm=SHA-256, "
                                       "qop=\"auth,auth-int\", opaque=\"o\", stale=TRUE"});
    EXPECT_EQ(c.scheme, Challenge::Scheme::Digest);
    EXPECT_EQ(c.hash, Hash::Sha256);
    EXPECT_EQ(c.nonce, "n2");
    EXPECT_EQ(c.realm, "r, with comma \" quote");
    EXPECT_EQ(c.opaque, "o");
    EXPECT_TRUE(c.qopAuth);
    EXPECT_TRUE(c.stale);
}

TEST(Digest, UnknownAlgorithmIsNoOffer)
{
    EXPECT_EQ(bestChallenge({"Digest realm=\"r\", nonce=\"n\", algorithm=SHA-512-256"}).scheme,
              Challenge::Scheme::None);
    EXPECT_EQ(bestChallenge({"Negotiate", "", "Digest", "Digest realm", "Digest nonce=\"\""}).scheme,
              Challenge::Scheme::None);
}

TEST(Digest, NoAnswerWithoutAUser)
{
    Authenticator a;
    EXPECT_FALSE(a.setChallenge({"Digest realm=\"r\", nonce=\"n\""}));
    EXPECT_EQ(a.authorization("OPTIONS", "rtsp://h/"), "");
}

TEST(Digest, HeaderHoldsWhatTheServerNeedsToCheckIt)
{
    Authenticator a;
    a.setCredentials("u\"ser", "secret");
    ASSERT_TRUE(a.setChallenge({"Digest realm=\"r\", nonce=\"n\", qop=\"auth\", opaque=\"op\", algorithm=MD5"}));
    const std::string first = a.authorization("DESCRIBE", "rtsp://h/x");
    EXPECT_NE(first.find("username=\"u\\\"ser\""), std::string::npos);
    EXPECT_NE(first.find("nc=00000001"), std::string::npos);
    EXPECT_NE(a.authorization("SETUP", "rtsp://h/x").find("nc=00000002"), std::string::npos);
    EXPECT_EQ(part(first, "response"),
              digestResponse(a.challenge(), "u\"ser", "secret", "DESCRIBE", "rtsp://h/x", part(first, "cnonce"), 1));
}

TEST(Digest, BasicWhenNothingElseIsOffered)
{
    Authenticator a;
    a.setCredentials("Aladdin", "open sesame"); // RFC 7617
    ASSERT_TRUE(a.setChallenge({"Basic realm=\"WallyWorld\""}));
    EXPECT_EQ(a.authorization("DESCRIBE", "x"), "Basic QWxhZGRpbjpvcGVuIHNlc2FtZQ==");
}

TEST(Digest, Base64RoundTrip)
{
    EXPECT_EQ(base64("foobar"), "Zm9vYmFy");
    EXPECT_EQ(base64(""), "");
    EXPECT_EQ(fromBase64("Zm9vYg=="), (std::vector<uint8_t>{'f', 'o', 'o', 'b'}));
    EXPECT_TRUE(fromBase64("!!!").empty());
}

TEST(UsernameToken, PublishedExample)
{
    // The example of the ONVIF Application Programmer's Guide.
    const auto nonce = fromBase64("LKqI6G/AikKCQrN0zqZFlg==");
    const std::string text =
        usernameToken("user", "userpassword", std::string(nonce.begin(), nonce.end()), "2010-09-16T07:50:45Z");
    EXPECT_NE(text.find(">tuOSpGlFlIXsozq4HFNeeGeFLEI=<"), std::string::npos);
    EXPECT_NE(text.find(">LKqI6G/AikKCQrN0zqZFlg==<"), std::string::npos);
    EXPECT_NE(text.find(">2010-09-16T07:50:45Z<"), std::string::npos);
}

TEST(UsernameToken, NameIsEscaped)
{
    EXPECT_NE(usernameToken("a<&>\"", "p", "n", "c").find("<Username>a&lt;&amp;&gt;&quot;</Username>"),
              std::string::npos);
}
