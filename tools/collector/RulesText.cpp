#include <tools/collector/RulesText.h>

#include <tools/collector/BatchScan.h>
#include <tools/collector/Duration.h>
#include <tools/collector/JSONPlace.h>
#include <tools/collector/Printable.h>

#include <boost/json/parser.hpp>

namespace telvora::collector {
namespace {

namespace json = boost::json;

// Reads one rule. Throws RulesError where it is wrong.
class RuleReader {
public:
    // `text` holds all rules, and `list` is the way to their array.
    RuleReader(std::string_view text, JSONPath list, std::size_t index)
        : m_text(text)
        , m_index(index)
        , m_rulePath(std::move(list))
    {
        m_rulePath.emplace_back(index);
        m_path = m_rulePath;
    }

    Rule read(const json::value& value)
    {
        if (!value.is_object())
            throw bad("a rule must be an object");
        Rule rule;
        for (const auto& [key, member] : value.get_object()) {
            goTo(key);
            readMember(rule, { key.data(), key.size() }, member);
        }
        if (rule.name.empty())
            rule.name.append("#").append(std::to_string(m_index));
        if (rule.refuse == Rule::Refuse::connect && rule.left) {
            goTo("times");
            throw bad("\"refuse\": \"connect\" cannot be counted: use \"seconds\"");
        }
        return rule;
    }

private:
    enum class At { value, name };

    void goTo(json::string_view member)
    {
        m_path = m_rulePath;
        m_path.emplace_back(std::string(member));
    }

    void goTo(json::string_view member, json::string_view inner)
    {
        goTo(member);
        m_path.emplace_back(std::string(inner));
    }

    RulesError bad(const std::string& why, At at = At::value) const
    {
        return { "rule " + std::to_string(m_index) + ": " + why,
            placeInJSON(m_text, m_path, at == At::name) };
    }

    RulesError unknownMember(const std::string& name) const
    {
        constexpr std::size_t longest = 100;
        return bad("unknown member \"" + printable(name, longest) + "\"", At::name);
    }

    void readMember(Rule& rule, std::string_view key, const json::value& value)
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
            throw unknownMember(std::string(key));
    }

    RulesError mustBe(std::string_view key, const std::string& what) const
    {
        return bad("\"" + std::string(key) + "\" must be " + what);
    }

    std::string text(std::string_view key, const json::value& value) const
    {
        if (!value.is_string())
            throw mustBe(key, "a text");
        return std::string(value.get_string());
    }

    bool flag(std::string_view key, const json::value& value) const
    {
        if (!value.is_bool())
            throw mustBe(key, "true or false");
        return value.get_bool();
    }

    std::uint64_t count(std::string_view key, const json::value& value) const
    {
        if (!value.is_int64() || value.get_int64() < 0)
            throw mustBe(key, "a whole number from 0");
        return static_cast<std::uint64_t>(value.get_int64());
    }

    std::uint64_t positiveCount(std::string_view key, const json::value& value) const
    {
        const std::uint64_t number = count(key, value);
        if (number == 0)
            throw mustBe(key, "at least 1");
        return number;
    }

    int status(std::string_view key, const json::value& value) const
    {
        if (!value.is_int64() || value.get_int64() < 200 || value.get_int64() > 999)
            throw mustBe(key, "a whole number from 200 to 999");
        return static_cast<int>(value.get_int64());
    }

    std::chrono::milliseconds duration(std::string_view key, const json::value& value) const
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

    std::vector<std::pair<std::string, std::string>> headers(
        std::string_view key, const json::value& value)
    {
        if (!value.is_object())
            throw mustBe(key, "an object of texts");
        std::vector<std::pair<std::string, std::string>> headers;
        for (const auto& [name, content] : value.get_object()) {
            goTo("headers", name);
            headers.emplace_back(std::string(name), text(key, content));
            for (const std::string& part : { headers.back().first, headers.back().second }) {
                if (part.find_first_of("\r\n") != std::string::npos)
                    throw mustBe(key, "free of line breaks");
            }
        }
        return headers;
    }

    Rule::Close close(std::string_view key, const json::value& value) const
    {
        if (value == "before")
            return Rule::Close::before;
        if (value == "within")
            return Rule::Close::within;
        throw mustBe(key, "\"before\" or \"within\"");
    }

    Rule::Refuse refuse(std::string_view key, const json::value& value) const
    {
        if (value == true || value == "accept")
            return Rule::Refuse::accept;
        if (value == "connect")
            return Rule::Refuse::connect;
        throw mustBe(key, "true, \"accept\" or \"connect\"");
    }

    Rule::Drip drip(std::string_view key, const json::value& value)
    {
        if (!value.is_object())
            throw mustBe(key, R"(an object of "bytes" and "every")");
        Rule::Drip drip;
        for (const auto& [name, content] : value.get_object()) {
            goTo("drip", name);
            if (name == "bytes")
                drip.bytes = positiveCount("drip.bytes", content);
            else if (name == "every")
                drip.every = duration("drip.every", content);
            else
                throw unknownMember("drip." + std::string(name));
        }
        return drip;
    }

    std::string_view m_text;
    std::size_t m_index;
    JSONPath m_rulePath;
    // The way to what is being read, for an error.
    JSONPath m_path;
};

} // namespace

RulesError::RulesError(const std::string& why, std::size_t byte)
    : std::invalid_argument(why)
    , m_byte(byte)
{
}

std::vector<Rule> readRules(std::string_view text)
{
    const BatchScan scan = scanBatch(text);
    if (scan.root == BatchScan::Root::notJSON)
        throw RulesError("rules are no JSON: " + scan.error, scan.errorOffset);
    // What can still fail is text that is nested deeply and numbers that are too large.
    json::parser parser;
    boost::system::error_code error;
    const std::size_t end = parser.write_some(text.data(), text.size(), error);
    if (error)
        throw RulesError("rules cannot be read: " + error.message(), end);
    const json::value value = parser.release();

    JSONPath path;
    const json::value* list = &value;
    if (value.is_object() && value.get_object().contains("rules")) {
        list = &value.get_object().at("rules");
        path.emplace_back("rules");
    }
    if (!list->is_array())
        throw RulesError("rules must be an array, or an object whose member \"rules\" is one",
            placeInJSON(text, path));
    std::vector<Rule> rules;
    for (const json::value& item : list->get_array())
        rules.push_back(RuleReader(text, path, rules.size()).read(item));
    return rules;
}

} // namespace telvora::collector
