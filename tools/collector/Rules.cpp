#include <tools/collector/Rules.h>

#include <tools/collector/JSONPlace.h>
#include <tools/collector/RulesText.h>

namespace telvora::collector {
namespace {

namespace json = boost::json;

double inSeconds(std::chrono::milliseconds duration)
{
    return std::chrono::duration<double>(duration).count();
}

const char* refusalText(Rule::Refuse refuse)
{
    return refuse == Rule::Refuse::accept ? "accept" : "connect";
}

json::object describeRule(const Rule& rule)
{
    json::object object { { "name", rule.name }, { "path", rule.path }, { "met", rule.met } };
    if (rule.left)
        object["left"] = *rule.left;
    if (rule.lapsesAfter)
        object["seconds"] = inSeconds(*rule.lapsesAfter);
    if (rule.refuse != Rule::Refuse::no) {
        object["refuse"] = refusalText(rule.refuse);
        return object;
    }
    object["status"] = rule.status;
    object["body"] = rule.body;
    if (rule.delay.count() > 0)
        object["delay"] = inSeconds(rule.delay);
    if (rule.close != Rule::Close::no)
        object["close"] = rule.close == Rule::Close::before ? "before" : "within";
    if (rule.reset)
        object["reset"] = true;
    if (rule.truncate)
        object["truncate"] = *rule.truncate;
    if (rule.drip)
        object["drip"]
            = { { "bytes", rule.drip->bytes }, { "every", inSeconds(rule.drip->every) } };
    if (rule.never)
        object["never"] = true;
    if (rule.nonsense)
        object["nonsense"] = true;
    return object;
}

Rule usedOnce(Rule& rule)
{
    if (rule.left)
        --*rule.left;
    ++rule.met;
    return rule;
}

} // namespace

std::optional<std::string> RuleList::install(std::string_view text, Clock::time_point now)
{
    // Some editors begin a file with a byte order mark.
    constexpr std::string_view byteOrderMark = "\xEF\xBB\xBF";
    if (text.starts_with(byteOrderMark))
        text.remove_prefix(byteOrderMark.size());
    try {
        m_rules = readRules(text);
    } catch (const RulesError& problem) {
        return lineAndColumn(text, problem.byte()) + ": " + problem.what();
    }
    m_installed = now;
    return std::nullopt;
}

bool RuleList::applies(const Rule& rule, Clock::time_point now) const
{
    return rule.left != 0U && (!rule.lapsesAfter || now < m_installed + *rule.lapsesAfter);
}

std::optional<Rule> RuleList::take(std::string_view path, Clock::time_point now)
{
    for (Rule& rule : m_rules) {
        if (path.starts_with(rule.path) && applies(rule, now))
            return usedOnce(rule);
    }
    return std::nullopt;
}

std::optional<Rule> RuleList::takeForConnection(Clock::time_point now)
{
    for (Rule& rule : m_rules) {
        if (rule.refuse == Rule::Refuse::accept && applies(rule, now))
            return usedOnce(rule);
    }
    return std::nullopt;
}

bool RuleList::refusesToListen(Clock::time_point now) const
{
    for (const Rule& rule : m_rules) {
        if (rule.refuse == Rule::Refuse::connect && applies(rule, now))
            return true;
    }
    return false;
}

json::array RuleList::describe() const
{
    json::array array;
    for (const Rule& rule : m_rules)
        array.push_back(describeRule(rule));
    return array;
}

} // namespace telvora::collector
