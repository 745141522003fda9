#include <tools/collector/IndexPage.h>

#include <tools/collector/Options.h>
#include <tools/collector/Printable.h>
#include <tools/collector/Query.h>

#include <boost/json/serialize.hpp>

namespace telvora::collector {
namespace {

namespace json = boost::json;

constexpr std::size_t maximumPaths = 100;
constexpr std::size_t longestPath = 256;

std::string escaped(std::string_view text)
{
    std::string html;
    for (const char c : text) {
        switch (c) {
        case '&':
            html += "&amp;";
            break;
        case '<':
            html += "&lt;";
            break;
        case '>':
            html += "&gt;";
            break;
        case '"':
            html += "&quot;";
            break;
        case '\'':
            html += "&#39;";
            break;
        default:
            html += c;
        }
    }
    return html;
}

std::string link(std::string_view target, std::string_view text)
{
    return "<a href=\"" + escaped(target) + "\">" + escaped(text) + "</a>";
}

std::string row(std::initializer_list<std::string_view> cells)
{
    std::string html = "<tr>";
    for (const std::string_view cell : cells)
        html.append("<td>").append(cell);
    return html + "\n";
}

// A count of the summary; empty where it has none, as in sink mode.
std::string count(const json::object& counts, std::string_view name)
{
    const json::value* value = counts.if_contains(name);
    return value == nullptr ? "" : json::serialize(*value);
}

std::string acceptedBatches(const json::object& counts)
{
    const json::value* accepted = counts.if_contains("accepted");
    return accepted == nullptr ? "" : count(accepted->get_object(), "batches");
}

std::string countsRow(std::string_view name, std::string_view listing, const json::object& counts)
{
    const std::string wrong = count(counts, "badVerdicts");
    const bool isLinked = !listing.empty() && !wrong.empty() && wrong != "0";
    return row({ name, count(counts, "requests"), acceptedBatches(counts), count(counts, "events"),
        isLinked ? link(std::string(listing) + "verdict=bad", wrong) : wrong });
}

std::string pathRow(std::string_view path, const json::object& counts)
{
    const std::string name = printable(path, longestPath);
    // Other keys of the summary stand for several paths, or for bytes that are not UTF-8.
    if (!path.starts_with('/'))
        return countsRow(escaped(name), "", counts);
    const std::string listing = "/_telvora/requests?path=" + percentEncoded(path);
    return countsRow(link(listing, name), listing + '&', counts);
}

std::string receivedTable(const json::object& summary)
{
    const json::object& paths = summary.at("paths").get_object();
    std::string html = "<h2>Received</h2>\n<table>\n"
                       "<tr><th>path<th>requests<th>accepted<th>events<th>bad verdicts\n";
    html += countsRow("all", "/_telvora/requests?", summary.at("total").get_object());
    std::size_t shown = 0;
    for (const auto& [path, counts] : paths) {
        if (++shown > maximumPaths)
            break;
        html += pathRow({ path.data(), path.size() }, counts.get_object());
    }
    html += "</table>\n<p>The link of a path leads to every request whose path begins so.";
    if (paths.size() > maximumPaths)
        html += " Further paths are in the summary.";
    return html + "\n";
}

} // namespace

std::string indexPage(const std::vector<IndexEntry>& entries, const json::object& summary)
{
    std::string html = R"(<!DOCTYPE html>
<html lang="en">
<meta charset="utf-8">
<meta http-equiv="Content-Security-Policy" content="default-src 'none'; style-src 'unsafe-inline'">
<title>telvora-collector</title>
<style>
body { font-family: sans-serif; margin: 2em; }
th, td { text-align: left; vertical-align: top; padding: 0.2em 1.5em 0.2em 0; }
</style>
)";
    html += "<h1>" + escaped(versionText()) + "</h1>\n<table>\n";
    for (const IndexEntry& entry : entries) {
        html += row({ entry.methods,
            entry.isLink ? link(entry.address, entry.address) : escaped(entry.address),
            escaped(entry.purpose) });
    }
    return html + "</table>\n" + receivedTable(summary);
}

} // namespace telvora::collector
