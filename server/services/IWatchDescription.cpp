#include "foundation/services/IWatchDescription.h"

namespace velm {

IWatchDescription::IWatchDescription() = default;

IWatchDescription::~IWatchDescription() = default;

}  // namespace velm
