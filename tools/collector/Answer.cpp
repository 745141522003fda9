#include <tools/collector/Answer.h>

#include <boost/beast/http/status.hpp>
#include <boost/json/parse.hpp>

namespace telvora::collector {
namespace {

namespace json = boost::json;

bool hasNoBody(int status)
{
    return status == 204 || status == 304;
}

bool isRedirect(const Rule& rule)
{
    bool hasLocation = false;
    for (const auto& header : rule.headers)
        hasLocation = hasLocation || header.first == "Location" || header.first == "location";
    return hasLocation && rule.status >= 300 && rule.status < 400;
}

std::string head(int status, std::size_t length, bool keepAlive,
    std::string_view contentType = "application/json")
{
    const auto reason = boost::beast::http::obsolete_reason(
        boost::beast::http::int_to_status(static_cast<unsigned>(status)));
    std::string text = "HTTP/1.1 " + std::to_string(status) + ' '
        + std::string(reason.data(), reason.size()) + "\r\n";
    if (!hasNoBody(status)) {
        text += "Content-Type: " + std::string(contentType)
            + "\r\nContent-Length: " + std::to_string(length) + "\r\n";
    }
    if (!keepAlive)
        text += "Connection: close\r\n";
    return text;
}

} // namespace

const char* outcomeText(Outcome outcome)
{
    switch (outcome) {
    case Outcome::accepted:
        return "accepted";
    case Outcome::rejected:
        return "rejected";
    case Outcome::notObject:
        return "notObject";
    case Outcome::undelivered:
        return "undelivered";
    case Outcome::pending:
        break;
    }
    return "pending";
}

Outcome outcomeOf(std::string_view body)
{
    json::parse_options options;
    options.max_depth = 512;
    boost::system::error_code error;
    const json::value value = json::parse({ body.data(), body.size() }, error, {}, options);
    if (error)
        return Outcome::rejected;
    if (!value.is_object())
        return Outcome::notObject;
    const json::value* success = value.get_object().if_contains("success");
    if (success == nullptr)
        return Outcome::rejected;
    if (success->is_bool())
        return Outcome::accepted;
    if (!success->is_number())
        return Outcome::rejected;
    const double number = success->to_number<double>();
    return number == 0 || number == 1 ? Outcome::accepted : Outcome::rejected;
}

Answer ruledAnswer(const Rule& rule, bool keepAlive)
{
    const AfterAnswer drop = rule.reset ? AfterAnswer::reset : AfterAnswer::close;
    Answer answer;
    answer.delay = rule.delay;
    answer.drip = rule.drip;

    if (rule.never || rule.close == Rule::Close::before || rule.refuse != Rule::Refuse::no) {
        answer.isNever = rule.never;
        answer.after = rule.refuse != Rule::Refuse::no ? AfterAnswer::reset : drop;
        answer.outcome = Outcome::undelivered;
        return answer;
    }
    if (rule.nonsense) {
        answer.bytes = "\x16\x03\x01 this is no HTTP\r\n\x7f\x01\xfe\xff\r\n\r\n";
        answer.after = drop;
        answer.outcome = Outcome::undelivered;
        return answer;
    }

    const std::string body = hasNoBody(rule.status) ? std::string() : rule.body;
    answer.status = rule.status;
    answer.bytes = head(rule.status, body.size(), keepAlive);
    for (const auto& [name, value] : rule.headers)
        answer.bytes += name + ": " + value + "\r\n";
    answer.bytes += "\r\n";
    const std::size_t headSize = answer.bytes.size();
    answer.bytes += body;
    answer.outcome = isRedirect(rule) ? Outcome::undelivered : outcomeOf(body);
    answer.after = keepAlive ? AfterAnswer::keepOpen : AfterAnswer::close;

    // Half of the body, or of the head where there is no body: the client surely sees a beginning.
    std::size_t sent = answer.bytes.size();
    if (rule.close == Rule::Close::within)
        sent = body.size() > 1 ? headSize + body.size() / 2 : headSize / 2;
    if (rule.truncate)
        sent = std::min(sent, *rule.truncate);
    if (sent < answer.bytes.size()) {
        answer.bytes.resize(sent);
        answer.outcome = Outcome::undelivered;
        answer.after = drop;
    }
    return answer;
}

Answer plainAnswer(int status, std::string_view body, bool keepAlive, std::string_view contentType)
{
    Answer answer;
    answer.status = status;
    answer.bytes = head(status, body.size(), keepAlive, contentType) + "\r\n";
    answer.bytes += body;
    answer.after = keepAlive ? AfterAnswer::keepOpen : AfterAnswer::close;
    answer.outcome = outcomeOf(body);
    return answer;
}

} // namespace telvora::collector
