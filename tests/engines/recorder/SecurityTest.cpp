// Password digests: the standard's sum, the clock, and each nonce once.
#include "Security.h"
#include "HttpClient.h"

#include <gtest/gtest.h>

#include <ctime>

using namespace lumo::recorder;

namespace
{

class SecurityTest : public testing::Test
{
protected:
    bool allowed(const Login& login, int64_t deviceNow, const std::string& token = "")
    {
        return security.allows(*parseSoap(soapEnvelope(kDeviceInformation, &login)), token, deviceNow);
    }
    Options options;
    Faults faults;
    Security security{options, faults};
    const int64_t now = 1767225600; // 2026-01-01
};

} // namespace

TEST_F(SecurityTest, DigestIsSha1OfNonceTimeAndPassword)
{
    // printf 'LKqI6G/AikKCQrN0zqZFlg==' | base64 -d, then the ONVIF programmer's guide's time and password, through
    // openssl.
    const char nonce[] = "\x2c\xaa\x88\xe8\x6f\xc0\x8a\x42\x82\x42\xb3\x74\xce\xa6\x45\x96";
    EXPECT_EQ(passwordDigest(std::string(nonce, 16), "2010-09-16T07:50:45Z", "userpassword"),
              "tuOSpGlFlIXsozq4HFNeeGeFLEI=");
}

TEST_F(SecurityTest, RightPasswordIsAllowedWrongOrUnknownIsNot)
{
    EXPECT_TRUE(allowed({"admin", "lumo", "", isoTime(now)}, now));
    EXPECT_FALSE(allowed({"admin", "wrong", "", isoTime(now)}, now));
    EXPECT_FALSE(allowed({"nobody", "lumo", "", isoTime(now)}, now));
    EXPECT_FALSE(allowed({"admin", "", "", isoTime(now)}, now));
}

TEST_F(SecurityTest, AClockTooFarOffIsRefusedEitherWay)
{
    EXPECT_TRUE(allowed({"admin", "lumo", "", isoTime(now + Security::kToleranceSeconds)}, now));
    EXPECT_TRUE(allowed({"admin", "lumo", "", isoTime(now - Security::kToleranceSeconds)}, now));
    EXPECT_FALSE(allowed({"admin", "lumo", "", isoTime(now + Security::kToleranceSeconds + 1)}, now));
    EXPECT_FALSE(allowed({"admin", "lumo", "", isoTime(now - Security::kToleranceSeconds - 1)}, now));
    EXPECT_FALSE(allowed({"admin", "lumo", "", "yesterday"}, now));
}

TEST_F(SecurityTest, ANonceCountsOnce)
{
    const Login login{"admin", "lumo", "0123456789abcdef", isoTime(now)};
    EXPECT_TRUE(allowed(login, now));
    EXPECT_FALSE(allowed(login, now));
}

TEST_F(SecurityTest, TheTokenStandsInPlaceOfADigest)
{
    const auto request = *parseSoap(soapEnvelope(kDeviceInformation));
    EXPECT_TRUE(security.allows(request, "lumo-token", now));
    EXPECT_FALSE(security.allows(request, "other-token", now));
    EXPECT_FALSE(security.allows(request, "", now));
}

TEST_F(SecurityTest, RefusingThePasswordRefusesAll)
{
    faults.setRefusePassword(true);
    EXPECT_FALSE(allowed({"admin", "lumo", "", isoTime(now)}, now));
    EXPECT_FALSE(allowed({"admin", "lumo", "", isoTime(now)}, now, "lumo-token"));
}
