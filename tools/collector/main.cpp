#include <tools/collector/Collector.h>
#include <tools/collector/Options.h>
#include <tools/collector/RecordFile.h>
#include <tools/collector/Server.h>

#include <boost/asio/signal_set.hpp>

#include <csignal>
#include <iostream>
#include <string>
#include <vector>

namespace {

using namespace telvora::collector;

int fail(int status, const std::string& why)
{
    std::cerr << "telvora-collector: " << why << '\n';
    return status;
}

std::string addressText(const Endpoint& endpoint, std::uint16_t port)
{
    const bool isIPv6 = endpoint.address.find(':') != std::string::npos;
    return "http://" + (isIPv6 ? '[' + endpoint.address + ']' : endpoint.address) + ':'
        + std::to_string(port);
}

// Writes the file first, so that a reader of the line can rely on the file.
bool announce(
    const char* what, const Endpoint& endpoint, std::uint16_t port, const std::string& file)
{
    const bool isWritten = file.empty() || writeFileAtomically(file, std::to_string(port));
    if (isWritten)
        std::cout << what << addressText(endpoint, port) << std::endl;
    return isWritten;
}

int run(const Options& options)
{
    Collector collector(options);
    if (const auto problem = collector.prepare())
        return fail(1, *problem);

    constexpr int oneThread = 1;
    asio::io_context context(oneThread);
    Server server(context, collector);
    // Before the port is announced, because a signal may arrive right after that.
    asio::signal_set signals(context, SIGTERM, SIGINT);
    if (const auto problem = server.listen())
        return fail(1, *problem);
    signals.async_wait([&](const boost::system::error_code&, int) { server.stop(); });

    if (const auto port = server.controlPort()) {
        if (!announce("control at ", *options.control, *port, options.controlPortFile))
            return fail(1, "cannot write " + options.controlPortFile);
    }
    if (!announce("listening on ", options.listen, server.port(), options.portFile))
        return fail(1, "cannot write " + options.portFile);
    context.run();
    return 0;
}

} // namespace

int main(int argumentCount, char** arguments)
{
    const Options options = readOptions({ arguments + 1, arguments + argumentCount });
    if (options.isHelp) {
        std::cout << usage();
        return 0;
    }
    if (options.isVersion) {
        std::cout << versionText() << '\n';
        return 0;
    }
    if (!options.problem.empty())
        return fail(2, options.problem + " (try --help)");
    std::signal(SIGPIPE, SIG_IGN);
    return run(options);
}
