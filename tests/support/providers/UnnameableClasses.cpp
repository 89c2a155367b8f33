// Starts well, then fails to say what it serves.
#include "foundation/utilities/OrvoBaseException.h"
#include "tests/support/providers/SilentProvider.h"

namespace {

class UnnameableClasses : public SilentProvider {
public:
    ORVSmrPtr<ORVValSlist<ORVString>> getClassNames() override {
        throw OrvoBaseException("getClassNames", "UnnameableClasses", "the classes are not known yet", 1);
    }
};

velm::IProvider* create(const velm::ProviderContext& /*context*/) {
    return new UnnameableClasses;
}

}  // namespace

extern "C" VELM_EXPORT const velm::ProviderDescription* velm_provider() {
    static const velm::ProviderDescription description{velm::providerInterfaceVersion, VELM_TEST_PROVIDER,
                                                       &create};
    return &description;
}
