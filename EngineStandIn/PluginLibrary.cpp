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
        ResolveAll();
    } catch (...) {
        dlclose(m_Library);
        throw;
    }
}

void PluginLibrary::ResolveAll() {
#define NIMB_RESOLVE(name) Resolve(m_Library, #name, &m_Functions.name);
    NIMB_PLUGIN_FUNCTIONS(NIMB_RESOLVE)
    const auto features = reinterpret_cast<decltype(&::getPlayerFeatures)>(dlsym(m_Library, "getPlayerFeatures"));
    m_Features = features != nullptr ? features() : 0;
    if (Has(NimbFeature_Seek)) {
        NIMB_PLUGIN_SEEK_FUNCTIONS(NIMB_RESOLVE)
    }
    if (Has(NimbFeature_PlayRange)) {
        NIMB_PLUGIN_PLAY_RANGE_FUNCTIONS(NIMB_RESOLVE)
    }
    if (Has(NimbFeature_Clock)) {
        NIMB_PLUGIN_CLOCK_FUNCTIONS(NIMB_RESOLVE)
    }
    if (Has(NimbFeature_Device)) {
        NIMB_PLUGIN_DEVICE_FUNCTIONS(NIMB_RESOLVE)
    }
    if (Has(NimbFeature_ShownFrame)) {
        NIMB_PLUGIN_SHOWN_FRAME_FUNCTIONS(NIMB_RESOLVE)
    }
    if (Has(NimbFeature_Trouble)) {
        NIMB_PLUGIN_TROUBLE_FUNCTIONS(NIMB_RESOLVE)
    }
#undef NIMB_RESOLVE
}

PluginLibrary::~PluginLibrary() {
    dlclose(m_Library);
}

}  // namespace Nimb::EngineStandIn
