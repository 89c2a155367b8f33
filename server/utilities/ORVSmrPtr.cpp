#include "foundation/handles/ORVSmrPtr.h"

#include "foundation/utilities/OrvoBaseException.h"

void ORVSmrPtrImpl::raiseNullPointer(const char* operation) {
    throw ORVNullPointerException(operation);
}
