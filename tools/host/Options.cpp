#include <tools/host/Options.h>

#include <tools/host/ScriptError.h>

#include <charconv>
#include <string_view>

namespace telvora::host {

const char* const usage
    = "Usage: telvora-host [--platform linux|simulated] [--seed N] [SCRIPT]\n"
      "       telvora-host --help | --version\n"
      "Runs a script of JSON lines, from standard input where no SCRIPT is named.\n";

namespace {

std::uint64_t asSeed(std::string_view text)
{
    std::uint64_t seed = 0;
    const char* end = text.data() + text.size();
    const auto [last, error] = std::from_chars(text.data(), end, seed);
    if (error != std::errc() || last != end)
        throw ScriptError("--seed wants a number that is not negative");
    return seed;
}

bool asIsSimulated(std::string_view text)
{
    if (text != "linux" && text != "simulated")
        throw ScriptError("--platform is linux or simulated");
    return text == "simulated";
}

// The value of `name`, given as "--name VALUE" or "--name=VALUE".
std::optional<std::string_view> optionValue(
    std::string_view name, int argumentCount, const char* const* arguments, int& index)
{
    const std::string_view argument = arguments[index];
    if (argument.starts_with(name) && argument.substr(name.size()).starts_with('='))
        return argument.substr(name.size() + 1);
    if (argument != name)
        return std::nullopt;
    if (++index == argumentCount)
        throw ScriptError(std::string(name) + " wants a value");
    return arguments[index];
}

} // namespace

Options readOptions(int argumentCount, const char* const* arguments)
{
    Options options;
    for (int index = 1; index < argumentCount; ++index) {
        const std::string_view argument = arguments[index];
        if (const auto name = optionValue("--platform", argumentCount, arguments, index))
            options.isSimulated = asIsSimulated(*name);
        else if (const auto number = optionValue("--seed", argumentCount, arguments, index))
            options.seed = asSeed(*number);
        else if (argument == "--help")
            options.wantsHelp = true;
        else if (argument == "--version")
            options.wantsVersion = true;
        else if (argument.starts_with('-') && argument != "-")
            throw ScriptError("Unknown option " + std::string(argument));
        else if (options.script)
            throw ScriptError("There is one script at most");
        else
            options.script = argument;
    }
    return options;
}

} // namespace telvora::host
