#pragma once

#include <Telvora/Base/Dictionary.h>
#include <Telvora/Base/Fatal.h>

#include <boost/describe/members.hpp>
#include <boost/mp11/algorithm.hpp>

#include <optional>
#include <string>
#include <utility>

namespace telvora {

namespace detail {

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
            const bool isNew
                = dictionary.emplace(member.name, detail::asValue(record.*member.pointer)).second;
            if (!isNew) {
                fatal(std::string("Duplicate values for key: '") + member.name + "'", "DataAsDict");
            }
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
