#pragma once

#include <Telvora/Base/Dictionary.h>

#include <optional>

namespace telvora::detail {

/// The parameters that a report takes from the page on top; absent where the page has none. `read`
/// returns the parameters of the page that is on top now, or null without a page.
///
/// Deliberate: it reads twice, once to test and once to copy. If another page comes to the top in
/// between, that page's parameters are returned, even where it has none.
template<typename Read> std::optional<StringDictionary> pageParameters(Read&& read)
{
    const auto tested = read();
    if (!tested || tested->empty())
        return std::nullopt;
    const auto copied = read();
    return copied ? std::optional(*copied) : std::nullopt;
}

} // namespace telvora::detail
