#include <tools/collector/Options.h>

#include <tools/collector/Duration.h>

#include <charconv>
#include <stdexcept>

namespace telvora::collector {
namespace {

std::uint64_t number(const std::string& option, const std::string& text, std::uint64_t maximum)
{
    std::uint64_t value = 0;
    const char* end = text.data() + text.size();
    const auto [stop, error] = std::from_chars(text.data(), end, value);
    if (error != std::errc() || stop != end || value > maximum)
        throw std::invalid_argument(
            option + " needs a whole number up to " + std::to_string(maximum));
    return value;
}

std::chrono::milliseconds duration(const std::string& option, const std::string& text)
{
    constexpr std::chrono::seconds longest { 1'000'000 };
    if (const auto duration = readDuration(text, longest))
        return *duration;
    std::uint64_t seconds = 0;
    const char* end = text.data() + text.size();
    const auto [stop, error] = std::from_chars(text.data(), end, seconds);
    if (error != std::errc() || stop != end
        || seconds > static_cast<std::uint64_t>(longest.count()))
        throw std::invalid_argument(option + " needs a duration such as " + durationExamples
            + ", or a whole number of seconds, up to 1000000 s");
    return std::chrono::seconds(seconds);
}

Endpoint endpoint(const std::string& option, const std::string& text)
{
    const std::size_t colon = text.rfind(':');
    if (colon == std::string::npos || colon == 0)
        throw std::invalid_argument(option + " needs ADDR:PORT");
    std::string address = text.substr(0, colon);
    if (address == "localhost")
        address = "127.0.0.1";
    if (address.front() == '[' && address.back() == ']')
        address = address.substr(1, address.size() - 2);
    const auto port = static_cast<std::uint16_t>(number(option, text.substr(colon + 1), 65535));
    return { std::move(address), port };
}

void readOption(Options& options, const std::string& option, const std::string& value)
{
    constexpr std::uint64_t maximumMB = 1U << 20U;
    if (option == "--listen")
        options.listen = endpoint(option, value);
    else if (option == "--control")
        options.control = endpoint(option, value);
    else if (option == "--port-file")
        options.portFile = value;
    else if (option == "--control-port-file")
        options.controlPortFile = value;
    else if (option == "--rules")
        options.rulesFile = value;
    else if (option == "--record")
        options.recordFile = value;
    else if (option == "--max-memory")
        options.maximumMemory = number(option, value, maximumMB) << 20U;
    else if (option == "--max-body")
        options.maximumBody = number(option, value, maximumMB) << 20U;
    else if (option == "--idle")
        options.idle = duration(option, value);
    else if (option == "--slow")
        options.slow = duration(option, value);
    else
        throw std::invalid_argument("unknown option " + option);
}

} // namespace

Options readOptions(const std::vector<std::string>& arguments)
{
    Options options;
    try {
        for (std::size_t i = 0; i < arguments.size(); ++i) {
            const std::string& option = arguments[i];
            if (option == "--help" || option == "-h") {
                options.isHelp = true;
            } else if (option == "--version") {
                options.isVersion = true;
            } else if (option == "--quiet") {
                options.isQuiet = true;
            } else if (option == "--sink") {
                options.isSink = true;
            } else if (const std::size_t equals = option.find('='); equals != std::string::npos) {
                readOption(options, option.substr(0, equals), option.substr(equals + 1));
            } else if (i + 1 < arguments.size()) {
                readOption(options, option, arguments[++i]);
            } else {
                throw std::invalid_argument(option + " needs a value, or is unknown");
            }
        }
        if (options.isSink && !(options.rulesFile.empty() && options.recordFile.empty()))
            throw std::invalid_argument("--sink allows neither --rules nor --record");
    } catch (const std::invalid_argument& problem) {
        options.problem = problem.what();
    }
    return options;
}

std::string usage()
{
    return R"(telvora-collector: a local collector that takes batches and reports what is wrong with them

  --listen ADDR:PORT        where to listen (127.0.0.1:0; port 0: any free one)
  --port-file FILE          write the port there once it is chosen
  --control ADDR:PORT       serve /_telvora/ here too, where no rule applies
  --control-port-file FILE  write that port there
  --rules FILE              answer by these rules from the start (see README.md)
  --record FILE             write every settled request there, one JSON text a line
  --quiet                   show no line for each request where standard error is a terminal
  --sink                    answer success at once; count requests and bytes, check nothing
  --max-memory MB           memory for kept requests (256)
  --max-body MB             refuse longer bodies (64)
  --idle TIME               drop a connection without a request for so long (5min)
  --slow TIME               drop a connection whose request makes no progress for so long (30s)
  --version                 the name and the version
  --help                    this text

An index for a browser is at /_telvora/ on either port.
TIME is a number with ms, s, min or h, such as 250ms; a number alone is in seconds.
Ends on SIGTERM or SIGINT with status 0; with 2 where the command line is wrong, with 1 where
it cannot listen.
)";
}

std::string versionText()
{
    return "telvora-collector " TELVORA_COLLECTOR_VERSION;
}

} // namespace telvora::collector
