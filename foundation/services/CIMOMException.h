#pragma once

#include "foundation/utilities/OrvoBaseException.h"

/// A failure of the server that its client is told: a text and a CIM status code (DSP0200, CIM status codes).
/// 1 failed, 4 invalid parameter, 5 invalid class, 6 not found, 7 not supported.
class VELM_EXPORT CIMOMException : public OrvoBaseException {
public:
    CIMOMException(const ORVString& who, const ORVString& message, int code);
    ~CIMOMException() override;

    ORVString getType() const override;
};
