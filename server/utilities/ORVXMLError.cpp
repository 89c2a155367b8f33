#include "foundation/utilities/ORVXMLError.h"

ORVXMLError::ORVXMLError(const ORVString& message) : _message(message) {
}

ORVString ORVXMLError::GetErrorMessage() const {
    return _message;
}
