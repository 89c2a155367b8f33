#include "foundation/services/IProvider.h"

namespace velm {

IProvider::IProvider() = default;

IProvider::~IProvider() = default;

}  // namespace velm
