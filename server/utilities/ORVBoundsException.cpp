#include "foundation/containers/ORVBoundsException.h"

ORVBoundsException::ORVBoundsException()
    : OrvoBaseException("ORVValSlist", "foundation", "Out of Bounds", 0) {
}

ORVBoundsException::~ORVBoundsException() = default;

ORVString ORVBoundsException::getType() const {
    return "ORVBoundsException";
}
