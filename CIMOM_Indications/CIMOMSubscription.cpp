#include "CIMOM_Indications/CIMOMSubscription.h"

#include "foundation/object_model/IOrvoObject.h"
#include "foundation/object_model/IOrvoProperty.h"

namespace {

using InstanceMap = ORVValMap<ORVString, ORVSmrPtr<CCIMOMIndicationFilterList>>;

ORVString keyOf(const IOrvoInstanceName& instanceName) {
    return instanceName.getClassName() + ":" + instanceName.getKeyProperties();
}

bool isInstance(const ORVSmrPtr<IOrvoValue>& target) {
    return !target.IsNull() && target->getType()->isReference();
}

}  // namespace

CCIMOMSubscription::CCIMOMSubscription(unsigned int bucketCount)
    : _classFilterSubscriberMapList(new CCIMOMIndicationFilterList),
      _instanceFilterSubscriberMapList(new InstanceMap(hashKeyORVString, bucketCount)) {
}

void CCIMOMSubscription::subscribe(ORVSmrPtr<CCIMOMIndicationFilter> filter,
                                   ORVSmrPtr<CSubscriber> subscriber, ORVSmrPtr<IOrvoValue> target) {
    _instanceFilterSubscriberMapList->purge();
    if (!isInstance(target)) {
        _classFilterSubscriberMapList->subscribe(filter, subscriber, nullptr);
        return;
    }
    const ORVSmrPtr<IOrvoInstanceName> instanceName = target->getReference();
    const ORVString key = keyOf(*instanceName);
    if (const ORVSmrPtr<CCIMOMIndicationFilterList>* list = _instanceFilterSubscriberMapList->find(key)) {
        (*list)->subscribe(filter, subscriber, instanceName);
        return;
    }
    const ORVSmrPtr<CCIMOMIndicationFilterList> list(new CCIMOMIndicationFilterList);
    list->subscribe(filter, subscriber, instanceName);
    _instanceFilterSubscriberMapList->insert(key, list);
}

bool CCIMOMSubscription::unsubscribe(ORVSmrPtr<CCIMOMIndicationFilter> filter,
                                     ORVSmrPtr<CSubscriber> subscriber, ORVSmrPtr<IOrvoValue> target) {
    _instanceFilterSubscriberMapList->purge();
    bool isEmpty = false;
    if (!isInstance(target)) {
        return _classFilterSubscriberMapList->unsubscribe(filter, subscriber, isEmpty);
    }
    const ORVString key = keyOf(*target->getReference());
    const ORVSmrPtr<CCIMOMIndicationFilterList>* list = _instanceFilterSubscriberMapList->find(key);
    if (!list) {
        return false;
    }
    const bool found = (*list)->unsubscribe(filter, subscriber, isEmpty);
    if (found && isEmpty) {
        _instanceFilterSubscriberMapList->remove(key);
    }
    return found;
}

void CCIMOMSubscription::notify(const ORVSmrPtr<IOrvoIndication>& indication,
                                bool useInstanceNamesFromReferences) {
    _classFilterSubscriberMapList->notify(indication);
    if (_instanceFilterSubscriberMapList->isEmpty()) {
        return;
    }
    const ORVSmrPtr<IOrvoObject> object = indication->getObject();
    if (!useInstanceNamesFromReferences) {
        const bool isDestroyed = indication->getType() == IOrvoIndication::IndicationDestruction;
        _notifyInstance(object->getInstanceName(), indication, isDestroyed);
        return;
    }
    for (unsigned int position = 0; position < 2; ++position) {
        _notifyInstance(object->getProperty(position)->getValue()->getReference(), indication, false);
    }
}

void CCIMOMSubscription::_notifyInstance(const ORVSmrPtr<IOrvoInstanceName>& instanceName,
                                         const ORVSmrPtr<IOrvoIndication>& indication, bool isDestroyed) {
    const ORVString key = keyOf(*instanceName);
    const ORVSmrPtr<CCIMOMIndicationFilterList>* list = _instanceFilterSubscriberMapList->find(key);
    if (!list) {
        return;
    }
    (*list)->notify(indication);
    if (isDestroyed) {
        // Only a read lock is held: others may stand in this list, so that its memory must outlive them.
        _instanceFilterSubscriberMapList->retire(key);
    }
}

void CCIMOMSubscription::removeSubscriber(const CSubscriberID& id,
                                          CCIMOMDeletedFilterRecord::List& deletedFilters) {
    // A list of a destroyed instance must not keep the subscriber, and its connection, alive.
    _instanceFilterSubscriberMapList->purge();
    bool isEmpty = false;
    _classFilterSubscriberMapList->removeSubscriber(id, deletedFilters, isEmpty);

    ORVValSlist<ORVString> emptied;
    for (ORVValMapIterator<ORVString, ORVSmrPtr<CCIMOMIndicationFilterList>> it(
             *_instanceFilterSubscriberMapList);
         ++it;) {
        it.value()->removeSubscriber(id, deletedFilters, isEmpty);
        if (isEmpty) {
            emptied.append(it.key());
        }
    }
    for (const ORVString& key : emptied) {
        _instanceFilterSubscriberMapList->remove(key);
    }
}
