#include <tools/host/Output.h>

#include <tools/host/Markers.h>

#include <cstdio>
#include <string_view>

namespace telvora::host {

namespace {

// Uses stdio as the library's own output line does, so that the lines keep their order.
void print(std::string_view text)
{
    if (text.empty())
        return;
    std::fwrite(text.data(), 1, text.size(), stdout);
    std::fflush(stdout);
}

} // namespace

void Output::writeEvent(const Dictionary& event)
{
    write(event, true);
}

void Output::writeReply(const Dictionary& reply)
{
    write(reply, false);
}

void Output::write(const Dictionary& line, bool isEvent)
{
    std::string text = lineText(line);
    text.push_back('\n');
    detail::MutexLock lock(m_lock);
    if (m_lineThread && *m_lineThread != std::this_thread::get_id()) {
        m_keptBack.append(text);
        return;
    }
    if (isEvent) {
        print(m_keptBack);
        m_keptBack.clear();
    }
    print(text);
}

Output::Precedence::Precedence(Output& output)
    : m_output(output)
{
    detail::MutexLock lock(m_output.m_lock);
    m_output.m_lineThread = std::this_thread::get_id();
}

Output::Precedence::~Precedence()
{
    m_output.writeKeptBack();
}

void Output::writeKeptBack()
{
    detail::MutexLock lock(m_lock);
    m_lineThread.reset();
    print(m_keptBack);
    m_keptBack.clear();
}

TELVORA_NO_THREAD_SAFETY_ANALYSIS void Output::tryToWriteKeptBack()
{
    if (!m_lock.native().try_lock())
        return;
    print(m_keptBack);
    m_keptBack.clear();
    m_lock.native().unlock();
}

} // namespace telvora::host
