#pragma once

#include "CIMOM_Indications/CIMOMClass.h"
#include "CIMOM_Indications/CIMOMFilterSubscriberMap.h"
#include "foundation/Export.h"
#include "foundation/containers/ORVValMap.h"
#include "foundation/object_model/IOrvoClass.h"
#include "foundation/object_model/IOrvoRepository.h"
#include "foundation/object_model/IOrvoValue.h"
#include "foundation/utilities/ORVReaderWriterLock.h"

#include <iosfwd>

/// The subscription registry of the process: all class nodes by name, and the one lock over everything in
/// them.
///
/// Threads: initialize() runs before any other thread uses the registry. After it, callers bracket what they
/// do with lockForRead() and unLockForRead() to look up and to notify, and with lockForWrite() and
/// unLockForWrite() to change subscriptions. The indication manager's lock is taken before this one, never
/// after. dump() locks by itself.
///
/// Classes that the repository learns of after initialize() are unknown here until addClass() tells of them.
class CCIMOMClassManager {
public:
    /// Builds the registry from the classes of namespace "root/kob/talmora". Called by the hosting server; a
    /// second call replaces the registry, subscriptions included.
    ///
    /// A CIMOMException of the repository is logged, and the registry keeps the classes found until then; any
    /// other exception passes through. Requires: no other thread uses the registry, and no subscription from
    /// a former call is used again.
    VELM_EXPORT static void initialize(ORVSmrPtr<IOrvoRepository> repository);

    /// Null until initialize() has run. Owned by the process.
    VELM_EXPORT static CCIMOMClassManager* getInstance() noexcept;

    /// Adds a class that the repository learned of after initialize(), below its superclass; the null string
    /// stands for none. Does nothing for a class that is there, and answers false when the superclass is
    /// not. Takes the write lock itself.
    VELM_EXPORT bool addClass(const ORVString& className, const ORVString& superClassName);

    CCIMOMClassManager(const CCIMOMClassManager&) = delete;
    CCIMOMClassManager& operator=(const CCIMOMClassManager&) = delete;

    /// Files `node` under its name; letter case is ignored. Requires: the write lock, or initialize() in
    /// progress.
    void insert(ORVSmrPtr<CCIMOMClass> node);

    /// The node of this class, letter case ignored; a null handle when it is unknown. Requires: the lock,
    /// either way.
    ORVSmrPtr<CCIMOMClass> lookup(const ORVString& className);

    /// As lookup(), without a handle; the node lives as long as the registry.
    CCIMOMClass* find(const ORVString& className) const;

    /// The node of the class that a subscription target names: the class of the instance for a reference,
    /// otherwise the class whose name the value is. Throws ORVNullPointerException for a null handle.
    /// Requires: the lock, either way.
    ORVSmrPtr<CCIMOMClass> lookup(const ORVSmrPtr<IOrvoValue>& target);

    VELM_EXPORT void lockForRead();
    VELM_EXPORT void unLockForRead();
    VELM_EXPORT void lockForWrite();
    VELM_EXPORT void unLockForWrite();

    /// Writes classes and subscriptions as an HTML table. A failure is logged and ends the output where it
    /// happened: so does a creation or destruction subscription, which has no ends to show. Stops when
    /// the stream takes no more. Takes the read lock.
    VELM_EXPORT void dump(std::ostream& out);

private:
    CCIMOMClassManager();
    ~CCIMOMClassManager();

    ORVSmrPtr<CCIMOMClass> _createClass(ORVSmrPtr<IOrvoClass> repositoryClass, ORVSmrPtr<CCIMOMClass> parent);
    void _createClasses(const IOrvoRepository& repository, const ORVSmrPtr<CCIMOMClass>& catchAll);
    void _dumpClass(std::ostream& out, const CCIMOMClass& node);
    void _dumpSubscriberMap(std::ostream& out, ORVString instanceName,
                            ORVSmrPtr<CCIMOMFilterSubscriberMap> map);

    ORVValMap<ORVString, ORVSmrPtr<CCIMOMClass>> _classMap;
    /// The same nodes by the names as they are spelled, which is how most are asked for.
    ORVValMap<ORVString, CCIMOMClass*> _classesAsSpelled;
    ORVReaderWriterLock _classManagerLock;

    static CCIMOMClassManager* _cimomClassManager;
};
