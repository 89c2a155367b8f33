#pragma once

namespace velm {

/// The number under "VELM"/`key`, or `whenAbsent`. A negative number counts as 0: both switch off what the
/// key bounds.
unsigned int subscriberSetting(const char* key, unsigned int whenAbsent);

}  // namespace velm
