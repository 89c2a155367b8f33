#include "CIMOM_Indications/CIMOMProviderSubscriber.h"

CCIMOMProviderSubscriber::CCIMOMProviderSubscriber(ORVSmrPtr<IOrvoSubscriber>) {
}

CCIMOMProviderSubscriber::~CCIMOMProviderSubscriber() = default;

bool CCIMOMProviderSubscriber::notify(ORVSmrPtr<IOrvoIndication>) {
    return true;
}
