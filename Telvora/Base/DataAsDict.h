#pragma once

#include <Telvora/Base/Dictionary.h>
#include <Telvora/Base/Fatal.h>

#include <boost/describe/members.hpp>
#include <boost/mp11/algorithm.hpp>

#include <optional>
#include <string>
#include <string_view>
#include <utility>

namespace telvora {

namespace detail {

// A property that would be a keyword carries a trailing underscore, its key does not.
constexpr std::string_view keyOf(std::string_view name)
{
    return name.ends_with('_') ? name.substr(0, name.size() - 1) : name;
}

inline Value asValue(const std::string& text)
{
    return Value(std::string_view(text));
}
inline Value asValue(bool flag)
{
    return Value(flag);
}
inline Value asValue(double number)
{
    return Value(number);
}
inline Value asValue(std::int64_t number)
{
    return Value(number);
}
inline Value asValue(const Dictionary& dictionary)
{
    return Value(copy(dictionary));
}

inline Value asValue(const StringDictionary& strings)
{
    Dictionary dictionary;
    for (const auto& [key, text] : strings)
        dictionary.emplace(key, std::string_view(text));
    return Value(std::move(dictionary));
}

template<typename T> Value asValue(const std::optional<T>& maybe)
{
    return maybe ? asValue(*maybe) : Value(nullptr);
}

} // namespace detail

/// Gives a record its dictionary: one entry for each stored property, in the order of
/// declaration, under the property's own name. A record derives from DataAsDict of itself and
/// lists its members with BOOST_DESCRIBE_STRUCT.
///
/// An absent property is not left out: its key is there and holds null, which is what the JSON
/// text will show. Whoever reads the dictionary tells "absent in the record" from "not in the
/// record" by the presence of the key.
///
/// Failure: two properties of one name stop the process; the language rules that out.
template<typename Record> class DataAsDict {
public:
    Dictionary asDictionary() const
    {
        using Members = boost::describe::describe_members<Record, boost::describe::mod_public>;
        Dictionary dictionary;
        dictionary.reserve(boost::mp11::mp_size<Members>::value);
        boost::mp11::mp_for_each<Members>([&](auto member) {
            const auto& record = static_cast<const Record&>(*this);
            const std::string_view key = detail::keyOf(member.name);
            const bool isNew
                = dictionary.emplace(key, detail::asValue(record.*member.pointer)).second;
            if (!isNew)
                fatal("Duplicate values for key: '" + std::string(key) + "'", "DataAsDict");
        });
        return dictionary;
    }

protected:
    DataAsDict() = default;
    ~DataAsDict() = default;
    DataAsDict(const DataAsDict&) = default;
    DataAsDict& operator=(const DataAsDict&) = default;
};

} // namespace telvora
