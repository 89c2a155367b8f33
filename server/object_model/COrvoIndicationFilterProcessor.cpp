#include "foundation/object_model/COrvoIndicationFilterProcessor.h"

#include "foundation/object_model/COrvoSubscriptionFilter.h"

#include <algorithm>
#include <bit>
#include <utility>

namespace {

/// Stands for a filter without properties. Never destroyed: indications may arrive while the process ends.
const ORVString& everyProperty() {
    static const ORVString& name = *new ORVString("*");
    return name;
}

/// The names under which `filter` is counted.
ORVValSlist<ORVString> countedNames(const IOrvoSubscriptionFilter& filter) {
    ORVValSlist<ORVString> names(*filter.getProperties());
    if (names.isEmpty()) {
        names.append(everyProperty());
    }
    return names;
}

}  // namespace

bool COrvoIndicationFilterProcessor::CaseBlind::operator()(const ORVString& left,
                                                           const ORVString& right) const noexcept {
    return left.compareTo(right, ORVString::caseInsensitive) < 0;
}

COrvoIndicationFilterProcessor::COrvoIndicationFilterProcessor() = default;

void COrvoIndicationFilterProcessor::subscribe(IOrvoIndication::IndicationType type,
                                               ORVSmrPtr<IOrvoSubscriptionFilter> filter,
                                               ORVSmrPtr<IOrvoSubscriptionFilter> resultFilter,
                                               unsigned int* referenceCount) {
    Kind* kind = _kindOf(type);
    if (!kind) {
        return;
    }
    if (filter.IsNull()) {
        *referenceCount = ++kind->unfiltered;
        return;
    }
    resultFilter->setClassName(filter->getClassName());
    kind->className = filter->getClassName();
    for (const auto& name : countedNames(*filter)) {
        if (++kind->properties[name] == 1) {
            resultFilter->addProperty(name);
        }
    }
    *referenceCount = ++kind->filtered;
}

void COrvoIndicationFilterProcessor::unsubscribe(IOrvoIndication::IndicationType type,
                                                 ORVSmrPtr<IOrvoSubscriptionFilter> filter,
                                                 ORVSmrPtr<IOrvoSubscriptionFilter> resultFilter,
                                                 unsigned int* referenceCount) {
    Kind* kind = _kindOf(type);
    if (!kind) {
        return;
    }
    if (!filter.IsNull()) {
        _unsubscribeFiltered(*kind, *filter, *resultFilter, *referenceCount);
    } else if (kind->unfiltered > 0) {
        *referenceCount = --kind->unfiltered;
    }
}

void COrvoIndicationFilterProcessor::_unsubscribeFiltered(Kind& kind, const IOrvoSubscriptionFilter& filter,
                                                          IOrvoSubscriptionFilter& resultFilter,
                                                          unsigned int& referenceCount) {
    bool isKnown = false;
    for (const auto& name : countedNames(filter)) {
        auto property = kind.properties.find(name);
        if (property == kind.properties.end()) {
            continue;
        }
        isKnown = true;
        if (--property->second == 0) {
            resultFilter.addProperty(property->first);
            kind.properties.erase(property);
        }
    }
    if (!isKnown) {
        return;
    }
    resultFilter.setClassName(filter.getClassName());
    // A client may give back piece by piece what it subscribed at once: the subscription lasts while a
    // property does.
    kind.filtered = kind.properties.empty() ? 0 : std::max(kind.filtered - 1, 1U);
    referenceCount = kind.filtered;
}

bool COrvoIndicationFilterProcessor::willTriggerNotification() const {
    return std::any_of(_kinds.begin(), _kinds.end(),
                       [](const Kind& kind) { return kind.unfiltered > 0 || !kind.properties.empty(); });
}

bool COrvoIndicationFilterProcessor::accepts(const IOrvoIndication& indication) const {
    const Kind* kind = _kindOf(indication.getType());
    if (!kind) {
        return false;
    }
    if (kind->unfiltered > 0) {
        return true;
    }
    if (kind->properties.empty()) {
        return false;
    }
    auto changed = indication.getChangedProperties();
    if (changed.IsNull() || changed->isEmpty() || kind->properties.contains(everyProperty())) {
        return true;
    }
    return std::any_of(changed->begin(), changed->end(),
                       [kind](const ORVString& name) { return kind->properties.contains(name); });
}

COrvoIndicationFilterProcessor::Kind* COrvoIndicationFilterProcessor::_kindOf(
    IOrvoIndication::IndicationType type) {
    return const_cast<Kind*>(std::as_const(*this)._kindOf(type));
}

const COrvoIndicationFilterProcessor::Kind* COrvoIndicationFilterProcessor::_kindOf(
    IOrvoIndication::IndicationType type) const {
    auto bits = static_cast<unsigned int>(type);
    auto index = static_cast<std::size_t>(std::countr_zero(bits));
    return std::has_single_bit(bits) && index < _kinds.size() ? &_kinds[index] : nullptr;
}

ORVSmrPtr<IOrvoSubscriptionFilter> COrvoIndicationFilterProcessor::_filterOf(
    IOrvoIndication::IndicationType type) const {
    const Kind& kind = *_kindOf(type);
    if (kind.properties.empty()) {
        return nullptr;
    }
    ORVSmrPtr<IOrvoSubscriptionFilter> filter(new COrvoSubscriptionFilter);
    filter->setClassName(kind.className);
    for (const auto& [name, count] : kind.properties) {
        filter->addProperty(name);
    }
    return filter;
}

unsigned int COrvoIndicationFilterProcessor::_countOf(IOrvoIndication::IndicationType type) const {
    return _kindOf(type)->unfiltered;
}

ORVSmrPtr<IOrvoSubscriptionFilter> COrvoIndicationFilterProcessor::getChangeFilter() const {
    return _filterOf(IOrvoIndication::IndicationChange);
}

ORVSmrPtr<IOrvoSubscriptionFilter> COrvoIndicationFilterProcessor::getAdditionFilter() const {
    return _filterOf(IOrvoIndication::IndicationAddition);
}

ORVSmrPtr<IOrvoSubscriptionFilter> COrvoIndicationFilterProcessor::getRemovalFilter() const {
    return _filterOf(IOrvoIndication::IndicationRemoval);
}

ORVSmrPtr<IOrvoSubscriptionFilter> COrvoIndicationFilterProcessor::getCreationFilter() const {
    return _filterOf(IOrvoIndication::IndicationCreation);
}

ORVSmrPtr<IOrvoSubscriptionFilter> COrvoIndicationFilterProcessor::getDestroyFilter() const {
    return _filterOf(IOrvoIndication::IndicationDestruction);
}

ORVSmrPtr<IOrvoSubscriptionFilter> COrvoIndicationFilterProcessor::getEnterRelationshipFilter() const {
    return _filterOf(IOrvoIndication::IndicationEnterRelationship);
}

ORVSmrPtr<IOrvoSubscriptionFilter> COrvoIndicationFilterProcessor::getLeaveRelationshipFilter() const {
    return _filterOf(IOrvoIndication::IndicationLeaveRelationship);
}

unsigned int COrvoIndicationFilterProcessor::getChangeSubscriptionReferenceCount() const {
    return _countOf(IOrvoIndication::IndicationChange);
}

unsigned int COrvoIndicationFilterProcessor::getAdditionSubscriptionReferenceCount() const {
    return _countOf(IOrvoIndication::IndicationAddition);
}

unsigned int COrvoIndicationFilterProcessor::getRemovalSubscriptionReferenceCount() const {
    return _countOf(IOrvoIndication::IndicationRemoval);
}

unsigned int COrvoIndicationFilterProcessor::getCreationSubscriptionReferenceCount() const {
    return _countOf(IOrvoIndication::IndicationCreation);
}

unsigned int COrvoIndicationFilterProcessor::getDestroySubscriptionReferenceCount() const {
    return _countOf(IOrvoIndication::IndicationDestruction);
}

unsigned int COrvoIndicationFilterProcessor::getEnterRelationshipReferenceCount() const {
    return _countOf(IOrvoIndication::IndicationEnterRelationship);
}

unsigned int COrvoIndicationFilterProcessor::getLeaveRelationshipReferenceCount() const {
    return _countOf(IOrvoIndication::IndicationLeaveRelationship);
}
