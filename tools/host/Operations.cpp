#include <tools/host/Operations.h>

#include <tools/host/ScriptError.h>

namespace telvora::host {

SimulatedPlatform& Call::simulated() const
{
    SimulatedPlatform* platform = host.world().simulated();
    if (!platform)
        throw ScriptError("Only the simulated platform can do this");
    return *platform;
}

const OperationTable& operationTable()
{
    static const auto& table = *new OperationTable([] {
        OperationTable operations;
        addFlowOperations(operations);
        addFacadeOperations(operations);
        addOperatingOperations(operations);
        addReportOperations(operations);
        addChannelOperations(operations);
        addLogOperations(operations);
        addValueOperations(operations);
        addExcavatorOperations(operations);
        addLifeCycleOperations(operations);
        addWorldOperations(operations);
        addScreenOperations(operations);
        return operations;
    }());
    return table;
}

} // namespace telvora::host
