#include <Telvora/Base/UUIDText.h>

#include <boost/uuid/uuid_io.hpp>

#include <algorithm>

namespace telvora {

std::string uuidText(const UUID& uuid)
{
    std::string text = boost::uuids::to_string(uuid);
    std::transform(text.begin(), text.end(), text.begin(),
        [](char digit) { return digit >= 'a' ? static_cast<char>(digit - 'a' + 'A') : digit; });
    return text;
}

} // namespace telvora
