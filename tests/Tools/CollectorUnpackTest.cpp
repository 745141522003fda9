#include <tools/collector/Unpack.h>

#include <gtest/gtest.h>

#include <zlib.h>

namespace telvora::collector {
namespace {

const Headers gzipHeader { { "content-encoding", "GZIP" } };
constexpr std::size_t enough = 1'000'000;

std::string gzipped(const std::string& text)
{
    z_stream stream {};
    deflateInit2(&stream, Z_BEST_SPEED, Z_DEFLATED, MAX_WBITS + 16, 8, Z_DEFAULT_STRATEGY);
    std::string compressed(deflateBound(&stream, text.size()), '\0');
    stream.next_in = reinterpret_cast<Bytef*>(const_cast<char*>(text.data()));
    stream.avail_in = static_cast<uInt>(text.size());
    stream.next_out = reinterpret_cast<Bytef*>(compressed.data());
    stream.avail_out = static_cast<uInt>(compressed.size());
    EXPECT_EQ(deflate(&stream, Z_FINISH), Z_STREAM_END);
    compressed.resize(stream.total_out);
    deflateEnd(&stream);
    return compressed;
}

TEST(CollectorUnpackTest, APlainBodyStaysAsItIs)
{
    std::string body = "{}";

    EXPECT_EQ(unpack({ { "Content-Type", "application/json" } }, body, enough), std::nullopt);
    EXPECT_EQ(body, "{}");
}

TEST(CollectorUnpackTest, ACompressedBodyIsUnpacked)
{
    for (const std::size_t length :
        std::initializer_list<std::size_t> { 0, 2, 65'535, 65'536, 65'537, 900'000 }) {
        const std::string text(length, 'x');
        std::string body = gzipped(text);

        EXPECT_EQ(unpack(gzipHeader, body, enough), std::nullopt);
        EXPECT_EQ(body, text);
    }
}

TEST(CollectorUnpackTest, ABodyThatIsNoGzipIsAProblemAndStays)
{
    const std::string whole = gzipped("some text");
    for (const std::string& wrong :
        { std::string("{}"), std::string(), whole.substr(0, whole.size() - 1), whole + "x" }) {
        std::string body = wrong;
        EXPECT_EQ(unpack(gzipHeader, body, enough),
            "body is no gzip, or of more than 1000000 bytes unpacked");
        EXPECT_EQ(body, wrong);
    }
}

TEST(CollectorUnpackTest, ABodyOfMoreThanTheLimitIsAProblem)
{
    std::string body = gzipped(std::string(100'000'000, 'x'));
    EXPECT_NE(unpack(gzipHeader, body, enough), std::nullopt);
    EXPECT_LT(body.size(), 1'000'000u);
}

TEST(CollectorUnpackTest, ASecondEncodingIsAProblem)
{
    std::string body = gzipped("text");
    const auto problem
        = unpack({ { "Content-Encoding", "gzip" }, { "content-encoding", "gzip" } }, body, 1000);

    EXPECT_EQ(problem, "header Content-Encoding comes twice");
}

TEST(CollectorUnpackTest, AnotherEncodingIsAProblem)
{
    std::string body = "{}";
    EXPECT_EQ(unpack({ { "Content-Encoding", "br" } }, body, enough),
        "header Content-Encoding is \"br\", not \"gzip\"");
}

} // namespace
} // namespace telvora::collector
