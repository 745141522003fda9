#pragma once

#include <Telvora/Base/Dictionary.h>
#include <Telvora/Classes/OstraProviderProtocol.h>
#include <Telvora/LoggableKit/Classes/LogService.h>

#include <gtest/gtest.h>

#include <stdexcept>
#include <string>
#include <vector>

namespace telvora {

/// Records the lines that it gets.
class RecordingLogService final : public LogService {
public:
    void loggerInit() override { ++initCount; }
    void log(unsigned level, const std::string& message) override
    {
        levels.push_back(level);
        lines.push_back(message);
    }

    int initCount = 0;
    std::vector<unsigned> levels;
    std::vector<std::string> lines;
};

/// Records the reports that it gets, or throws an exception instead.
class RecordingProvider final : public QVXOstraProviderProtocol {
public:
    void report(const std::string& name, const std::string& content) override
    {
        if (throws)
            throw std::runtime_error("the service is down");
        names.push_back(name);
        contents.push_back(content);
    }

    Dictionary only() const
    {
        EXPECT_EQ(contents.size(), 1u);
        return contents.size() == 1 ? decode(contents.front()).value->as_object() : Dictionary();
    }

    bool throws = false;
    std::vector<std::string> names;
    std::vector<std::string> contents;
};

} // namespace telvora
