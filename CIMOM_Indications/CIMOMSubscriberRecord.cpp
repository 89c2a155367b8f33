#include "CIMOM_Indications/CIMOMSubscriberRecord.h"

#include <utility>

CCIMOMSubscriberRecord::CCIMOMSubscriberRecord(ORVSmrPtr<CSubscriber> subscriber,
                                               std::uint32_t referenceCount)
    : _subscriber(std::move(subscriber)), _inPlace(_subscriber.Get()), _referenceCount(referenceCount) {
}
