#include "CIMOM_Indications/CIMOMClass.h"

#include "foundation/object_model/COrvoHelper.h"

#include <utility>

using ClassList = ORVValSlist<ORVSmrPtr<CCIMOMClass>>;

CCIMOMClass::CCIMOMClass(ORVString className, ORVSmrPtr<CCIMOMClass> baseClass,
                         ORVSmrPtr<CCIMOMSubscription> subscription)
    : _className(std::move(className)),
      _isCatchAll(_className.compareTo(CatchAllClassName, ORVString::caseInsensitive) == 0),
      _baseClass(std::move(baseClass)),
      _classSubscription(std::move(subscription)) {
}

void CCIMOMClass::addChildClass(ORVSmrPtr<CCIMOMClass> child) {
    if (_childClassList.IsNull()) {
        _childClassList = new ClassList;
    }
    if (!_childClassList->contains(child)) {
        _childClassList->append(child);
    }
}

bool CCIMOMClass::isA(const ORVString& className) {
    if (className == _className) {
        return true;
    }
    if (_childClassList.IsNull()) {
        return false;
    }
    for (const ORVSmrPtr<CCIMOMClass>& child : *_childClassList) {
        if (child->isA(className)) {
            return true;
        }
    }
    return false;
}

bool CCIMOMClass::isA(const ORVSmrPtr<CCIMOMClass>& other) {
    return isA(other->getClassName());
}

void CCIMOMClass::subscribe(ORVSmrPtr<CCIMOMIndicationFilter> filter, ORVSmrPtr<CSubscriber> subscriber,
                            ORVSmrPtr<IOrvoValue> target) {
    _classSubscription->subscribe(filter, subscriber, target);
}

bool CCIMOMClass::unsubscribe(ORVSmrPtr<CCIMOMIndicationFilter> filter, ORVSmrPtr<CSubscriber> subscriber,
                              ORVSmrPtr<IOrvoValue> target) {
    return _classSubscription->unsubscribe(filter, subscriber, target);
}

void CCIMOMClass::notify(const ORVSmrPtr<IOrvoIndication>& indication) {
    const bool useInstanceNamesFromReferences =
        _isCatchAll && COrvoHelper::isAssociation(indication->getObject());
    _classSubscription->notify(indication, useInstanceNamesFromReferences);
    if (!_baseClass.IsNull()) {
        _baseClass->notify(indication);
    }
}

void CCIMOMClass::removeSubscriber(const CSubscriberID& id, CCIMOMDeletedFilterRecord::List& deletedFilters) {
    _classSubscription->removeSubscriber(id, deletedFilters);
    if (_childClassList.IsNull()) {
        return;
    }
    for (const ORVSmrPtr<CCIMOMClass>& child : *_childClassList) {
        child->removeSubscriber(id, deletedFilters);
    }
}

void CCIMOMClass::detach() {
    const ORVSmrPtr<ClassList> children = std::exchange(_childClassList, nullptr);
    _baseClass = nullptr;
    _classSubscription = nullptr;
    if (!children.IsNull()) {
        for (const ORVSmrPtr<CCIMOMClass>& child : *children) {
            child->detach();
        }
    }
}
