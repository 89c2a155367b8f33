#pragma once

#include "foundation/Export.h"

/// Texts of the HTTP protocol.
class VELM_EXPORT ORVHTTPCodes {
public:
    static constexpr const char* Post = "POST";
    static constexpr const char* CRLF = "\r\n";
};
