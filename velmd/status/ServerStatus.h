#pragma once

#include <array>
#include <chrono>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <utility>
#include <vector>

/// What the daemon can tell about itself at one moment. Plain values: the page, the metrics and the JSON
/// document are three ways to write the same.
namespace velm::status {

using Time = std::chrono::system_clock::time_point;

/// Something that went wrong, with when it did last.
struct Failure {
    /// "failed to connect: Connection refused". May hold text of a client: to be escaped by whoever writes
    /// it.
    std::string text;
    Time since;
    Time last;
    /// How often in a row.
    std::uint64_t count = 0;
};

struct Subscriber {
    std::string host;
    std::string port;
    std::string session;
    /// It keeps a connection open; otherwise it listens on its port.
    bool isChannel = false;
    Time since;
    /// Made and not taken back; those to instances that are gone since are among them.
    std::uint64_t subscriptions = 0;
    std::uint64_t waiting = 0;
    std::uint64_t queued = 0;
    std::uint64_t delivered = 0;
    std::uint64_t failed = 0;
    std::uint64_t dropped = 0;
    std::optional<Time> lastDelivery;
    std::optional<Time> lastHeartbeat;
    /// What the delivery thread last hit, and has not got over since when `isFailing`. Who has no
    /// subscription, and for whom nothing waits, does not fail: nothing is sent to it any more.
    std::optional<Failure> lastFailure;
    bool isFailing = false;
    /// "12 dropped because an earlier one failed". The count is that of the indications.
    std::optional<Failure> lastDrop;
    /// Delivered, and answered with something else than a return value of 0.
    std::uint64_t improperAnswers = 0;
    std::optional<Failure> lastImproperAnswer;
};

/// A subscriber that is gone. The latest are kept, a bounded number of them.
struct RemovedSubscriber {
    std::string host;
    std::string port;
    std::string session;
    bool isChannel = false;
    Time when;
    /// "delivery failed", "expired", "left", "channel closed" and so on.
    std::string reason;
    std::uint64_t delivered = 0;
    std::uint64_t failed = 0;
    std::uint64_t dropped = 0;
    std::optional<Failure> lastFailure;
    /// With its queue, or before.
    std::optional<Failure> lastDrop;
};

/// How long things took. Bounds in seconds; each count is of those up to its bound and not of those before.
struct Latency {
    std::vector<double> bounds;
    std::vector<std::uint64_t> counts;
    std::uint64_t beyond = 0;
    double sum = 0;
};

/// What a provider was asked to watch, and not told to leave since.
struct Observer {
    /// A class, or the path of an instance.
    std::string subject;
    bool isInstance = false;
    /// "Change", "Addition" and so on.
    std::string indication;
    /// Of what is added, removed and so on; empty where there is no such thing.
    std::string otherClass;
    /// The first few; empty for all that there are.
    std::vector<std::string> properties;
    Time since;
};

/// The calls of one operation of a provider.
struct ProviderCalls {
    std::string operation;
    Latency durations;
};

struct Provider {
    std::string name;
    std::string file;
    std::vector<std::string> classes;
    std::uint64_t reported = 0;
    std::uint64_t refused = 0;
    std::uint64_t calls = 0;
    std::uint64_t failedCalls = 0;
    std::optional<Failure> lastFailure;
    /// What it says that it watches, in its own words. Providers need not say anything.
    std::vector<std::string> watched;
    /// The first of them: classes before instances, each in order of name.
    std::vector<Observer> observers;
    std::uint64_t observersLeftOut = 0;
    /// By operation; all that there are.
    std::vector<ProviderCalls> durations;
};

struct Operation {
    std::string name;
    /// "ok", the CIM status as a number, or "refused" for a request that is none.
    std::string status;
    std::uint64_t count = 0;
};

/// Since the daemon started. Each indication that was queued ends as one that was delivered, that failed or
/// that was dropped.
struct Counters {
    std::uint64_t reported = 0;
    /// Reported, and queued at one subscriber or more.
    std::uint64_t matched = 0;
    /// At each subscriber once.
    std::uint64_t queued = 0;
    std::uint64_t delivered = 0;
    /// Of those delivered.
    std::uint64_t improperAnswers = 0;
    /// By reason: "connection refused", "name not found" and so on; all that there are.
    std::map<std::string, std::uint64_t> failed;
    /// By rule: "queue full", "earlier one failed", "subscriber removed".
    std::map<std::string, std::uint64_t> dropped;
    /// Subscribers, by reason.
    std::map<std::string, std::uint64_t> removed;
    /// Calls of the indication library into providers.
    std::uint64_t providerCalls = 0;
    std::uint64_t failedProviderCalls = 0;
};

/// One step of the last minutes, per second.
struct Rate {
    double reported = 0;
    double delivered = 0;
    double failed = 0;
    double dropped = 0;
};

struct ServerStatus {
    std::string version;
    std::string compiler;
    Time now;
    Time started;
    bool isReady = false;
    /// Why not.
    std::string notReady;
    bool indicationsEnabled = false;
    std::uint64_t classes = 0;
    std::uint64_t connections = 0;
    std::uint64_t requestsUnderWay = 0;
    bool logsIndications = false;
    std::string indicationsLog;
    Counters counters;
    /// From report to delivery.
    Latency latency;
    std::vector<Operation> operations;
    std::vector<Provider> providers;
    std::vector<Subscriber> subscribers;
    std::vector<RemovedSubscriber> removed;
    /// Oldest first.
    std::chrono::seconds rateStep{0};
    std::vector<Rate> rates;
};

}  // namespace velm::status
