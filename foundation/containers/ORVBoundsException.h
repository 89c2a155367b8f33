#pragma once

#include "foundation/utilities/OrvoBaseException.h"

/// Thrown, by value, when a container is asked for an element that it does not have. The message is "Out of
/// Bounds", the code 0.
class VELM_EXPORT ORVBoundsException : public OrvoBaseException {
public:
    ORVBoundsException();
    ~ORVBoundsException() override;

    ORVString getType() const override;
};
