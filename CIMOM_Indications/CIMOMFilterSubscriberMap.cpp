#include "CIMOM_Indications/CIMOMFilterSubscriberMap.h"

#include "foundation/object_model/COrvoIndication.h"
#include "foundation/services/ORVLog.h"
#include "foundation/subscribers/FanOut.h"

#include <algorithm>
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
    if (const Records::iterator record = _find(*subscriber); record != _subscriberList->end()) {
        (*record)->incrementRefCount();
        return;
    }
    _index.append(*_subscriberList, ORVSmrPtr<CCIMOMSubscriberRecord>::make(subscriber));
}

bool CCIMOMFilterSubscriberMap::unsubscribe(ORVSmrPtr<CSubscriber> subscriber) {
    if (const Records::iterator record = _find(*subscriber); record != _subscriberList->end()) {
        if ((*record)->decrementRefCount() == 0) {
            _index.erase(*_subscriberList, record);
        }
        return true;
    }
    logStranger(*subscriber);
    return false;
}

void CCIMOMFilterSubscriberMap::logStranger(const CSubscriber& subscriber) {
    ORVLog::log("CIMOM",
                "Subscriber " + subscriber.getSubscriberID()->toString() +
                    " unsubscribed to filter not subscribed to.",
                OrvoTraceLog::SeverityError, OrvoTraceLog::VerbosityNormal, 0, ORVLog::CIMOMLOG);
}

void CCIMOMFilterSubscriberMap::removeSubscriber(const CSubscriberID& id) {
    if (const Records::iterator record = _find(id); record != _subscriberList->end()) {
        _index.erase(*_subscriberList, record);
    }
}

bool CCIMOMFilterSubscriberMap::hasSubscriber(const CSubscriberID& id) const {
    return _find(id) != _subscriberList->end();
}

CCIMOMFilterSubscriberMap::Records::iterator CCIMOMFilterSubscriberMap::_find(
    const CSubscriber& subscriber) const {
    const auto isOf = [&subscriber](const CCIMOMSubscriberRecord& record) {
        return &record.subscriber() == &subscriber;
    };
    if (_index.isUsable() && subscriber.identity()) {
        return _index.findIf(*subscriber.identity(), isOf);
    }
    return std::find_if(_subscriberList->begin(), _subscriberList->end(),
                        [&isOf](const auto& record) { return isOf(*record); });
}

CCIMOMFilterSubscriberMap::Records::iterator CCIMOMFilterSubscriberMap::_find(const CSubscriberID& id) const {
    if (_index.isUsable()) {
        return _index.find(id);
    }
    return std::find_if(_subscriberList->begin(), _subscriberList->end(),
                        [&id](const auto& record) { return *record->subscriber().getSubscriberID() == id; });
}

void CCIMOMFilterSubscriberMap::notify(const ORVSmrPtr<IOrvoIndication>& indication) {
    const ORVSmrPtr<IOrvoIndication> outgoing = makeOutgoing(*_indicationFilter, *indication);
    velm::forEachSubscriber(*_subscriberList, [&outgoing](const CCIMOMSubscriberRecord& record) {
        record.subscriber().notify(outgoing);
    });
}

ORVSmrPtr<IOrvoIndication> CCIMOMFilterSubscriberMap::makeOutgoing(const CCIMOMIndicationFilter& filter,
                                                                   const IOrvoIndication& indication) {
    return COrvoIndication::makeDelivery(indication, outgoingType(filter.getFilterType(), indication));
}
