#include <Telvora/Telvora.h>

extern "C" __attribute__((visibility("default"))) const void* managerOfPlugin()
{
    return &telvora::TrackerManager::shared();
}
