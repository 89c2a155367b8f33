#include "velmd/daemon/Drain.h"

#include "Indications/IndicationNotifier.h"

#include <thread>

namespace velm {

namespace {

constexpr std::chrono::milliseconds pollInterval{20};

std::uint64_t queued(IIndicationManager& manager) {
    std::uint64_t count = 0;
    const auto subscribers = manager.getCurrentSubscribers();
    if (!subscribers.IsNull()) {
        for (const auto& subscriber : *subscribers) {
            count += subscriber->getWaitingCount();
        }
    }
    return count;
}

}  // namespace

std::uint64_t waitingIndications(IIndicationManager& manager) {
    return queued(manager) + manager.getIndicationNotifier()->getProgress().inHand;
}

std::uint64_t drainIndications(IIndicationManager& manager, std::chrono::steady_clock::time_point deadline) {
    const auto notifier = manager.getIndicationNotifier();
    for (;;) {
        const auto before = notifier->getProgress();
        const std::uint64_t waiting = queued(manager);
        // A pass that began meanwhile may have taken what was looked for in the queues.
        const auto after = notifier->getProgress();
        const bool isIdle =
            before.passesBegun == before.passesEnded && after.passesBegun == before.passesBegun;
        if (waiting == 0 && isIdle) {
            return 0;
        }
        if (std::chrono::steady_clock::now() >= deadline) {
            return waiting + after.inHand;
        }
        std::this_thread::sleep_for(pollInterval);
    }
}

}  // namespace velm
