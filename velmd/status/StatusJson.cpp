#include "velmd/status/StatusJson.h"

#include "velmd/status/StatusText.h"

#include <boost/json/array.hpp>
#include <boost/json/object.hpp>
#include <boost/json/serialize.hpp>
#include <boost/json/value.hpp>
#include <boost/json/value_from.hpp>

namespace velm::status {

namespace {

namespace json = boost::json;

json::value valueOf(const std::string& text) {
    return json::string(wellFormed(text));
}

json::value valueOf(const Time& time) {
    return json::string(utcText(time));
}

json::value valueOf(const std::optional<Time>& time) {
    return time ? valueOf(*time) : nullptr;
}

json::value valueOf(const std::optional<Failure>& failure) {
    if (!failure) {
        return nullptr;
    }
    return {{"text", valueOf(failure->text)},
            {"since", valueOf(failure->since)},
            {"last", valueOf(failure->last)},
            {"count", failure->count}};
}

json::value valueOf(const Subscriber& subscriber) {
    return {{"host", valueOf(subscriber.host)},
            {"port", valueOf(subscriber.port)},
            {"session", valueOf(subscriber.session)},
            {"isChannel", subscriber.isChannel},
            {"since", valueOf(subscriber.since)},
            {"subscriptions", subscriber.subscriptions},
            {"waiting", subscriber.waiting},
            {"queued", subscriber.queued},
            {"delivered", subscriber.delivered},
            {"failed", subscriber.failed},
            {"dropped", subscriber.dropped},
            {"lastDelivery", valueOf(subscriber.lastDelivery)},
            {"lastHeartbeat", valueOf(subscriber.lastHeartbeat)},
            {"lastFailure", valueOf(subscriber.lastFailure)},
            {"isFailing", subscriber.isFailing},
            {"lastDrop", valueOf(subscriber.lastDrop)},
            {"improperAnswers", subscriber.improperAnswers},
            {"lastImproperAnswer", valueOf(subscriber.lastImproperAnswer)}};
}

json::value valueOf(const RemovedSubscriber& subscriber) {
    return {{"host", valueOf(subscriber.host)},        {"port", valueOf(subscriber.port)},
            {"session", valueOf(subscriber.session)},  {"isChannel", subscriber.isChannel},
            {"when", valueOf(subscriber.when)},        {"reason", valueOf(subscriber.reason)},
            {"delivered", subscriber.delivered},       {"failed", subscriber.failed},
            {"dropped", subscriber.dropped},           {"lastFailure", valueOf(subscriber.lastFailure)},
            {"lastDrop", valueOf(subscriber.lastDrop)}};
}

template <class Element>
json::value listOf(const std::vector<Element>& elements);

json::value valueOf(const Latency& latency) {
    return {{"bounds", json::value_from(latency.bounds)},
            {"counts", json::value_from(latency.counts)},
            {"beyond", latency.beyond},
            {"sum", latency.sum}};
}

json::value valueOf(const Observer& observer) {
    return {{"subject", valueOf(observer.subject)},       {"isInstance", observer.isInstance},
            {"indication", valueOf(observer.indication)}, {"otherClass", valueOf(observer.otherClass)},
            {"properties", listOf(observer.properties)},  {"since", valueOf(observer.since)}};
}

json::value valueOf(const ProviderCalls& calls) {
    return {{"operation", valueOf(calls.operation)}, {"durations", valueOf(calls.durations)}};
}

json::value valueOf(const Provider& provider) {
    return {{"name", valueOf(provider.name)},
            {"file", valueOf(provider.file)},
            {"classes", listOf(provider.classes)},
            {"reported", provider.reported},
            {"refused", provider.refused},
            {"calls", provider.calls},
            {"failedCalls", provider.failedCalls},
            {"lastFailure", valueOf(provider.lastFailure)},
            {"watched", listOf(provider.watched)},
            {"observers", listOf(provider.observers)},
            {"observersLeftOut", provider.observersLeftOut},
            {"durations", listOf(provider.durations)}};
}

json::value valueOf(const Operation& operation) {
    return {
        {"name", valueOf(operation.name)}, {"status", valueOf(operation.status)}, {"count", operation.count}};
}

json::value valueOf(const Rate& rate) {
    return {{"reported", rate.reported},
            {"delivered", rate.delivered},
            {"failed", rate.failed},
            {"dropped", rate.dropped}};
}

template <class Element>
json::value listOf(const std::vector<Element>& elements) {
    json::array list;
    list.reserve(elements.size());
    for (const Element& element : elements) {
        list.push_back(valueOf(element));
    }
    return list;
}

json::value valueOf(const std::map<std::string, std::uint64_t>& counts) {
    json::object object;
    for (const auto& [name, count] : counts) {
        object[wellFormed(name)] = count;
    }
    return object;
}

json::value valueOf(const Counters& counters) {
    return {{"reported", counters.reported},
            {"matched", counters.matched},
            {"queued", counters.queued},
            {"delivered", counters.delivered},
            {"improperAnswers", counters.improperAnswers},
            {"failed", valueOf(counters.failed)},
            {"dropped", valueOf(counters.dropped)},
            {"removed", valueOf(counters.removed)},
            {"providerCalls", counters.providerCalls},
            {"failedProviderCalls", counters.failedProviderCalls}};
}

}  // namespace

std::string toJson(const ServerStatus& status) {
    const json::object document{{"version", valueOf(status.version)},
                                {"compiler", valueOf(status.compiler)},
                                {"now", valueOf(status.now)},
                                {"started", valueOf(status.started)},
                                {"isReady", status.isReady},
                                {"notReady", valueOf(status.notReady)},
                                {"indicationsEnabled", status.indicationsEnabled},
                                {"classes", status.classes},
                                {"connections", status.connections},
                                {"requestsUnderWay", status.requestsUnderWay},
                                {"logsIndications", status.logsIndications},
                                {"indicationsLog", valueOf(status.indicationsLog)},
                                {"counters", valueOf(status.counters)},
                                {"latency", valueOf(status.latency)},
                                {"operations", listOf(status.operations)},
                                {"providers", listOf(status.providers)},
                                {"subscribers", listOf(status.subscribers)},
                                {"removed", listOf(status.removed)},
                                {"rateStep", status.rateStep.count()},
                                {"rates", listOf(status.rates)}};
    return json::serialize(document);
}

}  // namespace velm::status
