#include "foundation/object_model/COrvoSubscriptionFilter.h"

#include <algorithm>

COrvoSubscriptionFilter::COrvoSubscriptionFilter() : _properties(new ORVValSlist<ORVString>) {
}

COrvoSubscriptionFilter::~COrvoSubscriptionFilter() = default;

ORVString COrvoSubscriptionFilter::getClassName() const {
    return _className;
}

void COrvoSubscriptionFilter::setClassName(const ORVString& className) {
    _className = className;
}

ORVSmrPtr<ORVValSlist<ORVString>> COrvoSubscriptionFilter::getProperties() const {
    return _properties;
}

void COrvoSubscriptionFilter::addProperty(const ORVString& name) {
    bool isThere = std::any_of(_properties->begin(), _properties->end(), [&name](const ORVString& known) {
        return known.compareTo(name, ORVString::caseInsensitive) == 0;
    });
    if (!isThere) {
        _properties->append(name);
    }
}

bool COrvoSubscriptionFilter::isEmpty() const {
    return _properties->isEmpty();
}
