#pragma once

#include <tools/host/Arguments.h>
#include <tools/host/Host.h>

#include <functional>
#include <map>
#include <optional>
#include <string>
#include <string_view>

namespace telvora::host {

/// Where a line runs, and how it replies.
struct LineContext {
    /// The closure that runs it; empty outside of closures.
    std::string_view inside {};
    /// The line replies only where it fails.
    bool onlyErrors = false;
    /// It is a line of the script itself, on the main thread.
    bool isOfScript = false;
};

/// Runs one line that is an argument of another line.
using InnerLineRunner = std::function<void(const Value& line, const LineContext& context)>;

/// One line that is being run.
struct Call {
    Host& host;
    Arguments arguments;
    LineContext context;
    const InnerLineRunner& runLine;

    /// Throws ScriptError on the real platform.
    SimulatedPlatform& simulated() const;
};

/// What an operation returns: nothing, or a value, which is null for an absent result.
using Result = std::optional<Value>;

/// The result for a text that may be absent.
inline Result resultOf(const std::optional<std::string>& text)
{
    return text ? Value(*text) : Value(nullptr);
}

struct Operation {
    enum class Platform {
        both,
        simulated,
        real,
    };

    Result (*run)(const Call& call) = nullptr;
    Platform platform = Platform::both;
    /// It uses TrackerManager's shared object, which is made before it runs.
    bool touchesManager = false;
    /// Other threads may write before its reply, because it waits for them or may end the process.
    bool letsOthersWrite = false;
    /// Runs after the reply.
    void (*afterReply)(const Call& call) = nullptr;
};

/// Every operation by its name.
using OperationTable = std::map<std::string, Operation, std::less<>>;

const OperationTable& operationTable();

/// Each of these adds one group of operations and has a source of its own.
void addFlowOperations(OperationTable& table);
void addFacadeOperations(OperationTable& table);
void addOperatingOperations(OperationTable& table);
void addReportOperations(OperationTable& table);
void addChannelOperations(OperationTable& table);
void addLogOperations(OperationTable& table);
void addValueOperations(OperationTable& table);
void addExcavatorOperations(OperationTable& table);
void addLifeCycleOperations(OperationTable& table);
void addWorldOperations(OperationTable& table);
void addScreenOperations(OperationTable& table);

} // namespace telvora::host
