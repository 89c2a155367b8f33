#include "foundation/services/ProviderEntry.h"
#include "providers/network_links/NetworkLinksProvider.h"

namespace {

velm::IProvider* create(const velm::ProviderContext& context) {
    return new velm::network_links::NetworkLinksProvider(context);
}

}  // namespace

extern "C" VELM_EXPORT const velm::ProviderDescription* velm_provider() {
    static const velm::ProviderDescription description{velm::providerInterfaceVersion, "network_links",
                                                       &create};
    return &description;
}
