#include "velmd/status/Collector.h"

#include "Indications/IndicationNotifier.h"

#include <utility>

namespace velm::status {

namespace {

std::string textOf(const ORVString& text) {
    return std::string(text.view());
}

Subscriber describe(CSubscriber& subscriber) {
    Subscriber description;
    if (const CSubscriberID* id = subscriber.identity()) {
        description.host = textOf(id->getHostName());
        description.port = textOf(id->getPortNumber());
        description.session = std::to_string(id->getSessionID());
    }
    description.isChannel = !subscriber.getNetworkConnection().IsNull();
    description.waiting = subscriber.getWaitingCount();
    description.queued = subscriber.getQueuedCount();
    description.dropped = subscriber.getDroppedCount();
    return description;
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
    status.indicationsLog = textOf(CIndicationNotifier::getIndicationsLogFileName());
    status.operations = _parts.operations();
    status.providers = _parts.providers();
    _addSubscribers(status);
    status.rateStep = RateHistory::step;
    status.rates = _rates.rates();
    return status;
}

void Collector::_addSubscribers(ServerStatus& status) const {
    const auto subscribers = _parts.manager.getCurrentSubscribers();
    if (subscribers.IsNull()) {
        return;
    }
    for (const auto& subscriber : *subscribers) {
        status.subscribers.push_back(describe(*subscriber));
        status.counters.queued += status.subscribers.back().queued;
        status.counters.dropped["queue full"] += status.subscribers.back().dropped;
    }
}

void Collector::sampleRates(RateHistory::Clock::time_point now) {
    if (_rates.isDue(now)) {
        ServerStatus status;
        _addSubscribers(status);
        _rates.add(status.counters, now);
    }
}

}  // namespace velm::status
