#include "CIMOM_Indications/CIMOMClass.h"

#include "CIMOM_Indications/RoutedIndication.h"

#include <utility>

using ClassList = ORVValSlist<ORVSmrPtr<CCIMOMClass>>;

CCIMOMClass::CCIMOMClass(ORVString className, ORVSmrPtr<CCIMOMClass> baseClass,
                         ORVSmrPtr<CCIMOMSubscription> subscription)
    : _className(std::move(className)),
      _isCatchAll(_className.compareTo(CatchAllClassName, ORVString::caseInsensitive) == 0),
      _baseClass(std::move(baseClass)),
      _classSubscription(std::move(subscription)),
      _base(_baseClass.Get()),
      _table(_classSubscription.Get()) {
}

CCIMOMClass::~CCIMOMClass() {
    _leaveChildren();
}

void CCIMOMClass::addChildClass(ORVSmrPtr<CCIMOMClass> child) {
    if (_childClassList.IsNull()) {
        _childClassList = new ClassList;
    }
    if (_childClassList->contains(child)) {
        return;
    }
    _forgetDescendants();
    _childClassList->append(child);
    child->_parents.push_back(this);
}

bool CCIMOMClass::isA(const ORVString& className) {
    return className == _className || (!_childClassList.IsNull() && _getDescendants().contains(className));
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
    velm::RoutedIndication routed(indication);
    notify(routed);
}

void CCIMOMClass::notify(velm::RoutedIndication& indication) {
    for (CCIMOMClass* node = this; node; node = node->_base) {
        const bool useReferences = node->_isCatchAll && indication.isAssociation();
        if (!node->_table || !node->_table->isEmpty()) {
            node->_classSubscription->notify(indication, useReferences);
        }
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
    _leaveChildren();
    const ORVSmrPtr<ClassList> children = std::exchange(_childClassList, nullptr);
    _base = nullptr;
    _baseClass = nullptr;
    _table = nullptr;
    _classSubscription = nullptr;
    if (!children.IsNull()) {
        for (const ORVSmrPtr<CCIMOMClass>& child : *children) {
            child->detach();
        }
    }
}

const velm::RouteNames& CCIMOMClass::routeNames() const {
    const velm::RouteNames* names = _routeNames.load(std::memory_order_acquire);
    if (!names) {
        names = &velm::RouteNames::of(_className, _base ? &_base->routeNames() : nullptr);
        _routeNames.store(names, std::memory_order_release);
    }
    return *names;
}

const CCIMOMClass::Names& CCIMOMClass::_getDescendants() const {
    return *_descendants.get([this] {
        ORVSmrPtr<Names> names(new Names);
        _addDescendantsTo(*names);
        return names;
    });
}

void CCIMOMClass::_addDescendantsTo(Names& names) const {
    if (_childClassList.IsNull()) {
        return;
    }
    for (const ORVSmrPtr<CCIMOMClass>& child : *_childClassList) {
        names.insert(child->_className);
        child->_addDescendantsTo(names);
    }
}

void CCIMOMClass::_forgetDescendants() noexcept {
    _descendants.reset();
    for (CCIMOMClass* parent : _parents) {
        parent->_forgetDescendants();
    }
}

void CCIMOMClass::_leaveChildren() noexcept {
    if (!_childClassList.IsNull()) {
        for (const ORVSmrPtr<CCIMOMClass>& child : *_childClassList) {
            std::erase(child->_parents, this);
        }
    }
}
