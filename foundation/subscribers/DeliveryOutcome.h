#pragma once

#include <array>
#include <cstddef>

namespace velm {

/// Why an indication could not be delivered.
enum class DeliveryFailure : unsigned char {
    nameNotFound,
    connectionRefused,
    /// Looking the name up included.
    connectTimedOut,
    /// No route, no descriptor left, not a port and so on.
    notConnected,
    sendTimedOut,
    /// The connection broke while a request was sent.
    sendFailed,
    /// The subscriber's persistent channel is closed, or broke.
    channelClosed,
    /// Nothing that the network did: no message can be made of the indication, for example.
    other,
};

/// Why an indication was not even tried.
enum class DropRule : unsigned char {
    queueFull,
    /// In the same batch for the same subscriber.
    earlierOneFailed,
    /// With its queue.
    subscriberRemoved,
};

/// What operators read, each at the place of its number.
inline constexpr std::array<const char*, 8> deliveryFailureNames{
    "name not found", "connection refused", "connect timed out", "not connected",
    "send timed out", "send failed",        "channel closed",    "other"};
inline constexpr std::array<const char*, 3> dropRuleNames{"queue full", "earlier one failed",
                                                          "subscriber removed"};

template <class Reason>
constexpr std::size_t numberOf(Reason reason) noexcept {
    return static_cast<std::size_t>(reason);
}

}  // namespace velm
