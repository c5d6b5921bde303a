// The cipher of the messages: the standards' own vectors, padding, Base64 and what is none.
#include "hub/TransportCipher.h"

#include <gtest/gtest.h>

#include <atomic>
#include <random>
#include <string>
#include <thread>

namespace
{

const AesIv kZeros = {};

QByteArray hex(const char* sz)
{
    return QByteArray::fromHex(sz);
}

AesKey keyOfBytes(const QByteArray& bytes)
{
    AesKey key = {};
    std::copy_n(bytes.begin(), std::min<int>(bytes.size(), int(key.size())), key.begin());
    return key;
}

AesIv ivOf(const QByteArray& bytes)
{
    AesIv iv = {};
    std::copy_n(bytes.begin(), iv.size(), iv.begin());
    return iv;
}

QByteArray blocksOf(const QByteArray& text)
{
    return QByteArray::fromBase64(encrypt(text, kZeros, aesKeyOf("key")));
}

TEST(Aes, TheExampleOfFips197AppendixB)
{
    const AesKey key = keyOfBytes(hex("2b7e151628aed2a6abf7158809cf4f3c"));
    EXPECT_EQ(hex("3925841d02dc09fbdc118597196a0b32"),
              aesCbc(hex("3243f6a8885a308d313198a2e0370734"), kZeros, key, true));
}

TEST(Aes, TheVectorOfFips197AppendixC1BothWays)
{
    const AesKey key = keyOfBytes(hex("000102030405060708090a0b0c0d0e0f"));
    const QByteArray plain = hex("00112233445566778899aabbccddeeff");
    const QByteArray enciphered = hex("69c4e0d86a7b0430d8cdb78070b4c55a");
    EXPECT_EQ(enciphered, aesCbc(plain, kZeros, key, true));
    EXPECT_EQ(plain, aesCbc(enciphered, kZeros, key, false));
}

TEST(Aes, TheVectorsOfSp80038aForCbcBothWays)
{
    const AesKey key = keyOfBytes(hex("2b7e151628aed2a6abf7158809cf4f3c"));
    const AesIv iv = ivOf(hex("000102030405060708090a0b0c0d0e0f"));
    const QByteArray plain = hex("6bc1bee22e409f96e93d7e117393172aae2d8a571e03ac9c9eb76fac45af8e51"
                                 "30c81c46a35ce411e5fbc1191a0a52eff69f2445df4f9b17ad2b417be66c3710");
    const QByteArray enciphered = hex("7649abac8119b246cee98e9b12e9197d5086cb9b507219ee95db113a917678b2"
                                      "73bed6b8e3c1743b7116e69e222295163ff1caa1681fac09120eca307586e1a7");
    EXPECT_EQ(enciphered, aesCbc(plain, iv, key, true));
    EXPECT_EQ(plain, aesCbc(enciphered, iv, key, false));
    EXPECT_EQ(enciphered.toBase64(), encrypt(plain, iv, key)); // no zero byte in it, and no padding
}

TEST(Aes, OnlyWholeBlocksAreTaken)
{
    for (int n : {1, 15, 17, 31, 33})
        EXPECT_EQ("", aesCbc(QByteArray(n, 'x'), kZeros, aesKeyOf("k"), false)) << n;
}

TEST(TransportCipher, TwoBytesBecomeOneBlock)
{
    for (const char* szKey : {"", "k", "0123456789abcdef", "a key of more than sixteen bytes"})
        EXPECT_EQ(16, QByteArray::fromBase64(encrypt("{}", kZeros, aesKeyOf(szKey))).size()) << szKey;
}

TEST(TransportCipher, SixteenBytesGetNoPaddingBlock)
{
    EXPECT_EQ(16, blocksOf("0123456789abcdef").size());
    EXPECT_EQ(32, blocksOf("0123456789abcdef0").size());
    EXPECT_EQ(16, blocksOf("0").size());
    EXPECT_EQ(0, blocksOf("").size());
}

TEST(TransportCipher, PaddingIsOfZeros)
{
    const QByteArray padded = aesCbc(blocksOf("{}"), kZeros, aesKeyOf("key"), false);
    EXPECT_EQ("{}" + QByteArray(14, '\0'), padded);
}

TEST(TransportCipher, WhatIsEncipheredComesBack)
{
    for (int n : {1, 2, 15, 16, 17, 100, 1000, 49136}) {
        const QByteArray text(n, 'x');
        const QByteArray enciphered = encrypt(text, kZeros, aesKeyOf("some key"));
        EXPECT_EQ(text, decrypt(enciphered, kZeros, aesKeyOf("some key"))) << n;
        EXPECT_NE(text, decrypt(enciphered, kZeros, aesKeyOf("some kez"))) << n;
    }
}

TEST(TransportCipher, EqualTextsGiveEqualMessages)
{
    EXPECT_EQ(encrypt("{\"a\":1}", kZeros, aesKeyOf("k")), encrypt("{\"a\":1}", kZeros, aesKeyOf("k")));
}

TEST(TransportCipher, TextEndsAtItsFirstZeroByte)
{
    EXPECT_EQ(encrypt("abc", kZeros, aesKeyOf("k")), encrypt(QByteArray("abc\0def", 7), kZeros, aesKeyOf("k")));
}

TEST(TransportCipher, AMessageAboveItsRoomIsEmpty)
{
    EXPECT_EQ(65516, encrypt(QByteArray(49136, 'x'), kZeros, aesKeyOf("k")).size());
    EXPECT_EQ("", encrypt(QByteArray(49137, 'x'), kZeros, aesKeyOf("k")));
    EXPECT_EQ("", encrypt(QByteArray(1000000, 'x'), kZeros, aesKeyOf("k")));
}

TEST(TransportCipher, PlainJsonGoesThroughAsItIs)
{
    for (const char* szText : {"{}", "{\"MainType\":99}", "hello there", "[1,2,3]", "\"abcd\""})
        EXPECT_EQ(szText, decrypt(szText, kZeros, aesKeyOf("k")));
}

TEST(TransportCipher, JsonThatHappensToBeBase64IsRuined)
{
    EXPECT_EQ("", decrypt("true", kZeros, aesKeyOf("k"))); // three bytes: no whole block
    const QByteArray digits(64, '1');                      // a number, and three blocks
    EXPECT_NE(digits, decrypt(digits, kZeros, aesKeyOf("k")));
}

TEST(TransportCipher, ALengthThatIsNoMultipleOf16GivesNothing)
{
    for (int n : {1, 15, 17, 40})
        EXPECT_EQ("", decrypt(QByteArray(n, 'x').toBase64(), kZeros, aesKeyOf("k"))) << n;
}

TEST(TransportCipher, AnyBase64OfAnyLengthAndAnyKeyDoesNoHarm)
{
    std::mt19937 random(7);
    for (int i = 0; i < 2000; ++i) {
        QByteArray bytes(int(random() % 200), '\0');
        for (char& c : bytes)
            c = char(random());
        std::string key(random() % 40, 'k');
        for (char& c : key)
            c = char(random());
        const QByteArray text = decrypt(bytes.toBase64(), kZeros, aesKeyOf(key.c_str()));
        EXPECT_LE(text.size(), bytes.size());
        decrypt(bytes, kZeros, aesKeyOf(key.c_str()));
    }
}

TEST(Base64, LineBreaksAreSkippedAndBlanksBeforeThem)
{
    EXPECT_EQ("Hello, you", decodeBase64("SGVsbG8s\nIHlvdQ=="));
    EXPECT_EQ("Hello, you", decodeBase64("SGVsbG8s\r\nIHlvdQ==\r\n"));
    EXPECT_EQ("Hello, you", decodeBase64("SGVsbG8s   \nIHlvdQ==  \r\n"));
    EXPECT_EQ("Hello, you", decodeBase64("\n\nSGVsb\nG8sIHlvdQ=\n=\n"));
}

TEST(Base64, BlanksAnywhereElseAreRefused)
{
    EXPECT_FALSE(decodeBase64("SGVs bG8s"));
    EXPECT_FALSE(decodeBase64(" SGVsbG8s"));
    EXPECT_FALSE(decodeBase64("SGVsbG8s "));
    EXPECT_FALSE(decodeBase64("SGVsbG8s\r"));
    EXPECT_FALSE(decodeBase64("SGVsbG8s\rAAAA"));
    EXPECT_FALSE(decodeBase64("SGVsbG8s\tAAAA"));
}

TEST(Base64, AtMostTwoEqualSignsAndNothingBehindThem)
{
    EXPECT_EQ("a", decodeBase64("YQ=="));
    EXPECT_EQ("ab", decodeBase64("YWI="));
    EXPECT_FALSE(decodeBase64("Y==="));
    EXPECT_FALSE(decodeBase64("===="));
    EXPECT_FALSE(decodeBase64("YQ=A"));
    EXPECT_FALSE(decodeBase64("YQ==YQ=="));
}

TEST(Base64, OtherCharactersAndBrokenQuartetsAreRefused)
{
    for (const char* szText : {"YQ", "YWI", "YWIjZ", "YW-j", "YW_j", "{\"a\"", "\xC3\xA4YW"})
        EXPECT_FALSE(decodeBase64(szText)) << szText;
    EXPECT_EQ("", decodeBase64(""));
}

TEST(Base64, MoreThanAMessagesRoomIsRefused)
{
    EXPECT_TRUE(decodeBase64(QByteArray(65536, 'x').toBase64()));
    EXPECT_FALSE(decodeBase64(QByteArray(65537, 'x').toBase64()));
}

TEST(KeyText, HasSixteenPrintableCharacters)
{
    for (uint32_t x : {0u, 1u, 12345u, 2147483647u, 4294967295u}) {
        const auto text = makeKeyText(x);
        EXPECT_EQ('\0', text[16]);
        for (int i = 0; i < 16; ++i) {
            EXPECT_GE(text[i], '!');
            EXPECT_LE(text[i], '~');
        }
    }
}

TEST(KeyText, FollowsItsRule)
{
    uint64_t x = 0;
    const auto text = makeKeyText(0);
    EXPECT_EQ('!' + 12345 % 94, text[0]);
    for (int i = 0; i < 16; ++i) {
        x = (x * 110351 + 12345) % 4294967296u % 1000101;
        EXPECT_EQ(char(33 + x % 94), text[i]) << i;
    }
}

TEST(KeyText, AShortOneIsFilledWithZerosAndALongOneCutAt31)
{
    EXPECT_EQ(keyOfBytes("abc"), aesKeyOf("abc"));
    EXPECT_EQ(keyOfBytes(QByteArray(31, 'k')), aesKeyOf(QByteArray(50, 'k').constData()));
    EXPECT_EQ(encrypt("{}", kZeros, aesKeyOf("0123456789abcdef")),
              encrypt("{}", kZeros, aesKeyOf("0123456789abcdefXYZ"))); // only 16 bytes are the cipher's
}

TEST(SharedKey, AReaderSeesTheOldKeyOrTheNewOne)
{
    CSharedKey shared;
    const AesKey first = aesKeyOf("aaaaaaaaaaaaaaaaaaaaaaaaaaaaaaa");
    const AesKey second = aesKeyOf("bbbbbbbbbbbbbbbbbbbbbbbbbbbbbbb");
    shared.set(first);
    std::atomic<bool> bStop = false;
    int nOther = 0, nRead = 0;
    std::thread reader([&] {
        while (!bStop || nRead == 0) {
            const AesKey key = shared.get();
            nOther += key != first && key != second;
            ++nRead;
        }
    });
    for (int i = 0; i < 20000; ++i)
        shared.set(i % 2 ? first : second);
    bStop = true;
    reader.join();
    EXPECT_EQ(0, nOther);
    EXPECT_GT(nRead, 0);
}

} // namespace
