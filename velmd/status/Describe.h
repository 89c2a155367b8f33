#pragma once

#include "Indications/IndicationStatus.h"
#include "velmd/providers/ProviderFolder.h"
#include "velmd/requests/RequestCounts.h"
#include "velmd/status/ServerStatus.h"

#include <vector>

namespace velm::status {

/// In order of loading.
std::vector<Provider> describe(const ProviderFolder& providers);

/// What the indication library tells.
Counters describe(const IndicationCounters& counters);
Latency describe(const DeliveryLatency& latency);
Subscriber describe(const SubscriberStatus& subscriber);
RemovedSubscriber describe(const RemovedSubscriberStatus& removed);

/// In order of name and status.
std::vector<Operation> describe(const RequestCounts::Counts& counts);

}  // namespace velm::status
