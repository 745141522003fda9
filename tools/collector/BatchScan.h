#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace telvora::collector {

/// What a body's JSON text holds, as far as judging a batch needs it.
///
/// The reader is our own and not a library's, for two reasons: the collector is a witness, so it
/// must not share its reading of JSON with the sender; and a body may be nested as deep as its
/// length allows, which a reader that builds a tree by recursion cannot bear. This one keeps
/// one byte a level and builds nothing.
struct BatchScan {
    enum class Root { notJSON, object, other };

    struct Member {
        std::string key;
        bool isArray = false;
        /// Elements of the array; 0 where the member is something else.
        std::uint64_t elements = 0;
        /// Whether every element is an object. True of an empty array.
        bool onlyObjects = true;
    };

    Root root = Root::notJSON;
    /// Why and at which byte the text is no JSON; empty where it is.
    std::string error;
    std::size_t errorOffset = 0;
    /// The root object's members in order of appearance, repeated keys included.
    std::vector<Member> members;
};

/// Reads `text` by the letter of RFC 8259: one value, valid UTF-8, no unpaired surrogates.
BatchScan scanBatch(std::string_view text);

} // namespace telvora::collector
