#pragma once

#include <Telvora/Base/Export.h>

#include <boost/uuid/uuid.hpp>

#include <string>

namespace telvora {

/// 16 bytes, in the order in which they are written.
using UUID = boost::uuids::uuid;

/// The canonical 8-4-4-4-12 text in upper case, as the collectors expect it. (RFC 9562 prints lower
/// case and reads both.)
TELVORA_EXPORT std::string uuidText(const UUID& uuid);

} // namespace telvora
