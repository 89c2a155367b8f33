#include "foundation/services/ProviderEntry.h"
#include "providers/file_watch/FileWatchProvider.h"

namespace {

velm::IProvider* create(const velm::ProviderContext& context) {
    return new velm::file_watch::FileWatchProvider(context);
}

}  // namespace

extern "C" VELM_EXPORT const velm::ProviderDescription* velm_provider() {
    static const velm::ProviderDescription description{velm::providerInterfaceVersion, "file_watch", &create};
    return &description;
}
