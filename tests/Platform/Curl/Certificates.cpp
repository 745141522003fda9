#include <tests/Platform/Curl/Certificates.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>

namespace telvora::detail {

namespace {

void run(const std::string& command)
{
    if (std::system(command.c_str()) != 0) {
        std::fprintf(stderr, "failed: %s\n", command.c_str());
        std::abort();
    }
}

} // namespace

Certificates::Certificates(const std::string& address)
    : m_folder(std::filesystem::temp_directory_path() / "telvora-tls-XXXXXX")
{
    if (!mkdtemp(m_folder.data()))
        std::abort();
    std::string make = "cd " + m_folder
        + " && openssl req -x509 -newkey ec -pkeyopt ec_paramgen_curve:P-256 -nodes -days 2";
    std::string quietly = " >openssl.log 2>&1";
    std::string signedBy = " -CA authority.pem -CAkey authority.key"
                           " -addext basicConstraints=critical,CA:FALSE";
    run(make + " -keyout authority.key -out authority.pem -subj /CN=Authority" + quietly);
    run(make + signedBy + " -keyout server.key -out server.pem -subj /CN=Server"
        + " -addext subjectAltName=IP:" + address + quietly);
    run(make + signedBy + " -keyout client.key -out client.pem -subj /CN=Client" + quietly);
}

Certificates::~Certificates()
{
    std::error_code ignored;
    std::filesystem::remove_all(m_folder, ignored);
}

} // namespace telvora::detail
