#include "examples/quickstart/HostServer.h"

#include <dlfcn.h>
#include <stdexcept>
#include <utility>

HostServer::~HostServer() {
    unload();
}

void HostServer::load(const std::string& path, const velm::ProviderContext& context) {
    _library = dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL);
    if (!_library) {
        throw std::runtime_error(dlerror());
    }
    const auto entry = reinterpret_cast<velm::ProviderEntry>(dlsym(_library, velm::providerEntrySymbol));
    if (!entry || entry()->interfaceVersion != velm::providerInterfaceVersion) {
        throw std::runtime_error(path + (entry ? ": built for another host" : " is no provider"));
    }
    _provider = entry()->create(context);
}

void HostServer::unload() noexcept {
    delete std::exchange(_provider, nullptr);
    if (_library) {
        dlclose(std::exchange(_library, nullptr));
    }
}

ORVSmrPtr<ORVValSlist<ORVSmrPtr<OrvoProviderInfo>>> HostServer::getProviders(
    ORVSmrPtr<IOrvoInstanceName> instanceName) {
    ORVSmrPtr<ORVValSlist<ORVSmrPtr<OrvoProviderInfo>>> providers;
    if (!instanceName.IsNull()) {
        providers = new ORVValSlist<ORVSmrPtr<OrvoProviderInfo>>;
        providers->append(ORVSmrPtr<OrvoProviderInfo>(new OrvoProviderInfo("file_watch", _provider)));
    }
    return providers;
}

velm::IProvider* HostServer::_selectProvider(const ORVString&, const ORVString&) {
    return _provider;
}
