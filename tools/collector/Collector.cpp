#include <tools/collector/Collector.h>

#include <tools/collector/Unpack.h>

#include <boost/json/serialize.hpp>

#include <unistd.h>

#include <fstream>

namespace telvora::collector {
namespace {

double nowInSecondsSince1970()
{
    return std::chrono::duration<double>(std::chrono::system_clock::now().time_since_epoch())
        .count();
}

// Absent where it cannot be read: a folder too, which opens as a file does.
std::optional<std::string> readFile(const std::string& path)
{
    std::ifstream file(path, std::ios::binary);
    std::string content;
    char buffer[4096];
    while (file.read(buffer, sizeof buffer) || file.gcount() > 0)
        content.append(buffer, static_cast<std::size_t>(file.gcount()));
    if (!file.eof())
        return std::nullopt;
    return content;
}

} // namespace

Collector::Collector(Options options)
    : m_options(std::move(options))
    , m_store(m_options.maximumMemory)
{
}

std::optional<std::string> Collector::prepare()
{
    if (!m_options.rulesFile.empty()) {
        auto rules = readFile(m_options.rulesFile);
        if (!rules)
            return "cannot read " + m_options.rulesFile;
        m_initialRules = std::move(*rules);
        if (const auto problem = installRules(m_initialRules))
            return m_options.rulesFile + ": " + *problem;
    }
    if (!m_record.open(m_options.recordFile))
        return "cannot write " + m_options.recordFile;
    // A sink has too many requests to show.
    if (!m_options.isQuiet && !m_options.isSink)
        m_log.open(STDERR_FILENO);
    return std::nullopt;
}

Collector::Reception Collector::receive(Request request, bool keepAlive)
{
    if (m_options.isSink) {
        countInSink(request.body.size());
        return { plainAnswer(200, R"({"success":true})", keepAlive), std::nullopt };
    }

    const bool isPost = request.method == "POST";
    request.secondsSince1970 = nowInSecondsSince1970();
    const auto wrongEncoding = unpack(request.headers, request.body, m_options.maximumBody);
    request.verdict = judge(request.headers, request.body);
    if (wrongEncoding)
        request.verdict.problems.insert(request.verdict.problems.begin(), *wrongEncoding);
    if (!isPost)
        request.verdict.problems.insert(
            request.verdict.problems.begin(), "method is " + request.method + ", not POST");

    const std::string_view path
        = std::string_view(request.target).substr(0, request.target.find_first_of("?#"));
    Answer answer;
    if (const auto rule = m_rules.take(path, RuleList::Clock::now())) {
        request.rule = rule->name;
        answer = ruledAnswer(*rule, keepAlive);
    } else if (isPost) {
        answer = plainAnswer(200, R"({"success":true})", keepAlive);
    } else {
        answer = plainAnswer(405, R"({"error":"only POST is served here"})", keepAlive);
    }
    request.status = answer.status;
    auto ticket = m_store.add(std::move(request));
    noteProgress();
    return { std::move(answer), std::move(ticket) };
}

void Collector::settle(const Store::Ticket& ticket, Outcome outcome)
{
    m_store.settle(ticket, outcome);
    if (m_record.isOpen())
        m_record.writeLine(boost::json::serialize(describe(*ticket.request)));
    m_log.note(*ticket.request);
    noteProgress();
}

void Collector::noteMalformed(int status, std::string_view why)
{
    m_store.noteMalformed();
    m_log.noteMalformed(nowInSecondsSince1970(), status, why);
}

void Collector::reset()
{
    m_store.reset();
    m_sink = {};
    installRules(m_initialRules);
}

std::optional<std::string> Collector::installRules(std::string_view text)
{
    auto problem = m_rules.install(text, RuleList::Clock::now());
    if (!problem && onRulesChanged)
        onRulesChanged();
    return problem;
}

boost::json::object Collector::summary() const
{
    boost::json::object object = m_store.summary();
    if (m_options.isSink) {
        // A sink answers every request with success.
        object["total"] = { { "requests", m_sink.requests }, { "bytes", m_sink.bytes },
            { "accepted", { { "batches", m_sink.requests } } } };
    }
    return object;
}

} // namespace telvora::collector
