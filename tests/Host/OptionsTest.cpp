#include <tools/host/Options.h>

#include <tools/host/ScriptError.h>

#include <gtest/gtest.h>

#include <vector>

namespace telvora::tests {

namespace {

using host::Options;
using host::ScriptError;

Options read(std::vector<const char*> arguments)
{
    arguments.insert(arguments.begin(), "telvora-host");
    return host::readOptions(static_cast<int>(arguments.size()), arguments.data());
}

} // namespace

TEST(HostOptionsTest, RunsStandardInputOnTheRealPlatformByDefault)
{
    const Options options = read({});

    EXPECT_FALSE(options.isSimulated);
    EXPECT_EQ(options.seed, 0U);
    EXPECT_FALSE(options.script);
}

TEST(HostOptionsTest, TakesPlatformSeedAndScriptInAnyOrder)
{
    const Options options
        = read({ "script.jsonl", "--seed", "18446744073709551615", "--platform=simulated" });

    EXPECT_TRUE(options.isSimulated);
    EXPECT_EQ(options.seed, 18446744073709551615U);
    EXPECT_EQ(options.script, "script.jsonl");
}

TEST(HostOptionsTest, RefusesAWrongCommandLine)
{
    EXPECT_THROW(read({ "--platform" }), ScriptError);
    EXPECT_THROW(read({ "--platform", "mars" }), ScriptError);
    EXPECT_THROW(read({ "--seed", "-1" }), ScriptError);
    EXPECT_THROW(read({ "--seed", "1x" }), ScriptError);
    EXPECT_THROW(read({ "--fast" }), ScriptError);
    EXPECT_THROW(read({ "one", "two" }), ScriptError);
}

} // namespace telvora::tests
