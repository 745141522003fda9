#include <tools/collector/Rules.h>

#include <tools/collector/Duration.h>

#include <boost/json/parse.hpp>

#include <stdexcept>

namespace telvora::collector {
namespace {

namespace json = boost::json;

// Reads one rule. Throws std::invalid_argument where it is wrong; install() catches that.
class RuleReader {
public:
    explicit RuleReader(const json::value& value)
        : m_object(value.is_object() ? value.get_object() : throw bad("a rule must be an object"))
    {
    }

    Rule read(std::size_t index)
    {
        Rule rule;
        for (const auto& [key, value] : m_object)
            readMember(rule, { key.data(), key.size() }, value);
        if (rule.name.empty())
            rule.name.append("#").append(std::to_string(index));
        if (rule.refuse == Rule::Refuse::connect && rule.left)
            throw bad("\"refuse\": \"connect\" cannot be counted: use \"seconds\"");
        return rule;
    }

private:
    static std::invalid_argument bad(const std::string& why) { return std::invalid_argument(why); }

    static void readMember(Rule& rule, std::string_view key, const json::value& value)
    {
        if (key == "name")
            rule.name = text(key, value);
        else if (key == "path")
            rule.path = text(key, value);
        else if (key == "times")
            rule.left = count(key, value);
        else if (key == "seconds")
            rule.lapsesAfter = duration(key, value);
        else if (key == "body")
            rule.body = text(key, value);
        else if (key == "status")
            rule.status = status(key, value);
        else if (key == "headers")
            rule.headers = headers(key, value);
        else if (key == "delay")
            rule.delay = duration(key, value);
        else if (key == "close")
            rule.close = close(key, value);
        else if (key == "reset")
            rule.reset = flag(key, value);
        else if (key == "truncate")
            rule.truncate = count(key, value);
        else if (key == "drip")
            rule.drip = drip(key, value);
        else if (key == "never")
            rule.never = flag(key, value);
        else if (key == "nonsense")
            rule.nonsense = flag(key, value);
        else if (key == "refuse")
            rule.refuse = refuse(key, value);
        else
            throw bad("unknown member \"" + std::string(key) + "\"");
    }

    static std::invalid_argument mustBe(std::string_view key, const std::string& what)
    {
        return bad("\"" + std::string(key) + "\" must be " + what);
    }

    static std::string text(std::string_view key, const json::value& value)
    {
        if (!value.is_string())
            throw mustBe(key, "a text");
        return std::string(value.get_string());
    }

    static bool flag(std::string_view key, const json::value& value)
    {
        if (!value.is_bool())
            throw mustBe(key, "true or false");
        return value.get_bool();
    }

    static std::uint64_t count(std::string_view key, const json::value& value)
    {
        if (!value.is_int64() || value.get_int64() < 0)
            throw mustBe(key, "a whole number from 0");
        return static_cast<std::uint64_t>(value.get_int64());
    }

    static int status(std::string_view key, const json::value& value)
    {
        if (!value.is_int64() || value.get_int64() < 200 || value.get_int64() > 999)
            throw mustBe(key, "a whole number from 200 to 999");
        return static_cast<int>(value.get_int64());
    }

    static std::chrono::milliseconds duration(std::string_view key, const json::value& value)
    {
        constexpr std::chrono::hours longest { 24 };
        std::optional<std::chrono::milliseconds> duration;
        if (value.is_number())
            duration = secondsDuration(value.to_number<double>(), longest);
        else if (value.is_string())
            duration = readDuration(std::string(value.get_string()), longest);
        if (!duration)
            throw mustBe(key,
                std::string("a number of seconds from 0 to 86400, or a text such as ")
                    + durationExamples);
        return *duration;
    }

    static std::vector<std::pair<std::string, std::string>> headers(
        std::string_view key, const json::value& value)
    {
        if (!value.is_object())
            throw mustBe(key, "an object of texts");
        std::vector<std::pair<std::string, std::string>> headers;
        for (const auto& [name, content] : value.get_object()) {
            headers.emplace_back(std::string(name), text(key, content));
            for (const std::string& part : { headers.back().first, headers.back().second }) {
                if (part.find_first_of("\r\n") != std::string::npos)
                    throw mustBe(key, "free of line breaks");
            }
        }
        return headers;
    }

    static Rule::Close close(std::string_view key, const json::value& value)
    {
        if (value == "before")
            return Rule::Close::before;
        if (value == "within")
            return Rule::Close::within;
        throw mustBe(key, "\"before\" or \"within\"");
    }

    static Rule::Refuse refuse(std::string_view key, const json::value& value)
    {
        if (value == true || value == "accept")
            return Rule::Refuse::accept;
        if (value == "connect")
            return Rule::Refuse::connect;
        throw mustBe(key, "true, \"accept\" or \"connect\"");
    }

    static Rule::Drip drip(std::string_view key, const json::value& value)
    {
        if (!value.is_object())
            throw mustBe(key, R"(an object of "bytes" and "every")");
        Rule::Drip drip;
        for (const auto& [name, content] : value.get_object()) {
            if (name == "bytes")
                drip.bytes = count("drip.bytes", content);
            else if (name == "every")
                drip.every = duration("drip.every", content);
            else
                throw bad("unknown member \"drip." + std::string(name) + "\"");
        }
        if (drip.bytes == 0)
            throw mustBe("drip.bytes", "at least 1");
        return drip;
    }

    const json::object& m_object;
};

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

} // namespace

std::optional<std::string> RuleList::install(std::string_view text, Clock::time_point now)
{
    boost::system::error_code error;
    const json::value value = json::parse({ text.data(), text.size() }, error);
    if (error)
        return "rules are no JSON: " + error.message();
    const json::value* list = &value;
    if (value.is_object() && value.get_object().contains("rules"))
        list = &value.get_object().at("rules");
    if (!list->is_array())
        return "rules must be an array, or an object whose member \"rules\" is one";

    std::vector<Rule> rules;
    try {
        for (const json::value& item : list->get_array())
            rules.push_back(RuleReader(item).read(rules.size()));
    } catch (const std::invalid_argument& problem) {
        return "rule " + std::to_string(rules.size()) + ": " + problem.what();
    }
    m_rules = std::move(rules);
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
        if (!path.starts_with(rule.path) || !applies(rule, now))
            continue;
        if (rule.left)
            --*rule.left;
        ++rule.met;
        return rule;
    }
    return std::nullopt;
}

std::optional<Rule> RuleList::takeForConnection(Clock::time_point now)
{
    for (Rule& rule : m_rules) {
        if (rule.refuse != Rule::Refuse::accept || !applies(rule, now))
            continue;
        if (rule.left)
            --*rule.left;
        ++rule.met;
        return rule;
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
