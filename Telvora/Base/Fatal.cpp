#include <Telvora/Base/Fatal.h>

#include <cstdio>
#include <cstdlib>
#include <string>

namespace telvora::detail {

void fatal(std::string_view message, std::string_view where)
{
    std::string line = "Fatal error: ";
    line += message;
    line += ": file ";
    line += where;
    line += '\n';
    // One write, so that lines of other threads do not get into this one.
    std::fwrite(line.data(), 1, line.size(), stderr);
    std::fflush(stderr);
    std::abort();
}

} // namespace telvora::detail
