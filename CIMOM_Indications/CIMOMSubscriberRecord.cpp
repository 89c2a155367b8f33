#include "CIMOM_Indications/CIMOMSubscriberRecord.h"

#include <utility>

CCIMOMSubscriberRecord::CCIMOMSubscriberRecord(ORVSmrPtr<CSubscriber> subscriber)
    : _subscriber(std::move(subscriber)) {
}
