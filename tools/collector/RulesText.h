#pragma once

#include <tools/collector/Rules.h>

#include <cstddef>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

namespace telvora::collector {

/// What is wrong with the text of the rules, and at which byte.
class RulesError : public std::invalid_argument {
public:
    RulesError(const std::string& why, std::size_t byte);

    std::size_t byte() const { return m_byte; }

private:
    std::size_t m_byte;
};

/// The rules in `text`; README.md has the format. Throws RulesError where one is wrong.
std::vector<Rule> readRules(std::string_view text);

} // namespace telvora::collector
