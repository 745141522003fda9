#include <tools/collector/RecordFile.h>

#include <unistd.h>

namespace telvora::collector {

bool RecordFile::open(const std::string& path)
{
    if (path.empty())
        return true;
    m_file.reset(std::fopen(path.c_str(), "we"));
    return isOpen();
}

bool RecordFile::writeLine(std::string_view line)
{
    std::fwrite(line.data(), 1, line.size(), m_file.get());
    std::fputc('\n', m_file.get());
    return std::fflush(m_file.get()) == 0 && std::ferror(m_file.get()) == 0;
}

bool writeFileAtomically(const std::string& path, std::string_view content)
{
    const std::string draft = path + '.' + std::to_string(::getpid());
    RecordFile file;
    if (!file.open(draft) || !file.isOpen())
        return false;
    const bool isWritten = file.writeLine(content);
    file = RecordFile();
    if (isWritten && std::rename(draft.c_str(), path.c_str()) == 0)
        return true;
    std::remove(draft.c_str());
    return false;
}

} // namespace telvora::collector
