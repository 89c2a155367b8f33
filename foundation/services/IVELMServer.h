#pragma once

#include "foundation/containers/ORVValSlist.h"
#include "foundation/handles/ORVSmrPtr.h"
#include "foundation/services/OrvoProviderInfo.h"

namespace velm {

/// What the indication subsystem asks of the server that hosts it. Any thread may call it; it must outlive
/// the manager.
class VELM_EXPORT IVELMServer {
public:
    IVELMServer();
    IVELMServer(const IVELMServer&) = delete;
    IVELMServer& operator=(const IVELMServer&) = delete;
    virtual ~IVELMServer();

    /// The providers of the class of `instanceName`, in the order in which they are asked. A null handle when
    /// there are none, and always for a null name: providers report creations and destructions from the
    /// moment they are loaded.
    virtual ORVSmrPtr<ORVValSlist<ORVSmrPtr<OrvoProviderInfo>>> getProviders(
        ORVSmrPtr<IOrvoInstanceName> instanceName) = 0;

    /// The provider that serves instances of `className`; null when there is none. The underscore is part of
    /// the name that hosts implement.
    virtual IProvider* _selectProvider(const ORVString& nameSpace, const ORVString& className) = 0;
};

}  // namespace velm
