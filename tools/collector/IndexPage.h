#pragma once

#include <boost/json/value.hpp>

#include <string>
#include <string_view>
#include <vector>

namespace telvora::collector {

/// What the index tells about one address under /_telvora/.
struct IndexEntry {
    /// "GET", or several ("GET, PUT").
    std::string methods;
    /// With an example of a query, where it takes one.
    std::string address;
    std::string_view purpose;
    /// Whether a browser can open it.
    bool isLink = true;
};

/// The page for a person who opens /_telvora/ in a browser: what is served there, and what was
/// received so far, with links to the requests. It loads nothing from elsewhere.
///
/// `summary`: as /_telvora/summary has it. Its paths come from clients, so they are escaped.
std::string indexPage(const std::vector<IndexEntry>& entries, const boost::json::object& summary);

} // namespace telvora::collector
