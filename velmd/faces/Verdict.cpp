#include "velmd/faces/Verdict.h"

#include "velmd/faces/Text.h"

#include <algorithm>
#include <functional>
#include <tuple>

#include <fmt/format.h>

namespace velm::faces {

namespace {

using status::Failure;
using status::ServerStatus;
using status::Subscriber;
using status::Time;

constexpr std::size_t longestReason = 120;
/// Indications are delivered in passes, a second apart where nobody is slow.
constexpr std::chrono::seconds usualWait{10};

bool isRecent(const std::optional<Failure>& failure, Time now) {
    return failure && now - failure->last < recent;
}

/// Smaller is more interesting.
auto rankOf(const Subscriber& subscriber, Time now) {
    const Standing standing = standingOf(subscriber, now);
    const Time failingSince =
        standing == Standing::failing && subscriber.lastFailure ? subscriber.lastFailure->since : Time();
    return std::tuple(standing, failingSince, ~subscriber.waiting,
                      now - subscriber.lastDelivery.value_or(subscriber.since));
}

void addReadiness(const ServerStatus& status, const std::string& illness, std::vector<std::string>& reasons) {
    if (!illness.empty()) {
        reasons.push_back("The server does not get on: " + illness);
    }
    if (!status.indicationsEnabled) {
        reasons.emplace_back("Indications are switched off: nothing is delivered.");
    } else if (!status.isReady) {
        reasons.push_back("Not ready: " +
                          (status.notReady.empty() ? "the reason is not known" : status.notReady));
    }
}

void addFailing(const ServerStatus& status, std::vector<std::string>& reasons) {
    const auto count = static_cast<std::uint64_t>(
        std::ranges::count_if(status.subscribers, [](const Subscriber& each) { return each.isFailing; }));
    if (count == 0) {
        return;
    }
    const Subscriber& worst = *mostInteresting(status, 1).front();
    std::string reason = fmt::format("{} of {} {} failing; {}", numberText(count),
                                     countText(subscribedCount(status), "subscriber", "subscribers"),
                                     count == 1 ? "is" : "are", addressText(worst.host, worst.port));
    if (worst.lastFailure) {
        reason += fmt::format(" for {}: {}",
                              durationText(std::max<Time::duration>(status.now - worst.lastFailure->since,
                                                                    std::chrono::seconds(1))),
                              shortened(worst.lastFailure->text, longestReason));
    }
    reasons.push_back(reason);
}

void addDropped(const ServerStatus& status, std::vector<std::string>& reasons) {
    double dropped = 0;
    for (const status::Rate& rate : status.rates) {
        dropped += rate.dropped * static_cast<double>(status.rateStep.count());
    }
    if (dropped >= 0.5) {
        const auto count = static_cast<std::uint64_t>(dropped + 0.5);
        reasons.push_back(fmt::format("{} dropped within the last {}.",
                                      countText(count, "indication was", "indications were"),
                                      durationText(status.rateStep * status.rates.size())));
    }
}

void addRemoved(const ServerStatus& status, std::vector<std::string>& reasons) {
    const auto isNews = [&](const status::RemovedSubscriber& each) {
        return each.lastFailure && status.now - each.when < recent;
    };
    const auto first = std::ranges::find_if(status.removed, isNews);
    if (first == status.removed.end()) {
        return;
    }
    const auto count = static_cast<std::uint64_t>(std::ranges::count_if(status.removed, isNews));
    reasons.push_back(fmt::format("{} removed after a failure within the last {}; {}: {}",
                                  countText(count, "subscriber was", "subscribers were"),
                                  durationText(recent), addressText(first->host, first->port),
                                  shortened(first->reason, longestReason)));
}

void addProviders(const ServerStatus& status, std::vector<std::string>& reasons) {
    for (const status::Provider& provider : status.providers) {
        if (isRecent(provider.lastFailure, status.now)) {
            reasons.push_back(fmt::format("The provider {} failed {}: {}", shortened(provider.name, 40),
                                          agoText(status.now, provider.lastFailure->last),
                                          shortened(provider.lastFailure->text, longestReason)));
        }
    }
}

}  // namespace

Standing standingOf(const Subscriber& subscriber, Time now) {
    if (hasLeft(subscriber)) {
        return Standing::left;
    }
    if (subscriber.isFailing) {
        return Standing::failing;
    }
    if (isRecent(subscriber.lastDrop, now)) {
        return Standing::dropped;
    }
    if (subscriber.waiting > 0 && now - subscriber.lastDelivery.value_or(Time()) > usualWait) {
        return Standing::waiting;
    }
    return subscriber.delivered > 0 ? Standing::fine : Standing::untested;
}

bool hasLeft(const Subscriber& subscriber) {
    return subscriber.subscriptions == 0 && subscriber.waiting == 0;
}

std::size_t subscribedCount(const ServerStatus& status) {
    return static_cast<std::size_t>(std::ranges::count_if(status.subscribers, std::not_fn(hasLeft)));
}

std::vector<const Subscriber*> mostInteresting(const ServerStatus& status, std::size_t most) {
    std::vector<const Subscriber*> all;
    all.reserve(status.subscribers.size());
    for (const Subscriber& subscriber : status.subscribers) {
        all.push_back(&subscriber);
    }
    const auto end = all.begin() + static_cast<std::ptrdiff_t>(std::min(most, all.size()));
    std::ranges::partial_sort(all, end, {},
                              [&](const Subscriber* each) { return rankOf(*each, status.now); });
    all.erase(end, all.end());
    return all;
}

Verdict judge(const ServerStatus& status, const std::string& illness) {
    Verdict verdict;
    addReadiness(status, illness, verdict.reasons);
    addFailing(status, verdict.reasons);
    addDropped(status, verdict.reasons);
    addRemoved(status, verdict.reasons);
    addProviders(status, verdict.reasons);
    return verdict;
}

}  // namespace velm::faces
