#pragma once

#include <QtCore/QObject>
#include <QtCore/QVariant>

#include <string>
#include <string_view>

namespace telvora::detail {

/// Whether the object says that what is inside it is no page.
inline bool isOptedOut(const QObject& object)
{
    const QVariant pages = object.property("telvoraPages");
    return pages.isValid() && pages.typeId() == QMetaType::Bool && !pages.toBool();
}

inline std::string withoutNameSpaces(std::string_view className)
{
    const std::size_t colons = className.rfind("::");
    return std::string(colons == std::string_view::npos ? className : className.substr(colons + 2));
}

} // namespace telvora::detail
