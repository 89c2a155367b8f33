#include "foundation/services/CIMOMException.h"

CIMOMException::CIMOMException(const ORVString& who, const ORVString& message, int code)
    : OrvoBaseException(ORVString(), who, message, code) {
}

CIMOMException::~CIMOMException() = default;

ORVString CIMOMException::getType() const {
    return "CIMOMException";
}
