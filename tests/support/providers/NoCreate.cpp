#include "foundation/services/ProviderEntry.h"

extern "C" VELM_EXPORT const velm::ProviderDescription* velm_provider() {
    static const velm::ProviderDescription description{velm::providerInterfaceVersion, VELM_TEST_PROVIDER,
                                                       nullptr};
    return &description;
}
