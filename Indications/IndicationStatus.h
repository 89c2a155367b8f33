#pragma once

#include "foundation/subscribers/DeliveryOutcome.h"
#include "foundation/subscribers/SubscriberRecord.h"

#include <array>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace velm {

/// Why a subscriber was removed.
enum class RemovalReason : unsigned char {
    deliveryFailed,
    /// No sign of life for too long, with subscriptions that end by it.
    expired,
    channelClosed,
    /// The client registered a new channel.
    channelReplaced,
    /// The answer to the registration could not be written.
    channelNotRegistered,
    /// The server asked for it.
    requested,
    /// With all the others.
    allRemoved,
    /// Expired after it had taken its subscriptions back.
    left,
};
inline constexpr std::array<const char*, 8> removalReasonNames{
    "delivery failed",        "expired",           "channel closed", "channel replaced",
    "channel not registered", "removed by server", "all removed",    "left"};

/// How long it took from a report to its delivery.
struct DeliveryLatency {
    /// Upper ends, the closest where a delivery is expected: within the second between two passes, and as
    /// long as the pass takes. What took longer than the last is counted behind them.
    static constexpr std::array<std::chrono::milliseconds, 18> bounds{
        {std::chrono::milliseconds(1), std::chrono::milliseconds(2), std::chrono::milliseconds(5),
         std::chrono::milliseconds(10), std::chrono::milliseconds(25), std::chrono::milliseconds(50),
         std::chrono::milliseconds(100), std::chrono::milliseconds(250), std::chrono::milliseconds(500),
         std::chrono::milliseconds(750), std::chrono::milliseconds(1000), std::chrono::milliseconds(1100),
         std::chrono::milliseconds(1500), std::chrono::milliseconds(2500), std::chrono::milliseconds(5000),
         std::chrono::milliseconds(10000), std::chrono::milliseconds(30000),
         std::chrono::milliseconds(60000)}};

    std::array<std::uint64_t, bounds.size() + 1> counts{};
    std::chrono::nanoseconds sum{0};
};

/// Since the manager exists. Each indication that is queued at a subscriber waits there, is in the delivery
/// thread's hand, or ends as one that was delivered, failed or was dropped. What a removed subscriber had
/// queued counts as dropped once it is certain that the delivery thread does not have it.
struct IndicationCounters {
    std::uint64_t reported = 0;
    /// Of those reported: queued at one subscriber or more.
    std::uint64_t matched = 0;
    /// At each subscriber once.
    std::uint64_t queued = 0;
    std::uint64_t delivered = 0;
    /// Of those delivered: answered with something else than a return value of 0.
    std::uint64_t improperAnswers = 0;
    std::array<std::uint64_t, deliveryFailureNames.size()> failed{};
    std::array<std::uint64_t, dropRuleNames.size()> dropped{};
    /// Subscribers.
    std::array<std::uint64_t, removalReasonNames.size()> removed{};
    std::uint64_t providerCalls = 0;
    /// Those that threw.
    std::uint64_t failedProviderCalls = 0;
    DeliveryLatency latency;
};

struct SubscriberStatus {
    std::string host;
    std::string port;
    std::uint32_t session = 0;
    /// It keeps a connection open; otherwise it listens.
    bool isChannel = false;
    std::uint64_t waiting = 0;
    std::uint64_t queued = 0;
    /// By all rules.
    std::uint64_t dropped = 0;
    SubscriberRecord::Figures figures;
};

struct RemovedSubscriberStatus {
    SubscriberStatus subscriber;
    std::chrono::system_clock::time_point when;
    RemovalReason reason = RemovalReason::requested;
};

struct IndicationStatus {
    IndicationCounters counters;
    /// In order of addition.
    std::vector<SubscriberStatus> subscribers;
    /// The latest, oldest first.
    std::vector<RemovedSubscriberStatus> removed;
};

}  // namespace velm
