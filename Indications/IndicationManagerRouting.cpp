#include "CIMOM_Indications/RoutedIndication.h"
#include "Indications/ClassManagerGuard.h"
#include "Indications/DeliveryRecords.h"
#include "Indications/IndicationManager.h"
#include "foundation/object_model/COrvoDebugTools.h"
#include "foundation/services/CIMUtil.h"
#include "foundation/utilities/ORVLockGuard.h"

namespace {

/// Whether anybody reads the line must not decide what becomes of an object without a name.
ORVString textOf(const ORVSmrPtr<IOrvoIndication>& indication) {
    try {
        return COrvoDebugTools::indicationToString(indication);
    } catch (const ORVNullPointerException&) {
        return COrvoDebugTools::indicationTypeToString(indication->getType()) + " of an unnamed object";
    }
}

void logReceived(const ORVSmrPtr<IOrvoIndication>& indication) {
    CIMUtil::Log("CIndicationManager", "Legacy Indication received: " + textOf(indication),
                 OrvoTraceLog::SeverityDetail, ORVLog::CIMOMLOG);
}

}  // namespace

bool CIndicationManager::notify(ORVSmrPtr<IOrvoIndication> indication) {
    if (!getIndicationsEnabled()) {
        return false;
    }
    if (CIMUtil::IsLogged(OrvoTraceLog::SeverityDetail, ORVLog::CIMOMLOG)) {
        logReceived(indication);
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
    velm::RoutedIndication routed(indication);
    // Also when the routing fails half-way.
    const auto count = [this](velm::RoutedIndication* ended) { _records->countReport(ended->isQueued()); };
    const std::unique_ptr<velm::RoutedIndication, decltype(count)> guard(&routed, count);
    if (routed.type() == IOrvoIndication::IndicationChange) {
        return _routeChange(routed);
    }
    _routeThroughClassTree(routed);
    return false;
}

bool CIndicationManager::_routeChange(velm::RoutedIndication& indication) {
    // Whatever the scope: an object that fails to tell its name is routed to nobody.
    indication.fetchInstanceName();
    const unsigned int scope = indication.indication()->getRoutingScope();
    if (scope != IOrvoIndication::ScopeClassOnly) {
        if (const ORVSmrPtr<CSubscriberList>* list = _subscriberTable.find(indication.instanceText())) {
            // Reporters rely on hearing about class-wide interest only, so this answer is dropped.
            indication.noteQueued((*list)->notify(indication.indication()));
        }
    }
    return scope != IOrvoIndication::ScopeInstanceOnly && _notifyClassLists(indication);
}

bool CIndicationManager::_notifyClassLists(velm::RoutedIndication& indication) {
    const velm::ClassManagerReadGuard classManager;
    const CCIMOMClass* node = classManager->find(indication.className());
    if (!node) {
        indication.indication()->setClassNames(ORVSmrPtr<ORVValSlist<ORVString>>(new ORVValSlist<ORVString>));
        return false;
    }
    indication.setRouteNames(node->routeNames());

    // The answer is that of the last list found, not of any: reporters compare it with what "*" wants.
    bool classResult = false;
    const bool canSkip = _tableNames.knowsAll(_subscriberTable.insertions());
    for (const velm::RouteNames::Name& name : node->routeNames().names()) {
        if (canSkip && !_tableNames.mayBeKey(name)) {
            continue;
        }
        if (const ORVSmrPtr<CSubscriberList>* list = _subscriberTable.find(name.text)) {
            classResult = (*list)->notify(indication.indication());
            indication.noteQueued(classResult);
        }
    }
    return classResult;
}

void CIndicationManager::_routeThroughClassTree(velm::RoutedIndication& indication) {
    {
        const velm::ClassManagerReadGuard classManager;
        const ORVString& className = indication.className();
        CCIMOMClass* node = className.isNull() ? nullptr : classManager->find(className);
        if (node) {
            node->notify(indication);
        } else {
            classManager->lookup(velm::catchAllClassName)->notify(indication);
        }
    }
    if (indication.type() == IOrvoIndication::IndicationDestruction) {
        // Other readers may be walking the table and this very list.
        _subscriberTable.retire(indication.instanceText());
    }
}
