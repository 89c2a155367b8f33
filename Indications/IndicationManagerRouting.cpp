#include "Indications/ClassManagerGuard.h"
#include "Indications/IndicationManager.h"
#include "foundation/object_model/COrvoDebugTools.h"
#include "foundation/services/CIMUtil.h"
#include "foundation/utilities/ORVLockGuard.h"

bool CIndicationManager::notify(ORVSmrPtr<IOrvoIndication> indication) {
    if (!getIndicationsEnabled()) {
        return false;
    }
    if (CIMUtil::IsLogged(OrvoTraceLog::SeverityDetail, ORVLog::CIMOMLOG)) {
        CIMUtil::Log("CIndicationManager",
                     "Legacy Indication received: " + COrvoDebugTools::indicationToString(indication),
                     OrvoTraceLog::SeverityDetail, ORVLog::CIMOMLOG);
    }
    ORVLockGuard lock(_indicationManagerLock, ORVLockGuard::forReading);
    lock.enter();
    try {
        return _route(indication);
    } catch (...) {
        ORVLog::log("CIndicationManager::notify",
                    "An unknown exception occured while notifying subscribers for the object '" +
                        indication->getObject()->getInstanceName()->toString() + "'",
                    OrvoTraceLog::SeverityError, OrvoTraceLog::VerbosityNormal, 0, ORVLog::CIMOMLOG);
        return false;
    }
}

bool CIndicationManager::_route(const ORVSmrPtr<IOrvoIndication>& indication) {
    if (indication->getType() == IOrvoIndication::IndicationChange) {
        return _routeChange(indication);
    }
    _routeThroughClassTree(indication);
    return false;
}

bool CIndicationManager::_routeChange(const ORVSmrPtr<IOrvoIndication>& indication) {
    const ORVSmrPtr<IOrvoObject> object = indication->getObject();
    const ORVSmrPtr<IOrvoInstanceName> instanceName = object->getInstanceName();
    const unsigned int scope = indication->getRoutingScope();
    if (scope != IOrvoIndication::ScopeClassOnly) {
        if (const ORVSmrPtr<CSubscriberList>* list = _subscriberTable.find(instanceName->toString())) {
            // Reporters rely on hearing about class-wide interest only, so this answer is dropped.
            (*list)->notify(indication);
        }
    }
    return scope != IOrvoIndication::ScopeInstanceOnly && _notifyClassLists(indication, *object);
}

bool CIndicationManager::_notifyClassLists(const ORVSmrPtr<IOrvoIndication>& indication,
                                           const IOrvoObject& object) {
    const velm::ClassManagerReadGuard classManager;
    const CCIMOMClass* node = classManager->find(object.getClassName());
    if (!node) {
        indication->setClassNames(ORVSmrPtr<ORVValSlist<ORVString>>(new ORVValSlist<ORVString>));
        return false;
    }
    indication->setClassNames(node->getRouteNames());

    // The answer is that of the last list found, not of any: reporters compare it with what "*" wants.
    bool classResult = false;
    for (const ORVString& name : *node->getRouteNames()) {
        if (const ORVSmrPtr<CSubscriberList>* list = _subscriberTable.find(name)) {
            classResult = (*list)->notify(indication);
        }
    }
    return classResult;
}

void CIndicationManager::_routeThroughClassTree(const ORVSmrPtr<IOrvoIndication>& indication) {
    auto object = ORVSmrPtr<IOrvoObject>::none();
    {
        const velm::ClassManagerReadGuard classManager;
        object = indication->getObject();
        const ORVString className = object->getClassName();
        CCIMOMClass* node = className.isNull() ? nullptr : classManager->find(className);
        if (node) {
            node->notify(indication);
        } else {
            classManager->lookup(velm::catchAllClassName)->notify(indication);
        }
    }
    if (indication->getType() == IOrvoIndication::IndicationDestruction) {
        // Other readers may be walking the table and this very list.
        _subscriberTable.retire(object->getInstanceName()->toString());
    }
}
