#include "velmd/status/Describe.h"

#include "foundation/object_model/COrvoDebugTools.h"

#include <algorithm>
#include <array>
#include <map>
#include <numeric>
#include <optional>
#include <utility>

namespace velm::status {

namespace {

/// Either kind of record.
template <class Note>
std::optional<Failure> failureOf(const std::optional<Note>& note) {
    if (!note) {
        return std::nullopt;
    }
    return Failure{note->text, note->since, note->last, note->count};
}

std::optional<Failure> later(std::optional<Failure> one, std::optional<Failure> other) {
    const bool takesOther = !one || (other && other->last > one->last);
    return takesOther ? std::move(other) : std::move(one);
}

template <std::size_t size>
std::map<std::string, std::uint64_t> byName(const std::array<const char*, size>& names,
                                            const std::array<std::uint64_t, size>& counts) {
    std::map<std::string, std::uint64_t> named;
    for (std::size_t index = 0; index < size; ++index) {
        named[names[index]] = counts[index];
    }
    return named;
}

/// The first `most`, and behind them how many there are more.
std::vector<std::string> firstOf(std::vector<std::string> texts, std::size_t most) {
    if (texts.size() > most) {
        const std::string rest = std::to_string(texts.size() - most) + " more";
        texts.resize(most);
        texts.push_back(rest);
    }
    return texts;
}

/// Bounds that are durations, and one count more than bounds.
template <class Bounds, class Counts>
Latency latencyOf(const Bounds& bounds, const Counts& counts, std::chrono::duration<double> sum) {
    Latency described;
    for (const std::chrono::duration<double> bound : bounds) {
        described.bounds.push_back(bound.count());
    }
    described.counts.assign(counts.begin(), counts.end() - 1);
    described.beyond = counts.back();
    described.sum = sum.count();
    return described;
}

std::vector<ProviderCalls> callsOf(const GatedProvider& provider) {
    std::vector<ProviderCalls> calls;
    for (std::size_t index = 0; index < GatedProvider::operationNames.size(); ++index) {
        calls.push_back({GatedProvider::operationNames[index], describe(provider.durations()[index])});
    }
    return calls;
}

Provider describeOne(LoadedProvider& loaded) {
    Provider provider;
    provider.name = loaded.name();
    provider.file = loaded.file().string();
    provider.classes = loaded.classNames();
    const ReportGate::Counts reports = loaded.gate().counts();
    provider.refused = std::accumulate(reports.refused.begin(), reports.refused.end(), std::uint64_t{0});
    provider.reported = reports.passed + provider.refused;
    provider.calls = loaded.calls().calls();
    provider.failedCalls = loaded.calls().failedCalls();
    provider.lastFailure =
        later(failureOf(loaded.calls().failures().last()), failureOf(loaded.gate().refusals().last()));
    provider.watched = firstOf(loaded.watched(), mostWatched);
    provider.observers = describe(loaded.observers());
    const std::uint64_t observers = loaded.observers().size();
    provider.observersLeftOut = observers - std::min<std::uint64_t>(observers, provider.observers.size());
    provider.durations = callsOf(loaded.calls());
    return provider;
}

std::string statusText(int status) {
    switch (status) {
        case RequestCounts::ok:
            return "ok";
        case RequestCounts::refused:
            return "refused";
        default:
            return std::to_string(status);
    }
}

}  // namespace

std::vector<Provider> describe(const ProviderFolder& providers) {
    std::vector<Provider> described;
    for (const auto& loaded : providers.providers()) {
        described.push_back(describeOne(*loaded));
    }
    return described;
}

Counters describe(const IndicationCounters& counters) {
    Counters described;
    described.reported = counters.reported;
    described.matched = counters.matched;
    described.queued = counters.queued;
    described.delivered = counters.delivered;
    described.improperAnswers = counters.improperAnswers;
    described.failed = byName(deliveryFailureNames, counters.failed);
    described.dropped = byName(dropRuleNames, counters.dropped);
    described.removed = byName(removalReasonNames, counters.removed);
    described.providerCalls = counters.providerCalls;
    described.failedProviderCalls = counters.failedProviderCalls;
    return described;
}

Latency describe(const DeliveryLatency& latency) {
    return latencyOf(DeliveryLatency::bounds, latency.counts, latency.sum);
}

Latency describe(const CallDurations& durations) {
    const CallDurations::Figures figures = durations.figures();
    return latencyOf(CallDurations::bounds, figures.counts, figures.sum);
}

std::vector<Observer> describe(const ObserverTable& observers) {
    std::vector<Observer> described;
    for (ObserverTable::Observer& each : observers.first(mostObservers)) {
        const ORVString indication = COrvoDebugTools::indicationTypeToString(each.type);
        described.push_back({std::move(each.subject), each.isInstance, std::string(indication.view()),
                             std::move(each.otherClass),
                             firstOf(std::move(each.properties), mostObserverProperties), each.since});
    }
    return described;
}

Subscriber describe(const SubscriberStatus& subscriber) {
    const SubscriberRecord::Figures& figures = subscriber.figures;
    Subscriber described;
    described.host = subscriber.host;
    described.port = subscriber.port;
    described.session = std::to_string(subscriber.session);
    described.isChannel = subscriber.isChannel;
    described.since = figures.since;
    described.subscriptions = figures.subscriptions;
    described.waiting = subscriber.waiting;
    described.queued = subscriber.queued;
    described.delivered = figures.delivered;
    described.failed = figures.failed;
    described.dropped = subscriber.dropped;
    described.lastDelivery = figures.lastDelivery;
    described.lastHeartbeat = figures.lastHeartbeat;
    described.lastFailure = failureOf(figures.lastFailure);
    described.isFailing = figures.isFailing && (figures.subscriptions > 0 || subscriber.waiting > 0);
    described.lastDrop = failureOf(figures.lastDrop);
    described.improperAnswers = figures.improperAnswers;
    described.lastImproperAnswer = failureOf(figures.lastImproperAnswer);
    return described;
}

RemovedSubscriber describe(const RemovedSubscriberStatus& removed) {
    const SubscriberStatus& subscriber = removed.subscriber;
    RemovedSubscriber described;
    described.host = subscriber.host;
    described.port = subscriber.port;
    described.session = std::to_string(subscriber.session);
    described.isChannel = subscriber.isChannel;
    described.when = removed.when;
    described.reason = removalReasonNames[numberOf(removed.reason)];
    described.delivered = subscriber.figures.delivered;
    described.failed = subscriber.figures.failed;
    described.dropped = subscriber.dropped;
    described.lastFailure = failureOf(subscriber.figures.lastFailure);
    described.lastDrop = failureOf(subscriber.figures.lastDrop);
    return described;
}

std::vector<Operation> describe(const RequestCounts::Counts& counts) {
    std::vector<Operation> described;
    for (const auto& [operation, count] : counts) {
        described.push_back({operation.first, statusText(operation.second), count});
    }
    return described;
}

}  // namespace velm::status
