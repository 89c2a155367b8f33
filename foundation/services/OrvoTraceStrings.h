#pragma once

#include "foundation/Export.h"

/// Fixed texts of the trace layer.
class VELM_EXPORT OrvoTraceStrings {
public:
    /// "Jan" to "Dec", indexed 0 to 11.
    static const char* const month[12];
};
