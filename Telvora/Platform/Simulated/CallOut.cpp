#include <Telvora/Platform/Simulated/CallOut.h>

namespace telvora::detail {

namespace {

constinit thread_local unsigned t_callOuts = 0;

} // namespace

CallOut::CallOut()
{
    ++t_callOuts;
}

CallOut::~CallOut()
{
    --t_callOuts;
}

bool CallOut::isUnderWay()
{
    return t_callOuts != 0;
}

} // namespace telvora::detail
