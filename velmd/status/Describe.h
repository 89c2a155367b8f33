#pragma once

#include "velmd/providers/ProviderFolder.h"
#include "velmd/requests/RequestCounts.h"
#include "velmd/status/ServerStatus.h"

#include <vector>

namespace velm::status {

/// In order of loading.
std::vector<Provider> describe(const ProviderFolder& providers);

/// In order of name and status.
std::vector<Operation> describe(const RequestCounts::Counts& counts);

}  // namespace velm::status
