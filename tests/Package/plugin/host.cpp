#include <Telvora/Telvora.h>

#include <cstdio>
#include <dlfcn.h>

// Loads a plugin and says whether the two share a manager.
int main(int count, char** arguments)
{
    void* plugin = count == 2 ? dlopen(arguments[1], RTLD_NOW | RTLD_LOCAL) : nullptr;
    if (!plugin) {
        std::fprintf(stderr, "%s\n", count == 2 ? dlerror() : "usage: host PLUGIN");
        return 1;
    }
    using Manager = const void*();
    const auto managerOfPlugin = reinterpret_cast<Manager*>(dlsym(plugin, "managerOfPlugin"));
    const void* manager = &telvora::TrackerManager::shared();
    std::puts(managerOfPlugin() == manager ? "one manager" : "two managers");
}
