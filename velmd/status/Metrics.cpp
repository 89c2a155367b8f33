#include "velmd/status/Metrics.h"

#include "velmd/status/StatusText.h"

#include <algorithm>
#include <chrono>
#include <map>
#include <set>
#include <tuple>
#include <utility>
#include <vector>

#include <prometheus/metric_family.h>
#include <prometheus/text_serializer.h>

namespace velm::status {

namespace {

using prometheus::ClientMetric;
using prometheus::MetricFamily;
using prometheus::MetricType;
using Labels = std::vector<ClientMetric::Label>;

/// "connection refused" is connection_refused where it is a label.
std::string labelOf(std::string words) {
    std::replace(words.begin(), words.end(), ' ', '_');
    return words;
}

/// Makes the families one after the other.
class Families {
public:
    void counter(const char* name, const char* help) { _add(name, help, MetricType::Counter); }
    void gauge(const char* name, const char* help) { _add(name, help, MetricType::Gauge); }
    void histogram(const char* name, const char* help) { _add(name, help, MetricType::Histogram); }

    /// A series of the family that was added last.
    ClientMetric& series(Labels labels = {}) {
        ClientMetric& metric = _families.back().metric.emplace_back();
        metric.label = std::move(labels);
        return metric;
    }

    template <class Number>
    void set(Number value, Labels labels = {}) {
        ClientMetric& metric = series(std::move(labels));
        const auto number = static_cast<double>(value);
        (_families.back().type == MetricType::Counter ? metric.counter.value : metric.gauge.value) = number;
    }

    void setAll(const std::map<std::string, std::uint64_t>& counts, const char* label) {
        for (const auto& [name, count] : counts) {
            set(count, {{label, labelOf(name)}});
        }
    }

    std::string text() const { return prometheus::TextSerializer().Serialize(_families); }

private:
    void _add(const char* name, const char* help, MetricType type) {
        _families.push_back({name, help, type, {}});
    }

    std::vector<MetricFamily> _families;
};

void addServer(Families& families, const ServerStatus& status) {
    families.gauge("velm_build_info", "Version and compiler, as labels of a constant 1.");
    families.set(1, {{"version", status.version}, {"compiler", status.compiler}});
    families.gauge("velm_start_time_seconds", "When the server started, in seconds since the epoch.");
    families.set(std::chrono::duration<double>(status.started.time_since_epoch()).count());
    families.gauge("velm_ready", "1 when the server is ready, otherwise 0.");
    families.set(status.isReady);
    families.gauge("velm_indications_enabled", "1 when indications are taken, otherwise 0.");
    families.set(status.indicationsEnabled);
    families.gauge("velm_classes", "Classes of the mirrored namespace.");
    families.set(status.classes);
    families.gauge("velm_connections", "Open HTTP connections.");
    families.set(status.connections);
    families.gauge("velm_requests_under_way", "Requests that are being carried out.");
    families.set(status.requestsUnderWay);
    families.counter("velm_requests_total",
                     "Requests by operation and outcome: ok, a CIM status, or refused.");
    for (const Operation& operation : status.operations) {
        families.set(operation.count, {{"operation", operation.name}, {"status", operation.status}});
    }
}

void addIndications(Families& families, const Counters& counters) {
    families.counter("velm_indications_reported_total", "Indications that providers reported.");
    families.set(counters.reported);
    families.counter("velm_indications_matched_total", "Reported indications that a subscriber wanted.");
    families.set(counters.matched);
    families.counter("velm_indications_queued_total", "Indications queued, at each subscriber once.");
    families.set(counters.queued);
    families.counter("velm_indications_delivered_total", "Indications delivered.");
    families.set(counters.delivered);
    families.counter("velm_indications_improper_answers_total",
                     "Indications delivered and answered with something else than a return value of 0.");
    families.set(counters.improperAnswers);
    families.counter("velm_indications_failed_total", "Indications whose delivery failed, by reason.");
    families.setAll(counters.failed, "reason");
    families.counter("velm_indications_dropped_total", "Indications dropped untried, by rule.");
    families.setAll(counters.dropped, "rule");
    families.counter("velm_subscribers_removed_total", "Subscribers removed, by reason.");
    families.setAll(counters.removed, "reason");
}

void setHistogram(ClientMetric::Histogram& histogram, const Latency& latency) {
    std::uint64_t count = 0;
    for (std::size_t index = 0; index < latency.bounds.size(); ++index) {
        count += latency.counts[index];
        histogram.bucket.push_back({count, latency.bounds[index]});
    }
    histogram.sample_count = count + latency.beyond;
    histogram.sample_sum = latency.sum;
}

void addLatency(Families& families, const Latency& latency) {
    families.histogram("velm_delivery_latency_seconds", "Time from a report to its delivery.");
    setHistogram(families.series().histogram, latency);
}

void addProviders(Families& families, const std::vector<Provider>& providers) {
    const auto add = [&](const char* name, const char* help, std::uint64_t Provider::*count) {
        families.counter(name, help);
        for (const Provider& provider : providers) {
            families.set(provider.*count, {{"provider", printable(provider.name)}});
        }
    };
    add("velm_provider_reports_total", "Indications that the provider reported, refused ones included.",
        &Provider::reported);
    add("velm_provider_reports_refused_total", "Reports of the provider that were refused.",
        &Provider::refused);
    add("velm_provider_calls_total", "Calls into the provider.", &Provider::calls);
    add("velm_provider_calls_failed_total", "Calls into the provider that threw.", &Provider::failedCalls);
    families.histogram("velm_provider_call_duration_seconds",
                       "How long calls into the provider took, those that threw included.");
    for (const Provider& provider : providers) {
        for (const ProviderCalls& calls : provider.durations) {
            ClientMetric& series = families.series(
                {{"provider", printable(provider.name)}, {"operation", printable(calls.operation)}});
            setHistogram(series.histogram, calls.durations);
        }
    }
    families.gauge("velm_provider_observers", "Classes and instances that the provider was asked to watch.");
    for (const Provider& provider : providers) {
        families.set(provider.observers.size() + provider.observersLeftOut,
                     {{"provider", printable(provider.name)}});
    }
}

struct Destination {
    Labels labels;
    const Subscriber* subscriber;
};

/// Those to be shown: each set of labels once, since a second sample of one series makes a scraper refuse
/// all.
std::vector<Destination> destinationsOf(const std::vector<Subscriber>& subscribers) {
    std::vector<const Subscriber*> ranked;
    ranked.reserve(subscribers.size());
    for (const Subscriber& subscriber : subscribers) {
        ranked.push_back(&subscriber);
    }
    const std::size_t shown = std::min(ranked.size(), mostDestinations);
    const auto rank = [](const Subscriber* subscriber) {
        return std::tuple(subscriber->isFailing, subscriber->queued, subscriber->waiting);
    };
    std::partial_sort(ranked.begin(), ranked.begin() + static_cast<std::ptrdiff_t>(shown), ranked.end(),
                      [&](const auto* left, const auto* right) { return rank(left) > rank(right); });
    ranked.resize(shown);

    std::set<Labels> known;
    std::vector<Destination> destinations;
    for (const Subscriber* subscriber : ranked) {
        Labels labels{{"host", printable(subscriber->host)},
                      {"port", printable(subscriber->port)},
                      {"session", printable(subscriber->session)}};
        if (known.insert(labels).second) {
            destinations.push_back({std::move(labels), subscriber});
        }
    }
    return destinations;
}

void addDestinations(Families& families, const std::vector<Subscriber>& subscribers) {
    const std::vector<Destination> destinations = destinationsOf(subscribers);
    families.gauge("velm_destinations_left_out", "Subscribers without series of their own.");
    families.set(subscribers.size() - destinations.size());
    const auto setAll = [&](auto Subscriber::*value) {
        for (const Destination& destination : destinations) {
            families.set(destination.subscriber->*value, destination.labels);
        }
    };
    families.gauge("velm_destination_failing", "1 when nothing was delivered since the last failure.");
    setAll(&Subscriber::isFailing);
    families.gauge("velm_destination_waiting", "Indications that wait for delivery.");
    setAll(&Subscriber::waiting);
    families.counter("velm_destination_queued_total", "Indications queued for the subscriber.");
    setAll(&Subscriber::queued);
    families.counter("velm_destination_delivered_total", "Indications delivered to the subscriber.");
    setAll(&Subscriber::delivered);
    families.counter("velm_destination_failed_total", "Deliveries to the subscriber that failed.");
    setAll(&Subscriber::failed);
    families.counter("velm_destination_dropped_total", "Indications for the subscriber dropped untried.");
    setAll(&Subscriber::dropped);
}

void addSubscribers(Families& families, const std::vector<Subscriber>& subscribers) {
    std::uint64_t waiting = 0;
    std::uint64_t failing = 0;
    for (const Subscriber& subscriber : subscribers) {
        waiting += subscriber.waiting;
        failing += subscriber.isFailing ? 1 : 0;
    }
    families.gauge("velm_subscribers", "Subscribers.");
    families.set(subscribers.size());
    families.gauge("velm_subscribers_failing",
                   "Subscribers to which nothing was delivered since the last failure.");
    families.set(failing);
    families.gauge("velm_indications_waiting", "Indications that wait for delivery.");
    families.set(waiting);
}

}  // namespace

std::string metricsText(const ServerStatus& status) {
    Families families;
    addServer(families, status);
    addIndications(families, status.counters);
    addLatency(families, status.latency);
    addProviders(families, status.providers);
    addSubscribers(families, status.subscribers);
    addDestinations(families, status.subscribers);
    return families.text();
}

}  // namespace velm::status
