#pragma once

#include "foundation/handles/ORVSmrPtr.h"
#include "foundation/subscribers/CSubscriber.h"

#include <cstdint>
#include <vector>

/// Short ways to real subscribers, and to what they have been sent.
namespace velm::test {

/// Identity 127.0.0.1:5990 with this session.
ORVSmrPtr<CSubscriberID> makeSubscriberID(std::uint32_t sessionID = 1);

/// A subscriber with that identity and no persistent channel.
ORVSmrPtr<CSubscriber> makeSubscriber(std::uint32_t sessionID = 1);

/// Empties the subscriber's queue; oldest first.
std::vector<ORVSmrPtr<IOrvoIndication>> takeIndications(const ORVSmrPtr<CSubscriber>& subscriber);

/// The same, types only.
std::vector<IOrvoIndication::IndicationType> takeTypes(const ORVSmrPtr<CSubscriber>& subscriber);

}  // namespace velm::test
