#pragma once

#include <boost/json/value.hpp>

#include <string_view>

namespace telvora::collector {

/// A text as JSON can carry it: itself where it is UTF-8, else {"$bytes": HEX}, so that nothing
/// that came over the wire is lost or altered in the telling.
boost::json::value asJSON(std::string_view text);

} // namespace telvora::collector
