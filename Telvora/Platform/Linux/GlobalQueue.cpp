#include <Telvora/Platform/Linux/GlobalQueue.h>

#include <Telvora/Platform/Linux/Block.h>
#include <Telvora/Platform/Linux/WorkerPool.h>

#include <utility>

namespace telvora {

namespace {

void runAndGiveBack(Job& job) noexcept
{
    Block& block = static_cast<Block&>(job);
    block.runWork();
    giveBack(block);
}

} // namespace

void submitGlobally(Work&& work)
{
    Block& block = takeBlock();
    block.work = std::move(work);
    block.run = &runAndGiveBack;
    WorkerPool::shared().post(block);
}

} // namespace telvora
