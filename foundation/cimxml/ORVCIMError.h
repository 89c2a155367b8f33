#pragma once

#include "foundation/Export.h"
#include "foundation/utilities/ORVString.h"

/// ERROR: a CIM status code and a text.
class VELM_EXPORT ORVCIMError {
public:
    ORVCIMError(int code, const ORVString& description);
    ~ORVCIMError();

    /// 1 (failed) when the listener gave no number.
    int getCode() const noexcept { return _code; }
    /// The empty string when the listener gave none.
    ORVString getDescription() const { return _description; }

private:
    int _code;
    ORVString _description;
};
