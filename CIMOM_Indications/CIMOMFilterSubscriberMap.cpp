#include "CIMOM_Indications/CIMOMFilterSubscriberMap.h"

#include "foundation/object_model/COrvoIndication.h"
#include "foundation/services/ORVLog.h"

#include <memory>
#include <utility>

namespace {

IOrvoIndication::IndicationType outgoingType(CCIMOMIndicationFilter::FilterType filterType,
                                             const IOrvoIndication& indication) {
    switch (filterType) {
        case CCIMOMIndicationFilter::FilterCreate:
        case CCIMOMIndicationFilter::FilterDestroy:
            return indication.getType();
        case CCIMOMIndicationFilter::FilterAddAssociation:
        case CCIMOMIndicationFilter::FilterRemoveAssociation:
        case CCIMOMIndicationFilter::FilterEnterRelationship:
        case CCIMOMIndicationFilter::FilterLeaveRelationship:
        case CCIMOMIndicationFilter::FilterEnterAssociation:
        case CCIMOMIndicationFilter::FilterLeaveAssociation:
            return static_cast<IOrvoIndication::IndicationType>(filterType);
        default:
            return IOrvoIndication::IndicationInvalid;
    }
}

}  // namespace

CCIMOMFilterSubscriberMap::CCIMOMFilterSubscriberMap(ORVSmrPtr<CCIMOMIndicationFilter> indicationFilter,
                                                     SubscriberRecordList subscriberList)
    : _indicationFilter(std::move(indicationFilter)), _subscriberList(std::move(subscriberList)) {
}

void CCIMOMFilterSubscriberMap::subscribe(ORVSmrPtr<CSubscriber> subscriber) {
    bool found = false;
    for (const ORVSmrPtr<CCIMOMSubscriberRecord>& record : *_subscriberList) {
        if (record->getSubscriber() == subscriber) {
            record->incrementRefCount();
            found = true;
        }
    }
    if (!found) {
        _subscriberList->append(ORVSmrPtr<CCIMOMSubscriberRecord>(new CCIMOMSubscriberRecord(subscriber)));
    }
}

bool CCIMOMFilterSubscriberMap::unsubscribe(ORVSmrPtr<CSubscriber> subscriber) {
    for (ORVValSlistIterator<ORVSmrPtr<CCIMOMSubscriberRecord>> it(*_subscriberList); ++it;) {
        if (it.key()->getSubscriber() != subscriber) {
            continue;
        }
        if (it.key()->decrementRefCount() == 0) {
            it.remove();
        }
        return true;
    }
    ORVLog::log("CIMOM",
                "Subscriber " + subscriber->getSubscriberID()->toString() +
                    " unsubscribed to filter not subscribed to.",
                OrvoTraceLog::SeverityError, OrvoTraceLog::VerbosityNormal, 0, ORVLog::CIMOMLOG);
    return false;
}

void CCIMOMFilterSubscriberMap::removeSubscriber(const CSubscriberID& id) {
    for (ORVValSlistIterator<ORVSmrPtr<CCIMOMSubscriberRecord>> it(*_subscriberList); ++it;) {
        if (*it.key()->getSubscriber()->getSubscriberID() == id) {
            it.remove();
            return;
        }
    }
}

void CCIMOMFilterSubscriberMap::notify(const ORVSmrPtr<IOrvoIndication>& indication) {
    auto made = std::make_unique<COrvoIndication>(
        indication->getObject(), outgoingType(_indicationFilter->getFilterType(), *indication),
        indication->getChangedProperties(), indication->getContext(), IOrvoIndication::IntentDeliver, nullptr,
        false);
    made->setTime(indication->getTime());
    const ORVSmrPtr<IOrvoIndication> outgoing(made.release());
    for (const ORVSmrPtr<CCIMOMSubscriberRecord>& record : *_subscriberList) {
        record->getSubscriber()->notify(outgoing);
    }
}
