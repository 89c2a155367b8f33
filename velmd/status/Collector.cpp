#include "velmd/status/Collector.h"

#include "Indications/IndicationNotifier.h"
#include "velmd/status/Describe.h"

#include <utility>

namespace velm::status {

namespace {

std::string textOf(const ORVString& text) {
    return std::string(text.view());
}

template <class Described, class Element>
std::vector<Described> describeAll(const std::vector<Element>& elements) {
    std::vector<Described> described;
    described.reserve(elements.size());
    for (const Element& element : elements) {
        described.push_back(describe(element));
    }
    return described;
}

}  // namespace

Collector::Collector(Parts parts)
    : _parts(std::move(parts)), _started(Time::clock::now()), _rates(RateHistory::Clock::now()) {
}

ServerStatus Collector::collect() const {
    ServerStatus status;
    status.version = VELM_VERSION;
    status.compiler = VELM_COMPILER;
    status.now = Time::clock::now();
    status.started = _started;
    status.notReady = _parts.notReady();
    status.isReady = status.notReady.empty();
    status.indicationsEnabled = _parts.manager.getIndicationsEnabled();
    status.classes = _parts.classes();
    status.connections = _parts.connections();
    status.requestsUnderWay = _parts.requestsUnderWay();
    status.logsIndications = CIndicationNotifier::logsIndications();
    status.indicationsLog = textOf(CIndicationNotifier::getIndicationsLogFileName());
    status.operations = _parts.operations();
    status.providers = _parts.providers();
    _addIndications(status);
    status.rateStep = RateHistory::step;
    status.rates = _rates.rates();
    return status;
}

void Collector::_addIndications(ServerStatus& status) const {
    const IndicationStatus indications = _parts.manager.getStatus();
    status.counters = describe(indications.counters);
    status.latency = describe(indications.counters.latency);
    status.subscribers = describeAll<Subscriber>(indications.subscribers);
    status.removed = describeAll<RemovedSubscriber>(indications.removed);
}

void Collector::sampleRates(RateHistory::Clock::time_point now) {
    if (_rates.isDue(now)) {
        _rates.add(describe(_parts.manager.getCounters()), now);
    }
}

}  // namespace velm::status
