#include "foundation/services/OrvoProviderInfo.h"

OrvoProviderInfo::OrvoProviderInfo(const ORVString& name, velm::IProvider* provider)
    : _name(name), _provider(provider) {
}

OrvoProviderInfo::~OrvoProviderInfo() = default;
