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

COrvoIndicationFilterProcessor::COrvoIndicationFilterProcessor(IOrvoIndication::IndicationType type,
                                                               unsigned int unfiltered) {
    if (isKind(type)) {
        _unfiltered[_indexOf(type)] = unfiltered;
    }
}

bool COrvoIndicationFilterProcessor::isKind(IOrvoIndication::IndicationType type) noexcept {
    return std::has_single_bit(static_cast<unsigned int>(type)) && _indexOf(type) < kindCount;
}

std::size_t COrvoIndicationFilterProcessor::_indexOf(IOrvoIndication::IndicationType type) noexcept {
    return static_cast<std::size_t>(std::countr_zero(static_cast<unsigned int>(type)));
}

void COrvoIndicationFilterProcessor::subscribe(IOrvoIndication::IndicationType type,
                                               ORVSmrPtr<IOrvoSubscriptionFilter> filter,
                                               ORVSmrPtr<IOrvoSubscriptionFilter> resultFilter,
                                               unsigned int* referenceCount) {
    if (!isKind(type)) {
        return;
    }
    if (filter.IsNull()) {
        *referenceCount = ++_unfiltered[_indexOf(type)];
        return;
    }
    resultFilter->setClassName(filter->getClassName());
    Filtered* filtered = _filteredOf(type);
    if (!filtered) {
        filtered = &_filtered.emplace_front(Filtered{type, 0, {}, {}});
    }
    filtered->className = filter->getClassName();
    for (const auto& name : countedNames(*filter)) {
        if (++filtered->properties[name] == 1) {
            resultFilter->addProperty(name);
        }
    }
    *referenceCount = ++filtered->count;
}

void COrvoIndicationFilterProcessor::unsubscribe(IOrvoIndication::IndicationType type,
                                                 ORVSmrPtr<IOrvoSubscriptionFilter> filter,
                                                 ORVSmrPtr<IOrvoSubscriptionFilter> resultFilter,
                                                 unsigned int* referenceCount) {
    if (!isKind(type)) {
        return;
    }
    if (!filter.IsNull()) {
        _unsubscribeFiltered(type, *filter, *resultFilter, *referenceCount);
    } else if (unsigned int& count = _unfiltered[_indexOf(type)]; count > 0) {
        *referenceCount = --count;
    }
}

void COrvoIndicationFilterProcessor::_unsubscribeFiltered(IOrvoIndication::IndicationType type,
                                                          const IOrvoSubscriptionFilter& filter,
                                                          IOrvoSubscriptionFilter& resultFilter,
                                                          unsigned int& referenceCount) {
    Filtered* filtered = _filteredOf(type);
    if (!filtered) {
        return;
    }
    bool isKnown = false;
    for (const auto& name : countedNames(filter)) {
        auto property = filtered->properties.find(name);
        if (property == filtered->properties.end()) {
            continue;
        }
        isKnown = true;
        if (--property->second == 0) {
            resultFilter.addProperty(property->first);
            filtered->properties.erase(property);
        }
    }
    if (!isKnown) {
        return;
    }
    resultFilter.setClassName(filter.getClassName());
    // A client may give back piece by piece what it subscribed at once: the subscription lasts while a
    // property does.
    filtered->count = filtered->properties.empty() ? 0 : std::max(filtered->count - 1, 1U);
    referenceCount = filtered->count;
    if (filtered->count == 0) {
        _filtered.remove_if([filtered](const Filtered& each) { return &each == filtered; });
    }
}

bool COrvoIndicationFilterProcessor::willTriggerNotification() const {
    return std::any_of(_unfiltered.begin(), _unfiltered.end(),
                       [](unsigned int count) { return count > 0; }) ||
           std::any_of(_filtered.begin(), _filtered.end(),
                       [](const Filtered& filtered) { return !filtered.properties.empty(); });
}

bool COrvoIndicationFilterProcessor::accepts(const IOrvoIndication& indication) const {
    const auto type = indication.getType();
    if (!isKind(type)) {
        return false;
    }
    if (_unfiltered[_indexOf(type)] > 0) {
        return true;
    }
    const Filtered* filtered = _filteredOf(type);
    if (!filtered || filtered->properties.empty()) {
        return false;
    }
    const auto changed = indication.getChangedProperties();
    if (changed.IsNull() || changed->isEmpty() || filtered->properties.contains(everyProperty())) {
        return true;
    }
    return std::any_of(changed->begin(), changed->end(),
                       [filtered](const ORVString& name) { return filtered->properties.contains(name); });
}

const COrvoIndicationFilterProcessor::Filtered* COrvoIndicationFilterProcessor::_filteredOf(
    IOrvoIndication::IndicationType type) const {
    const auto found = std::find_if(_filtered.begin(), _filtered.end(),
                                    [type](const Filtered& filtered) { return filtered.type == type; });
    return found == _filtered.end() ? nullptr : &*found;
}

COrvoIndicationFilterProcessor::Filtered* COrvoIndicationFilterProcessor::_filteredOf(
    IOrvoIndication::IndicationType type) {
    return const_cast<Filtered*>(std::as_const(*this)._filteredOf(type));
}

ORVSmrPtr<IOrvoSubscriptionFilter> COrvoIndicationFilterProcessor::_filterOf(
    IOrvoIndication::IndicationType type) const {
    const Filtered* filtered = _filteredOf(type);
    if (!filtered || filtered->properties.empty()) {
        return ORVSmrPtr<IOrvoSubscriptionFilter>::none();
    }
    ORVSmrPtr<IOrvoSubscriptionFilter> filter(new COrvoSubscriptionFilter);
    filter->setClassName(filtered->className);
    for (const auto& [name, count] : filtered->properties) {
        filter->addProperty(name);
    }
    return filter;
}

unsigned int COrvoIndicationFilterProcessor::_countOf(IOrvoIndication::IndicationType type) const {
    return _unfiltered[_indexOf(type)];
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
