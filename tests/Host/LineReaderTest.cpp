#include <tools/host/LineReader.h>

#include <gtest/gtest.h>

#include <string>
#include <thread>

#include <unistd.h>

namespace telvora::tests {

namespace {

using host::LineReader;

// Reads from a pipe that the test writes into.
class LineReaderTest : public testing::Test {
protected:
    LineReaderTest()
    {
        int ends[2] = {};
        if (pipe(ends) != 0)
            throw std::runtime_error("No pipe");
        m_reading = ends[0];
        m_writing = ends[1];
    }
    ~LineReaderTest() override
    {
        close(m_reading);
        if (m_writing >= 0)
            close(m_writing);
    }

    void write(const std::string& text)
    {
        std::size_t done = 0;
        while (done < text.size()) {
            const ssize_t count = ::write(m_writing, text.data() + done, text.size() - done);
            ASSERT_GT(count, 0);
            done += static_cast<std::size_t>(count);
        }
    }

    void end()
    {
        close(m_writing);
        m_writing = -1;
    }

    int reading() const { return m_reading; }

private:
    int m_reading = -1;
    int m_writing = -1;
};

} // namespace

TEST_F(LineReaderTest, ReturnsALineAsSoonAsItsEndHasArrived)
{
    LineReader reader(reading());
    write("one\ntwo");

    const auto line = reader.next();

    ASSERT_TRUE(line);
    EXPECT_EQ(line->text, "one");
}

TEST_F(LineReaderTest, ReturnsALastLineWithoutALineEnd)
{
    LineReader reader(reading());
    write("one\n\ntwo");
    end();

    EXPECT_EQ(reader.next()->text, "one");
    EXPECT_EQ(reader.next()->text, "");
    EXPECT_EQ(reader.next()->text, "two");
    EXPECT_FALSE(reader.next());
}

TEST_F(LineReaderTest, EndsAtOnceOnEmptyInput)
{
    LineReader reader(reading());
    end();

    EXPECT_FALSE(reader.next());
}

TEST_F(LineReaderTest, JoinsThePiecesOfALongLine)
{
    LineReader reader(reading());
    const std::string text(1'000'000, 'x');
    std::thread writer([&] {
        write(text + "\nnext\n");
        end();
    });

    const auto line = reader.next();
    const auto next = reader.next();
    writer.join();

    EXPECT_EQ(line->text, text);
    EXPECT_EQ(next->text, "next");
}

TEST_F(LineReaderTest, SkipsALineBeyondTheLimitAndGoesOn)
{
    LineReader reader(reading(), 3);
    write("abc\nabcd\nabc");
    end();

    EXPECT_FALSE(reader.next()->isTooLong);
    EXPECT_TRUE(reader.next()->isTooLong);
    EXPECT_EQ(reader.next()->text, "abc");
}

} // namespace telvora::tests
