#include "foundation/subscribers/CSubscriberTableEntry.h"

#include <utility>

using FilterProcessor = COrvoIndicationFilterProcessor;
using Filter = ORVSmrPtr<IOrvoSubscriptionFilter>;

CSubscriberTableEntry::CSubscriberTableEntry(ORVSmrPtr<CSubscriber> subscriber, bool isClassBased)
    : _subscriber(std::move(subscriber)), _isClassBased(isClassBased) {
}

CSubscriberTableEntry::CSubscriberTableEntry(ORVSmrPtr<CSubscriber> subscriber, bool isClassBased,
                                             IOrvoIndication::IndicationType type, unsigned int unfiltered)
    : _subscriber(std::move(subscriber)), _unfiltered(unfiltered), _type(type), _isClassBased(isClassBased) {
}

CSubscriberTableEntry::~CSubscriberTableEntry() = default;

ORVSmrPtr<FilterProcessor> CSubscriberTableEntry::getIndicationFilterProcessor() const {
    return _filterProcessor.get(
        [this] { return ORVSmrPtr<FilterProcessor>(new FilterProcessor(_type, _unfiltered)); });
}

void CSubscriberTableEntry::subscribe(IOrvoIndication::IndicationType type, const Filter& filter,
                                      const Filter& resultFilter, unsigned int* referenceCount) {
    const bool countsItself = !_filterProcessor.find() && filter.IsNull() &&
                              (_unfiltered == 0 || type == _type) && FilterProcessor::isKind(type);
    if (!countsItself) {
        getIndicationFilterProcessor()->subscribe(type, filter, resultFilter, referenceCount);
        return;
    }
    _type = type;
    *referenceCount = ++_unfiltered;
}

void CSubscriberTableEntry::unsubscribe(IOrvoIndication::IndicationType type, const Filter& filter,
                                        const Filter& resultFilter, unsigned int* referenceCount) {
    if (const auto* processor = _filterProcessor.find()) {
        (*processor)->unsubscribe(type, filter, resultFilter, referenceCount);
    } else if (filter.IsNull() && type == _type && _unfiltered > 0) {
        *referenceCount = --_unfiltered;
    }
}

bool CSubscriberTableEntry::willTriggerNotification() const {
    const auto* processor = _filterProcessor.find();
    return processor ? (*processor)->willTriggerNotification() : _unfiltered > 0;
}

FilterProcessor CSubscriberTableEntry::getWants() const {
    const auto* processor = _filterProcessor.find();
    return processor ? **processor : FilterProcessor(_type, _unfiltered);
}

bool CSubscriberTableEntry::notify(const ORVSmrPtr<IOrvoIndication>& indication) {
    const IOrvoIndication& event = *indication;
    const auto* processor = _filterProcessor.find();
    const bool isWanted =
        processor ? (*processor)->accepts(event) : _unfiltered > 0 && event.getType() == _type;
    if (isWanted) {
        _subscriber->notify(indication);
    }
    return isWanted;
}
