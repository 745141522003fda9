#pragma once

#include <tools/host/Arguments.h>
#include <tools/host/Host.h>

#include <functional>
#include <map>
#include <optional>
#include <string>
#include <string_view>

namespace telvora::host {

/// How a line came to be run.
struct LineContext {
    /// The closure that it runs inside of; empty outside.
    std::string_view inside {};
    /// Only a line that fails replies.
    bool onlyErrors = false;
    /// A line of the script itself, on the main thread.
    bool isOfScript = false;
};

/// Runs one line that is written inside another one.
using InnerLineRunner = std::function<void(const Value& line, const LineContext& context)>;

/// One line under way.
struct Call {
    Host& host;
    Arguments arguments;
    LineContext context;
    const InnerLineRunner& runLine;

    /// Throws ScriptError on the real platform.
    SimulatedPlatform& simulated() const;
};

/// What an operation returns: nothing, or a value, which is null for an absent one.
using Result = std::optional<Value>;

/// A result that may be absent.
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
    /// TrackerManager's shared object is there before it runs.
    bool touchesManager = false;
    /// Other threads may write before its reply: it waits for them, or may end the process.
    bool letsOthersWrite = false;
    /// What follows the reply.
    void (*afterReply)(const Call& call) = nullptr;
};

/// Every operation by its name.
using OperationTable = std::map<std::string, Operation, std::less<>>;

const OperationTable& operationTable();

/// The groups that it is made of, one in each source.
void addFlowOperations(OperationTable& table);
void addFacadeOperations(OperationTable& table);
void addReportOperations(OperationTable& table);
void addChannelOperations(OperationTable& table);
void addLogOperations(OperationTable& table);
void addValueOperations(OperationTable& table);
void addExcavatorOperations(OperationTable& table);
void addLifeCycleOperations(OperationTable& table);
void addWorldOperations(OperationTable& table);
void addScreenOperations(OperationTable& table);

} // namespace telvora::host
