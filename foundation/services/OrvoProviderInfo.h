#pragma once

#include "foundation/Export.h"
#include "foundation/services/IProvider.h"
#include "foundation/utilities/ORVString.h"

/// A provider as the server knows it. Immutable.
class VELM_EXPORT OrvoProviderInfo {
public:
    /// `provider` may be null (registered, but not loaded) and must outlive this record.
    OrvoProviderInfo(const ORVString& name, velm::IProvider* provider);
    virtual ~OrvoProviderInfo();

    ORVString getName() const { return _name; }
    velm::IProvider* getProvider() const { return _provider; }

private:
    ORVString _name;
    velm::IProvider* _provider;
};
