#include "foundation/services/ProviderEntry.h"

extern "C" VELM_EXPORT const velm::ProviderDescription* velm_provider() {
    return nullptr;
}
