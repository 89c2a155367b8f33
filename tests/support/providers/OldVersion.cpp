// What a provider of the first interface version looks like: only its first field can be trusted.
#include "foundation/Export.h"

#include <cstdint>

namespace {

struct FirstDescription {
    unsigned int interfaceVersion;
    std::uintptr_t notWhatItIsNow[2];
};

}  // namespace

extern "C" VELM_EXPORT const FirstDescription* velm_provider() {
    static const FirstDescription description{1, {1, 1}};
    return &description;
}
