#include "CIMOM_Indications/CIMOMClassManager.h"

#include "CIMOM_Indications/CIMOMAssociationIndicationFilter.h"
#include "CIMOM_Indications/SpacedText.h"
#include "foundation/services/CIMOMException.h"
#include "foundation/services/ORVLog.h"
#include "foundation/utilities/ORVLockGuard.h"

#include <ostream>
#include <string>
#include <utility>

namespace {

constexpr const char* mirroredNamespace = "root/kob/talmora";
constexpr unsigned int catchAllBucketCount = 1536;
constexpr unsigned int classBucketCount = 10;
constexpr unsigned int classMapBucketCount = 150;

using ClassIterator = ORVValMapIterator<ORVString, ORVSmrPtr<CCIMOMClass>>;
using InstanceIterator = ORVValMapIterator<ORVString, ORVSmrPtr<CCIMOMIndicationFilterList>>;

void writeSubscriber(std::ostream& out, const CCIMOMSubscriberRecord& record) {
    const ORVSmrPtr<CSubscriberID> id = record.getSubscriber()->getSubscriberID();
    out << "<TR><TD>" << id->getHostName() << ":" << id->getPortNumber() << " ("
        << std::to_string(id->getSessionID())
        << ") </TD><TD>Ref Count: " << std::to_string(record.getReferenceCount()) << "<BR></TD></TR>";
}

void writeEnds(std::ostream& out, const ORVSmrPtr<CCIMOMIndicationFilter>& filter) {
    ORVSmrPtr<CCIMOMAssociationIndicationFilter> association;
    ForceCopySmrPtr(association, filter);

    out << "<TR><TD><B>InstanceName Left : </B>";
    // A creation or destruction filter fails here on the null handle, which ends the dump: diagnosis scripts
    // know a registry with such subscriptions by a table that is cut off at this row.
    if (const ORVSmrPtr<CCIMOMClass> left = association->getClassOne(); !left.IsNull()) {
        out << left->getClassName();
    }
    if (const ORVString keys = association->getKeyPropertiesOne(); !keys.isNull()) {
        out << ":";
        velm::writeSpaced(out, keys);
    }
    out << "</TD></TR><TR><TD><B>InstanceName Right : </B>";
    if (const ORVSmrPtr<CCIMOMClass> right = association->getClassTwo(); !right.IsNull()) {
        out << right->getClassName();
    }
    // No colon on this side: scripts that read the table split the two sides differently.
    if (const ORVString keys = association->getKeyPropertiesTwo(); !keys.isNull()) {
        velm::writeSpaced(out, keys);
    }
    out << "</TD></TR>";
}

}  // namespace

CCIMOMClassManager* CCIMOMClassManager::_cimomClassManager = nullptr;

CCIMOMClassManager::CCIMOMClassManager()
    : _classMap(hashKeyORVStringToLower, classMapBucketCount),
      _classesAsSpelled(hashKeyORVString, classMapBucketCount),
      _classManagerLock(ORVReaderWriterLock::Rank::classManager) {
}

CCIMOMClassManager::~CCIMOMClassManager() {
    for (ClassIterator it(_classMap); ++it;) {
        it.value()->detach();
    }
}

void CCIMOMClassManager::initialize(ORVSmrPtr<IOrvoRepository> repository) {
    delete std::exchange(_cimomClassManager, new CCIMOMClassManager);
    const ORVSmrPtr<CCIMOMClass> catchAll(
        new CCIMOMClass(CCIMOMClass::CatchAllClassName, nullptr,
                        ORVSmrPtr<CCIMOMSubscription>(new CCIMOMSubscription(catchAllBucketCount))));
    _cimomClassManager->insert(catchAll);
    try {
        _cimomClassManager->_createClasses(*repository, catchAll);
    } catch (const CIMOMException& failure) {
        ORVLog::log("CIMOM", "Error in CIMOMClassManager : " + failure.getMessage(),
                    OrvoTraceLog::SeverityDetail, OrvoTraceLog::VerbosityNormal, 0, ORVLog::CIMOMLOG);
    }
}

CCIMOMClassManager* CCIMOMClassManager::getInstance() noexcept {
    return _cimomClassManager;
}

bool CCIMOMClassManager::addClass(const ORVString& className, const ORVString& superClassName) {
    ORVLockGuard guard(_classManagerLock, ORVLockGuard::forWriting);
    guard.enter();
    if (!lookup(className).IsNull()) {
        return true;
    }
    const ORVSmrPtr<CCIMOMClass> parent =
        lookup(superClassName.isNull() ? ORVString(CCIMOMClass::CatchAllClassName) : superClassName);
    if (parent.IsNull()) {
        return false;
    }
    const ORVSmrPtr<CCIMOMClass> node(new CCIMOMClass(
        className, parent, ORVSmrPtr<CCIMOMSubscription>(new CCIMOMSubscription(classBucketCount))));
    insert(node);
    parent->addChildClass(node);
    return true;
}

void CCIMOMClassManager::insert(ORVSmrPtr<CCIMOMClass> node) {
    const ORVString key = node->getClassName().toLower();
    if (const ORVSmrPtr<CCIMOMClass>* former = _classMap.find(key)) {
        _classesAsSpelled.remove((*former)->getClassName());
    }
    _classMap.insert(key, node);
    _classesAsSpelled.insert(node->getClassName(), node.Get());
}

ORVSmrPtr<CCIMOMClass> CCIMOMClassManager::lookup(const ORVString& className) {
    const ORVSmrPtr<CCIMOMClass>* node = _classMap.find(className.toLower());
    return node ? *node : nullptr;
}

CCIMOMClass* CCIMOMClassManager::find(const ORVString& className) const {
    if (CCIMOMClass* const* node = _classesAsSpelled.find(className)) {
        return *node;
    }
    const ORVSmrPtr<CCIMOMClass>* node = _classMap.find(className.toLower());
    return node ? node->Get() : nullptr;
}

ORVSmrPtr<CCIMOMClass> CCIMOMClassManager::lookup(const ORVSmrPtr<IOrvoValue>& target) {
    return lookup(target->getType()->isReference() ? target->getReference()->getClassName()
                                                   : target->getString());
}

void CCIMOMClassManager::lockForRead() {
    _classManagerLock.getReadLock();
}

void CCIMOMClassManager::unLockForRead() {
    _classManagerLock.releaseReadLock();
}

void CCIMOMClassManager::lockForWrite() {
    _classManagerLock.getWriteLock();
}

void CCIMOMClassManager::unLockForWrite() {
    _classManagerLock.releaseWriteLock();
}

void CCIMOMClassManager::dump(std::ostream& out) {
    ORVLockGuard guard(_classManagerLock, ORVLockGuard::forReading);
    guard.enter();
    try {
        out << "<TABLE BORDER><TR><TH>Relationship Subscriptions</TH></TR>";
        for (ClassIterator it(_classMap); out && ++it;) {
            _dumpClass(out, *it.value());
        }
        out << "</TABLE>";
    } catch (...) {
        ORVLog::log("CIndicationManager::dump",
                    "An unknown exception occured while dumping the subscriber info.",
                    OrvoTraceLog::SeverityError, OrvoTraceLog::VerbosityNormal, 0, ORVLog::CIMOMLOG);
    }
}

void CCIMOMClassManager::_createClasses(const IOrvoRepository& repository,
                                        const ORVSmrPtr<CCIMOMClass>& catchAll) {
    const ORVSmrPtr<ORVValSlist<ORVSmrPtr<IOrvoClass>>> classes =
        repository.enumerateClasses(mirroredNamespace);
    for (const ORVSmrPtr<IOrvoClass>& repositoryClass : *classes) {
        if (repositoryClass->getSuperClass().IsNull()) {
            _createClass(repositoryClass, catchAll);
        }
    }
}

ORVSmrPtr<CCIMOMClass> CCIMOMClassManager::_createClass(ORVSmrPtr<IOrvoClass> repositoryClass,
                                                        ORVSmrPtr<CCIMOMClass> parent) {
    if (repositoryClass.IsNull()) {
        return nullptr;
    }
    const ORVString name = repositoryClass->getName();
    ORVSmrPtr<CCIMOMClass> node = lookup(name);
    if (node.IsNull()) {
        node = new CCIMOMClass(name, parent,
                               ORVSmrPtr<CCIMOMSubscription>(new CCIMOMSubscription(classBucketCount)));
    }
    parent->addChildClass(node);
    const ORVSmrPtr<ORVValSlist<ORVSmrPtr<IOrvoClass>>> subclasses = repositoryClass->getSubClasses();
    if (!subclasses.IsNull()) {
        for (const ORVSmrPtr<IOrvoClass>& subclass : *subclasses) {
            _createClass(subclass, node);
        }
    }
    insert(node);
    return node;
}

void CCIMOMClassManager::_dumpClass(std::ostream& out, const CCIMOMClass& node) {
    out << "<TR><TD>Class " << node.getClassName() << "</TD>";
    const ORVSmrPtr<CCIMOMSubscription> table = node.getSubscription();
    const CCIMOMIndicationFilterList::Contents classList = table->getClassMapList()->getContents();
    for (const ORVSmrPtr<CCIMOMFilterSubscriberMap>& map : *classList.maps) {
        _dumpSubscriberMap(out, ORVString::emptyString(), map);
    }
    for (InstanceIterator it(*table->getInstanceMapList()); out && ++it;) {
        const CCIMOMIndicationFilterList::Contents list = it.value()->getContents();
        const ORVString instanceName = list.instanceName->toString();
        for (const ORVSmrPtr<CCIMOMFilterSubscriberMap>& map : *list.maps) {
            _dumpSubscriberMap(out, instanceName, map);
        }
    }
}

void CCIMOMClassManager::_dumpSubscriberMap(std::ostream& out, ORVString instanceName,
                                            ORVSmrPtr<CCIMOMFilterSubscriberMap> map) {
    // Who wants no more of a long table has the stream fail.
    if (!out) {
        return;
    }
    const ORVSmrPtr<CCIMOMIndicationFilter>& filter = map->getIndicationFilter();
    const CCIMOMIndicationFilter::FilterType type = filter->getFilterType();
    out << "<TR><TH>Subscription Type</TH></TR>"
        << "<TD>" << CCIMOMIndicationFilter::convertFilterTypeToString(type) << " </TD><TR></TR>"
        << "<TR></TR><TR><TH>Subscriber</TH><TH>Reference Count</TH></TR>";
    for (const ORVSmrPtr<CCIMOMSubscriberRecord>& record : *map->getSubscriberList()) {
        if (!out) {
            return;
        }
        writeSubscriber(out, *record);
    }
    out << "</TR><TR></TR><TR></TR><TR></TR>"
        << "<TR><TD><B>InstanceName : </B>";
    velm::writeSpaced(out, instanceName);
    out << "</TD></TR>";
    if (type != CCIMOMIndicationFilter::FilterCreate) {
        writeEnds(out, filter);
    }
    out << "<TR></TR><TR></TR>";
}
