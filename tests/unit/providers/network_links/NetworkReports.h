#pragma once

#include "tests/support/RecordingObserver.h"

#include <string>
#include <vector>

namespace velm::test {

/// "Creation CIM_EthernetPort eth0", "Change CIM_IPProtocolEndpoint eth0 192.0.2.1/24 [EnabledState]".
std::string lineOf(const Report& report);
std::vector<std::string> linesOf(const RecordingObserver::Reports& reports);

}  // namespace velm::test
