#include "velmctl/client/StatusReader.h"

#include <cstdio>
#include <ctime>
#include <stdexcept>

#include <boost/json.hpp>
#include <fmt/format.h>

namespace velm {

namespace {

namespace json = boost::json;
using namespace status;

void read(const json::value& value, std::string& text) {
    text = value.as_string();
}

void read(const json::value& value, bool& flag) {
    flag = value.as_bool();
}

void read(const json::value& value, std::uint64_t& number) {
    number = value.to_number<std::uint64_t>();
}

void read(const json::value& value, double& number) {
    number = value.to_number<double>();
}

void read(const json::value& value, std::chrono::seconds& time) {
    time = std::chrono::seconds(value.to_number<std::int64_t>());
}

/// "2026-11-20T14:33:42.007Z".
void read(const json::value& value, Time& time) {
    std::tm parts{};
    int milliseconds = 0;
    const std::string text(value.as_string());
    if (std::sscanf(text.c_str(), "%4d-%2d-%2dT%2d:%2d:%2d.%3dZ", &parts.tm_year, &parts.tm_mon,
                    &parts.tm_mday, &parts.tm_hour, &parts.tm_min, &parts.tm_sec, &milliseconds) < 6) {
        throw std::runtime_error("a time is not of the form 2026-11-20T14:33:42.007Z");
    }
    parts.tm_year -= 1900;
    parts.tm_mon -= 1;
    time = Time::clock::from_time_t(::timegm(&parts)) + std::chrono::milliseconds(milliseconds);
}

void read(const json::value& value, Failure& failure);
void read(const json::value& value, Subscriber& subscriber);
void read(const json::value& value, RemovedSubscriber& subscriber);
void read(const json::value& value, Provider& provider);
void read(const json::value& value, Observer& observer);
void read(const json::value& value, ProviderCalls& calls);
void read(const json::value& value, Operation& operation);
void read(const json::value& value, Rate& rate);
void read(const json::value& value, Counters& counters);
void read(const json::value& value, Latency& latency);

template <class Value>
void read(const json::value& value, std::optional<Value>& optional) {
    if (!value.is_null()) {
        read(value, optional.emplace());
    }
}

template <class Element>
void read(const json::value& value, std::vector<Element>& list) {
    for (const json::value& element : value.as_array()) {
        read(element, list.emplace_back());
    }
}

void read(const json::value& value, std::map<std::string, std::uint64_t>& counts) {
    for (const auto& member : value.as_object()) {
        read(member.value(), counts[std::string(member.key())]);
    }
}

/// The members of an object, each read where it is there.
class Members {
public:
    explicit Members(const json::value& value) : _object(value.as_object()) {}

    template <class Value>
    Members& operator()(const char* name, Value& value) {
        if (const json::value* member = _object.if_contains(name)) {
            try {
                read(*member, value);
            } catch (const std::exception& failure) {
                throw std::runtime_error(fmt::format("{}: {}", name, failure.what()));
            }
        }
        return *this;
    }

private:
    const json::object& _object;
};

void read(const json::value& value, Failure& failure) {
    Members members(value);
    members("text", failure.text)("since", failure.since)("last", failure.last)("count", failure.count);
}

void read(const json::value& value, Subscriber& subscriber) {
    Members members(value);
    members("host", subscriber.host)("port", subscriber.port)("session", subscriber.session);
    members("isChannel", subscriber.isChannel)("since", subscriber.since);
    members("subscriptions", subscriber.subscriptions)("waiting", subscriber.waiting);
    members("queued", subscriber.queued)("delivered", subscriber.delivered)("failed", subscriber.failed);
    members("dropped", subscriber.dropped)("lastDelivery", subscriber.lastDelivery);
    members("lastHeartbeat", subscriber.lastHeartbeat)("lastFailure", subscriber.lastFailure);
    members("isFailing", subscriber.isFailing)("lastDrop", subscriber.lastDrop);
    members("improperAnswers", subscriber.improperAnswers);
    members("lastImproperAnswer", subscriber.lastImproperAnswer);
}

void read(const json::value& value, RemovedSubscriber& subscriber) {
    Members members(value);
    members("host", subscriber.host)("port", subscriber.port)("session", subscriber.session);
    members("isChannel", subscriber.isChannel)("when", subscriber.when)("reason", subscriber.reason);
    members("delivered", subscriber.delivered)("failed", subscriber.failed)("dropped", subscriber.dropped);
    members("lastFailure", subscriber.lastFailure)("lastDrop", subscriber.lastDrop);
}

void read(const json::value& value, Provider& provider) {
    Members members(value);
    members("name", provider.name)("file", provider.file)("classes", provider.classes);
    members("reported", provider.reported)("refused", provider.refused)("calls", provider.calls);
    members("failedCalls", provider.failedCalls)("lastFailure", provider.lastFailure);
    members("watched", provider.watched)("observers", provider.observers);
    members("observersLeftOut", provider.observersLeftOut)("durations", provider.durations);
}

void read(const json::value& value, Observer& observer) {
    Members members(value);
    members("subject", observer.subject)("isInstance", observer.isInstance);
    members("indication", observer.indication)("otherClass", observer.otherClass);
    members("properties", observer.properties)("since", observer.since);
}

void read(const json::value& value, ProviderCalls& calls) {
    Members members(value);
    members("operation", calls.operation)("durations", calls.durations);
}

void read(const json::value& value, Operation& operation) {
    Members members(value);
    members("name", operation.name)("status", operation.status)("count", operation.count);
}

void read(const json::value& value, Rate& rate) {
    Members members(value);
    members("reported", rate.reported)("delivered", rate.delivered)("failed", rate.failed)("dropped",
                                                                                           rate.dropped);
}

void read(const json::value& value, Counters& counters) {
    Members members(value);
    members("reported", counters.reported)("matched", counters.matched)("queued", counters.queued);
    members("delivered", counters.delivered)("improperAnswers", counters.improperAnswers);
    members("failed", counters.failed)("dropped", counters.dropped)("removed", counters.removed);
    members("providerCalls", counters.providerCalls)("failedProviderCalls", counters.failedProviderCalls);
}

void read(const json::value& value, Latency& latency) {
    Members members(value);
    members("bounds", latency.bounds)("counts", latency.counts)("beyond", latency.beyond)("sum", latency.sum);
}

ServerStatus read(const json::value& value) {
    ServerStatus status;
    Members members(value);
    members("version", status.version)("compiler", status.compiler);
    members("now", status.now)("started", status.started);
    members("isReady", status.isReady)("notReady", status.notReady);
    members("indicationsEnabled", status.indicationsEnabled)("classes", status.classes);
    members("connections", status.connections)("requestsUnderWay", status.requestsUnderWay);
    members("logsIndications", status.logsIndications)("indicationsLog", status.indicationsLog);
    members("counters", status.counters)("latency", status.latency)("operations", status.operations);
    members("providers", status.providers)("subscribers", status.subscribers)("removed", status.removed);
    members("rateStep", status.rateStep)("rates", status.rates);
    return status;
}

}  // namespace

status::ServerStatus readStatus(std::string_view document) {
    json::error_code failure;
    const json::value value = json::parse({document.data(), document.size()}, failure);
    if (failure || !value.is_object()) {
        throw std::runtime_error("the status is no JSON object");
    }
    status::ServerStatus status = read(value);
    if (status.version.empty()) {
        throw std::runtime_error("the status tells no version");
    }
    return status;
}

}  // namespace velm
