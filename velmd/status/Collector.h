#pragma once

#include "Indications/IndicationManager.h"
#include "velmd/status/RateHistory.h"
#include "velmd/status/ServerStatus.h"

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

namespace velm::status {

/// Puts together what the daemon can tell about itself.
///
/// Threads: any number. Requires: what the parts use lives until the last call has returned. Failure:
/// std::bad_alloc.
class Collector {
public:
    /// Where the answers come from. Called on the thread that collects.
    struct Parts {
        CIndicationManager& manager;
        std::function<std::uint64_t()> classes;
        std::function<std::uint64_t()> connections;
        std::function<std::uint64_t()> requestsUnderWay;
        /// Why the server is not ready; empty when it is.
        std::function<std::string()> notReady;
        std::function<std::vector<Operation>()> operations;
        std::function<std::vector<Provider>()> providers;
    };

    explicit Collector(Parts parts);
    Collector(const Collector&) = delete;
    Collector& operator=(const Collector&) = delete;

    ServerStatus collect() const;

    /// Takes note of where the counters stand, for the rates, when a step of them has gone by. To be called
    /// every second or so.
    void sampleRates(RateHistory::Clock::time_point now);

private:
    void _addIndications(ServerStatus& status) const;

    const Parts _parts;
    const Time _started;
    RateHistory _rates;
};

}  // namespace velm::status
