#pragma once

#include "Indications/IndicationStatus.h"
#include "velmd/providers/ProviderFolder.h"
#include "velmd/requests/RequestCounts.h"
#include "velmd/status/ServerStatus.h"

#include <cstddef>
#include <vector>

namespace velm::status {

/// So many observers of a provider are told, and so many properties of one and things that it watches.
inline constexpr std::size_t mostObservers = 20;
inline constexpr std::size_t mostObserverProperties = 8;
inline constexpr std::size_t mostWatched = 20;

/// In order of loading.
std::vector<Provider> describe(const ProviderFolder& providers);

/// The first ones that the table has.
std::vector<Observer> describe(const ObserverTable& observers);
Latency describe(const CallDurations& durations);

/// What the indication library tells.
Counters describe(const IndicationCounters& counters);
Latency describe(const DeliveryLatency& latency);
Subscriber describe(const SubscriberStatus& subscriber);
RemovedSubscriber describe(const RemovedSubscriberStatus& removed);

/// In order of name and status.
std::vector<Operation> describe(const RequestCounts::Counts& counts);

}  // namespace velm::status
