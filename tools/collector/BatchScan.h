#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace telvora::collector {

/// What the check of a batch needs to know about a body's JSON text.
///
/// The JSON reader is our own, for two reasons. The collector checks what the library writes, so
/// the two must not share their JSON code. And a body may be nested as deeply as its length allows,
/// which overflows the stack of a recursive reader; this one needs one byte a level.
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
    /// Why the text is not JSON, and at which byte; empty where it is JSON.
    std::string error;
    std::size_t errorOffset = 0;
    /// The root object's members in order of appearance, repeated keys included.
    std::vector<Member> members;
};

/// Reads `text` strictly as RFC 8259 defines it: one value, valid UTF-8, no unpaired surrogates.
BatchScan scanBatch(std::string_view text);

} // namespace telvora::collector
