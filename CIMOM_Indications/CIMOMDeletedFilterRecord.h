#pragma once

#include "CIMOM_Indications/CIMOMFilterSubscriberMap.h"
#include "foundation/containers/ORVValSlist.h"
#include "foundation/handles/ORVSmrPtr.h"
#include "foundation/object_model/IOrvoInstanceName.h"

/// Reports a filter map that the removal of a subscriber left empty, so that providers can be told to stop.
///
/// Threads: used by one thread at a time. Ownership: shares both objects; the map's filter stays readable
/// through it.
class CCIMOMDeletedFilterRecord {
public:
    /// How records travel: a list made by the caller of removeSubscriber() and filled by the filter lists.
    using List = ORVSmrPtr<ORVValSlist<ORVSmrPtr<CCIMOMDeletedFilterRecord>>>;

    /// `instanceName` is the instance that the map was for, a null handle for a class-wide map.
    CCIMOMDeletedFilterRecord(ORVSmrPtr<IOrvoInstanceName> instanceName,
                              ORVSmrPtr<CCIMOMFilterSubscriberMap> filter);

    ORVSmrPtr<IOrvoInstanceName>& getInstanceName() noexcept { return _instanceName; }
    ORVSmrPtr<CCIMOMFilterSubscriberMap>& getFilter() noexcept { return _filter; }

private:
    ORVSmrPtr<IOrvoInstanceName> _instanceName;
    ORVSmrPtr<CCIMOMFilterSubscriberMap> _filter;
};
