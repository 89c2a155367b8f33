#pragma once

#include "foundation/services/IVELMServer.h"
#include "foundation/services/ProviderEntry.h"

#include <string>

/// The smallest CIM server that can host the library: it knows one loadable provider and gives it every
/// class.
///
/// Threads: load() and unload() by one thread, the rest by any.
class HostServer : public velm::IVELMServer {
public:
    ~HostServer() override;

    /// Loads the shared object at `path` and creates its provider. Throws std::runtime_error that names the
    /// file.
    void load(const std::string& path, const velm::ProviderContext& context);

    /// Deletes the provider: nothing is reported afterwards. Requires: nobody calls it any more.
    void unload() noexcept;

    ORVSmrPtr<ORVValSlist<ORVSmrPtr<OrvoProviderInfo>>> getProviders(
        ORVSmrPtr<IOrvoInstanceName> instanceName) override;
    velm::IProvider* _selectProvider(const ORVString& nameSpace, const ORVString& className) override;

private:
    void* _library = nullptr;
    velm::IProvider* _provider = nullptr;
};
