#pragma once

#include "foundation/subscribers/DeliveryOutcome.h"

#include <cerrno>

namespace velm {

/// How far a delivery got before it failed.
enum class DeliveryStage { connecting, sending, onChannel };

/// What a network failure with this code means: an errno, or negative for a name that cannot be resolved.
constexpr DeliveryFailure failureReason(DeliveryStage stage, int code) noexcept {
    const bool isLate = code == ETIMEDOUT;
    switch (stage) {
        case DeliveryStage::connecting:
            if (code < 0) {
                return DeliveryFailure::nameNotFound;
            }
            if (code == ECONNREFUSED) {
                return DeliveryFailure::connectionRefused;
            }
            return isLate ? DeliveryFailure::connectTimedOut : DeliveryFailure::notConnected;
        case DeliveryStage::sending:
            return isLate ? DeliveryFailure::sendTimedOut : DeliveryFailure::sendFailed;
        default:
            return isLate ? DeliveryFailure::sendTimedOut : DeliveryFailure::channelClosed;
    }
}

}  // namespace velm
