#include "tests/support/SubscriberBuilders.h"

namespace velm::test {

ORVSmrPtr<CSubscriberID> makeSubscriberID(std::uint32_t sessionID) {
    return ORVSmrPtr<CSubscriberID>(new CSubscriberID("127.0.0.1", "5990", sessionID));
}

ORVSmrPtr<CSubscriber> makeSubscriber(std::uint32_t sessionID) {
    return ORVSmrPtr<CSubscriber>(new CSubscriber(makeSubscriberID(sessionID), "localhost", "5988", nullptr));
}

std::vector<ORVSmrPtr<IOrvoIndication>> takeIndications(const ORVSmrPtr<CSubscriber>& subscriber) {
    std::vector<ORVSmrPtr<IOrvoIndication>> taken;
    const CSubscriber::IndicationList queued = subscriber->getIndications();
    if (!queued.IsNull()) {
        taken.assign(queued->begin(), queued->end());
    }
    return taken;
}

std::vector<IOrvoIndication::IndicationType> takeTypes(const ORVSmrPtr<CSubscriber>& subscriber) {
    std::vector<IOrvoIndication::IndicationType> types;
    for (const ORVSmrPtr<IOrvoIndication>& indication : takeIndications(subscriber)) {
        types.push_back(indication->getType());
    }
    return types;
}

}  // namespace velm::test
