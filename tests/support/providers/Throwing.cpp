// Throws an exception whose class, and so the text that it computes, lives in this shared object.
#include "foundation/services/ProviderEntry.h"

#include <exception>
#include <string>

namespace {

class NoDevice : public std::exception {
public:
    ~NoDevice() override { _text = "destroyed"; }
    const char* what() const noexcept override { return _text.c_str(); }

private:
    std::string _text = "there is no device at the place that the argument names";
};

velm::IProvider* create(const velm::ProviderContext& /*context*/) {
    throw NoDevice();
}

}  // namespace

extern "C" VELM_EXPORT const velm::ProviderDescription* velm_provider() {
    static const velm::ProviderDescription description{velm::providerInterfaceVersion, VELM_TEST_PROVIDER,
                                                       &create};
    return &description;
}
