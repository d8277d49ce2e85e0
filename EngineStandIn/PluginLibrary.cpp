#include "EngineStandIn/PluginLibrary.h"

#include <dlfcn.h>

#include <stdexcept>

namespace Nimb::EngineStandIn {
namespace {

template <class Function>
void Resolve(void* library, const char* name, Function* pFunction) {
    *pFunction = reinterpret_cast<Function>(dlsym(library, name));
    if (*pFunction == nullptr) {
        throw std::runtime_error(std::string("the plug-in has no function ") + name);
    }
}

}  // namespace

PluginLibrary::PluginLibrary(const std::string& path) : m_Library(dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL)) {
    if (m_Library == nullptr) {
        throw std::runtime_error(std::string("the plug-in cannot be loaded: ") + dlerror());
    }
    try {
#define NIMB_RESOLVE(name) Resolve(m_Library, #name, &m_Functions.name);
        NIMB_PLUGIN_FUNCTIONS(NIMB_RESOLVE)
#undef NIMB_RESOLVE
    } catch (...) {
        dlclose(m_Library);
        throw;
    }
}

PluginLibrary::~PluginLibrary() {
    dlclose(m_Library);
}

}  // namespace Nimb::EngineStandIn
