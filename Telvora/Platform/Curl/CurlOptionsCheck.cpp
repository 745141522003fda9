#include <Telvora/Platform/Curl/CurlOptionsCheck.h>

#include <Telvora/Base/AddressText.h>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <optional>

namespace telvora::detail {

namespace {

bool isReadableFile(const std::string& path)
{
    struct stat status { };
    return ::stat(path.c_str(), &status) == 0 && !S_ISDIR(status.st_mode)
        && ::faccessat(AT_FDCWD, path.c_str(), R_OK, AT_EACCESS) == 0;
}

} // namespace

void addProblemsOf(const CurlHTTPOptions& options, std::vector<std::string>& problems)
{
    const auto checkFile = [&](const char* name, const std::optional<std::string>& path) {
        if (path && !isReadableFile(*path))
            problems.push_back(std::string(name) + ": the file \"" + *path + "\" cannot be read");
    };
    checkFile("http.authorityFile", options.authorityFile);
    checkFile("http.certificateFile", options.certificateFile);
    checkFile("http.keyFile", options.keyFile);
    if (options.keyFile && !options.certificateFile)
        problems.emplace_back("http.keyFile is of no use without http.certificateFile");
    // An empty one is none.
    if (options.proxy && !options.proxy->empty() && !isAddressText(*options.proxy))
        problems.push_back("http.proxy: \"" + *options.proxy + "\" is not an address");
    if (options.answerLimitBytes == 0)
        problems.emplace_back("http.answerLimitBytes: with 0 no answer can be read");
}

} // namespace telvora::detail
