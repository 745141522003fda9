#pragma once

#include <stdexcept>

namespace telvora::host {

/// Why a line cannot be run; its text becomes the reply's "error".
class ScriptError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

} // namespace telvora::host
