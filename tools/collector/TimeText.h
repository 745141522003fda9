#pragma once

#include <string>

namespace telvora::collector {

/// A time as ISO 8601 writes it, in the zone of the machine: "2026-11-23T09:54:28.123+05:30".
std::string isoTime(double secondsSince1970);

/// The time of day in the zone of the machine: "09:54:28.123".
std::string timeOfDay(double secondsSince1970);

} // namespace telvora::collector
