#pragma once

#include <Telvora/Classes/OstraProviderProtocol.h>

#include <cstdint>
#include <cstdio>
#include <mutex>
#include <string>

/// A reporting provider that writes every report to a file, one JSON text a line.
///
/// Threads: any; a lock keeps the lines whole.
class ReportFile final : public telvora::QVXOstraProviderProtocol {
public:
    explicit ReportFile(const std::string& path)
        : m_file(std::fopen(path.c_str(), "w"))
    {
    }

    ~ReportFile() override
    {
        if (m_file)
            std::fclose(m_file);
    }

    ReportFile(const ReportFile&) = delete;
    ReportFile& operator=(const ReportFile&) = delete;

    void report(const std::string&, const std::string& content) override
    {
        const std::lock_guard lock(m_lock);
        if (!m_file)
            return;
        const bool isWritten = std::fputs(content.c_str(), m_file) >= 0
            && std::fputc('\n', m_file) != EOF && std::fflush(m_file) == 0;
        m_count += isWritten ? 1 : 0;
    }

    /// How many reports are in the file.
    std::int64_t count() const
    {
        const std::lock_guard lock(m_lock);
        return m_count;
    }

private:
    mutable std::mutex m_lock;
    std::FILE* m_file;
    std::int64_t m_count = 0;
};
