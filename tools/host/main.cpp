#include <Telvora/Base/Version.h>
#include <tools/host/Host.h>
#include <tools/host/LineReader.h>
#include <tools/host/Options.h>
#include <tools/host/Output.h>
#include <tools/host/Script.h>
#include <tools/host/ScriptError.h>

#include <cerrno>
#include <clocale>
#include <csignal>
#include <cstdio>
#include <cstring>

#include <fcntl.h>
#include <unistd.h>

namespace {

using namespace telvora::host;

constexpr int commandLineStatus = 1;
constexpr int failedLineStatus = 2;

// Neither this nor the objects of runScript() are ever destroyed: the library calls the host's
// closures until the process has ended.
Output& output()
{
    static auto& shared = *new Output;
    return shared;
}

// A fatal error of the library may end the process on any thread while a line runs on the main one.
void writeBeforeAbort(int)
{
    output().tryToWriteKeptBack();
}

int openScript(const Options& options)
{
    if (!options.script || *options.script == "-")
        return STDIN_FILENO;
    const int descriptor = open(options.script->c_str(), O_RDONLY | O_CLOEXEC);
    if (descriptor < 0)
        throw ScriptError(*options.script + ": " + std::strerror(errno));
    return descriptor;
}

int runScript(const Options& options, int descriptor)
{
    static World& world
        = *(options.isSimulated ? makeSimulatedWorld(options.seed, output()) : makeLinuxWorld())
               .release();
    static auto& host = *new Host(output(), world);
    static auto& script = *new Script(host);

    LineReader reader(descriptor);
    while (auto line = reader.next()) {
        if (line->isTooLong)
            script.refuse("A line is at most 64 MiB long");
        else
            script.runText(line->text);
    }
    return host.hasFailedLine() ? failedLineStatus : 0;
}

} // namespace

int main(int argumentCount, char** arguments)
{
    std::setlocale(LC_ALL, "");
    std::signal(SIGABRT, writeBeforeAbort);
    try {
        const Options options = readOptions(argumentCount, arguments);
        if (options.wantsHelp) {
            std::fputs(usage, stderr);
            return 0;
        }
        if (options.wantsVersion) {
            std::puts("telvora-host " TELVORA_VERSION_TEXT);
            return 0;
        }
        return runScript(options, openScript(options));
    } catch (const ScriptError& error) {
        std::fprintf(stderr, "telvora-host: %s\n%s", error.what(), usage);
        return commandLineStatus;
    }
}
