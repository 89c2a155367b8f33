#include "CIMOM_Indications/CIMOMDeletedFilterRecord.h"

#include <utility>

CCIMOMDeletedFilterRecord::CCIMOMDeletedFilterRecord(ORVSmrPtr<IOrvoInstanceName> instanceName,
                                                     ORVSmrPtr<CCIMOMFilterSubscriberMap> filter)
    : _instanceName(std::move(instanceName)), _filter(std::move(filter)) {
}
