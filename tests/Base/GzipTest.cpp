#include <Telvora/Base/Gzip.h>

#include <gtest/gtest.h>

#include <random>
#include <string>

namespace telvora::detail {
namespace {

std::string randomBytes(std::size_t count)
{
    std::mt19937 engine(5);
    std::string bytes(count, '\0');
    for (char& byte : bytes)
        byte = static_cast<char>(engine());
    return bytes;
}

TEST(GzipTest, WhatWasCompressedComesBack)
{
    for (const std::size_t length :
        std::initializer_list<std::size_t> { 0, 1, 1000, 1023, 1024, 1025, 100'000, 3'000'000 }) {
        const std::string letters(length, 'x');
        const std::string noise = randomBytes(length);
        EXPECT_EQ(gunzipped(gzipped(letters)), letters);
        EXPECT_EQ(gunzipped(gzipped(noise)), noise);
    }
}

TEST(GzipTest, BytesThatRepeatBecomeFewer)
{
    EXPECT_LT(gzipped(std::string(100'000, 'x')).size(), 1000u);
}

TEST(GzipTest, NothingButOneWholeMemberIsRead)
{
    const std::string compressed = gzipped("some text");
    for (std::size_t length = 0; length < compressed.size(); ++length)
        EXPECT_EQ(gunzipped(compressed.substr(0, length)), std::nullopt) << length;
    EXPECT_EQ(gunzipped(compressed + "x"), std::nullopt);
    EXPECT_EQ(gunzipped("plain text, not compressed"), std::nullopt);

    std::string changed = compressed;
    changed[compressed.size() - 6] ^= 1; // In the checksum.
    EXPECT_EQ(gunzipped(changed), std::nullopt);
}

} // namespace
} // namespace telvora::detail
