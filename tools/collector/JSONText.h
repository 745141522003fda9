#pragma once

#include <boost/json/value.hpp>

#include <string_view>

namespace telvora::collector {

/// `text` as a JSON value: itself where it is UTF-8, else {"$bytes": HEX}, so that bytes from the
/// wire are shown unchanged.
boost::json::value asJSON(std::string_view text);

} // namespace telvora::collector
