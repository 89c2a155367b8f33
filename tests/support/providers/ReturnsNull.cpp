#include "foundation/services/ProviderEntry.h"

namespace {

velm::IProvider* create(const velm::ProviderContext& /*context*/) {
    return nullptr;
}

}  // namespace

extern "C" VELM_EXPORT const velm::ProviderDescription* velm_provider() {
    static const velm::ProviderDescription description{velm::providerInterfaceVersion, VELM_TEST_PROVIDER,
                                                       &create};
    return &description;
}
