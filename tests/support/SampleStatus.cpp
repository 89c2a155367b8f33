#include "tests/support/SampleStatus.h"

#include <cmath>

namespace velm::test {

namespace {

using namespace std::chrono_literals;
using status::Failure;
using status::Rate;
using status::ServerStatus;
using status::Subscriber;

Subscriber subscriberAt(std::string host, std::string port, std::uint64_t delivered) {
    Subscriber subscriber;
    subscriber.host = std::move(host);
    subscriber.port = std::move(port);
    subscriber.session = "1";
    subscriber.since = sampleNow() - 26h;
    subscriber.subscriptions = 3;
    subscriber.queued = subscriber.delivered = delivered;
    if (delivered > 0) {
        subscriber.lastDelivery = sampleNow() - 3s;
    }
    return subscriber;
}

Subscriber failingOne() {
    Subscriber subscriber = subscriberAt("monitoring.example.org", "5990", 4'120);
    subscriber.isFailing = true;
    subscriber.waiting = 48;
    subscriber.failed = 7;
    subscriber.dropped = 12;
    subscriber.lastDelivery = sampleNow() - 21min;
    subscriber.lastFailure =
        Failure{"failed to connect: Connection refused", sampleNow() - 20min, sampleNow() - 4s, 7};
    subscriber.lastDrop =
        Failure{"12 dropped because an earlier one failed", sampleNow() - 19min, sampleNow() - 40s, 12};
    return subscriber;
}

Subscriber losingOne() {
    Subscriber subscriber = subscriberAt("10.0.40.7", "50000", 88'210);
    subscriber.isChannel = true;
    subscriber.lastHeartbeat = sampleNow() - 12s;
    subscriber.waiting = 99'870;
    subscriber.dropped = 1'204;
    subscriber.lastDrop =
        Failure{"1204 dropped because the queue was full", sampleNow() - 90s, sampleNow() - 30s, 1204};
    return subscriber;
}

void addSubscribers(ServerStatus& status) {
    status.subscribers = {subscriberAt("127.0.0.1", "5991", 912'004), failingOne(),
                          subscriberAt("::1", "5992", 1'004), losingOne(),
                          subscriberAt("listener-2.example.org", "5988", 0)};
    status.subscribers[2].waiting = 3;
    status.subscribers[2].lastDelivery = sampleNow() - 40s;
    status.subscribers[2].improperAnswers = 1'004;
    status.subscribers[2].lastImproperAnswer =
        Failure{"improper method response: no return value", sampleNow() - 26h, sampleNow() - 3s, 1'004};
    status.subscribers[0].lastFailure = Failure{"failed to receive: the answer did not come in 30 seconds",
                                                sampleNow() - 5h, sampleNow() - 5h, 1};
}

void addRemoved(ServerStatus& status) {
    status::RemovedSubscriber expired;
    expired.host = "192.168.1.20";
    expired.port = "50001";
    expired.session = "9";
    expired.isChannel = true;
    expired.when = sampleNow() - 45min;
    expired.reason = "expired";
    expired.delivered = 310;
    status::RemovedSubscriber broken = expired;
    broken.host = "build-agent.example.org";
    broken.when = sampleNow() - 3min;
    broken.reason = "delivery failed";
    broken.dropped = 5;
    broken.lastFailure = Failure{"failed to send: Broken pipe", sampleNow() - 3min, sampleNow() - 3min, 1};
    broken.lastDrop =
        Failure{"5 dropped because the subscriber was removed", sampleNow() - 3min, sampleNow() - 3min, 5};
    status.removed = {expired, broken};
}

void addProviders(ServerStatus& status) {
    status::Provider files;
    files.name = "file_watch";
    files.file = "/usr/lib/x86_64-linux-gnu/velm/providers/libfile_watch_provider.so";
    files.classes = {"CIM_DataFile", "CIM_Directory", "CIM_LogicalFile"};
    files.reported = 40'120;
    files.refused = 3;
    files.calls = 911;
    files.watched = {"/srv/incoming", "/var/spool/reports (not there)"};
    files.observers = {
        {"CIM_DataFile", false, "Change", "", {}, sampleNow() - 3h},
        {"root/cimv2:CIM_DataFile.CreationClassName=\"CIM_DataFile\",Name=\"/srv/incoming/orders.csv\"",
         true,
         "Change",
         "",
         {"FileSize", "LastModified"},
         sampleNow() - 12min}};
    files.observersLeftOut = 1'204;
    files.durations = {{"registerObserver", {{0.0001, 0.001, 0.1}, {20, 800, 90}, 0, 1.5}},
                       {"getInstance", {{0.0001, 0.001, 0.1}, {0, 0, 1}, 0, 0.05}}};
    status::Provider links = files;
    links.watched.clear();
    links.observers.clear();
    links.observersLeftOut = 0;
    links.name = "network_links";
    links.file = "/usr/lib/x86_64-linux-gnu/velm/providers/libnetwork_links_provider.so";
    links.classes = {"CIM_NetworkPort", "CIM_EthernetPort"};
    links.reported = 18;
    links.refused = 0;
    links.failedCalls = 2;
    links.lastFailure =
        Failure{"registerObserver: the kernel refused the request", sampleNow() - 7h, sampleNow() - 2h, 2};
    status.providers = {files, links};
}

void addCounters(ServerStatus& status) {
    status.counters = {};
    status.counters.reported = 1'204'331;
    status.counters.matched = 1'001'220;
    status.counters.queued = 1'105'338;
    status.counters.delivered = 1'005'338;
    status.counters.failed = {{"connect", 7}, {"answer", 2}, {"send", 1}};
    status.counters.dropped = {{"queue full", 1'204}, {"earlier one failed", 12}, {"subscriber removed", 5}};
    status.counters.removed = {{"unsubscribed", 40}, {"expired", 3}, {"delivery failed", 1}};
    status.latency = {{0.0005, 0.001, 0.0025, 0.005, 0.01, 0.1, 1, 10},
                      {120'000, 560'000, 250'000, 60'000, 10'000, 5'000, 300, 30},
                      8,
                      2'120.5};
    status.operations = {{"Subscribe", "ok", 48},
                         {"CreateInstance", "ok", 1'000},
                         {"CreateInstance", "11", 4},
                         {"EnumerateInstances", "ok", 222}};
}

void addRates(ServerStatus& status) {
    status.rateStep = 5s;
    for (int index = 0; index < 120; ++index) {
        Rate rate;
        rate.reported = 40 + 12 * std::sin(index / 9.0) + (index % 7);
        rate.delivered = 0.9 * rate.reported + (index % 3);
        rate.failed = index > 95 ? 0.2 * (index % 4) : 0;
        rate.dropped = index > 100 && index < 112 ? 21.0 : 0;
        status.rates.push_back(rate);
    }
}

}  // namespace

status::Time sampleNow() {
    return status::Time(std::chrono::seconds(1'795'213'867)) + 250ms;
}

ServerStatus quietStatus() {
    ServerStatus status;
    status.version = "0.1.0";
    status.compiler = "GNU 12.2.0";
    status.now = sampleNow();
    status.started = sampleNow() - 76h;
    status.isReady = true;
    status.indicationsEnabled = true;
    status.classes = 31;
    return status;
}

ServerStatus livelyStatus() {
    ServerStatus status = quietStatus();
    status.connections = 9;
    status.requestsUnderWay = 1;
    status.logsIndications = true;
    status.indicationsLog = "/var/log/velm/indications.log";
    addSubscribers(status);
    addRemoved(status);
    addProviders(status);
    addCounters(status);
    addRates(status);
    return status;
}

ServerStatus crowdedStatus(std::size_t count) {
    ServerStatus status = livelyStatus();
    status.subscribers.clear();
    for (std::size_t index = 0; index < count; ++index) {
        Subscriber subscriber = index % 100 == 50
                                    ? failingOne()
                                    : subscriberAt("127.0.0.1", std::to_string(index), index % 1'000);
        subscriber.session = std::to_string(index);
        status.subscribers.push_back(subscriber);
    }
    return status;
}

ServerStatus statusFullOf(const std::string& text) {
    ServerStatus status = quietStatus();
    const Failure failure{text, sampleNow() - 1min, sampleNow(), 2};
    status.version = status.compiler = status.notReady = status.indicationsLog = text;
    status.logsIndications = true;
    status.isReady = false;
    Subscriber subscriber = subscriberAt(text, text, 5);
    subscriber.session = text;
    subscriber.isFailing = true;
    subscriber.lastFailure = subscriber.lastDrop = subscriber.lastImproperAnswer = failure;
    status.subscribers = {subscriber};
    status::RemovedSubscriber removed;
    removed.host = removed.port = removed.session = removed.reason = text;
    removed.when = sampleNow();
    removed.lastFailure = removed.lastDrop = failure;
    status.removed = {removed};
    status.providers = {{text, text, {text, text}, 1, 1, 1, 1, failure, {text, text}, {}, 7, {}}};
    status.providers[0].observers = {{text, true, text, text, {text, text}, sampleNow() - 1min}};
    status.operations = {{text, text, 1}};
    status.counters.failed = status.counters.dropped = status.counters.removed = {{text, 1}};
    return status;
}

}  // namespace velm::test
