#pragma once

#include <string_view>

namespace velm {

/// The CIM status codes that this server answers (DSP0200, CIM status codes).
///
/// What a client does next: 2 to 17 and 20 fix the request; 1 and 27 may be tried again later; 7 do without;
/// 28 ask another server.
enum class CIMStatus : int {
    failed = 1,
    accessDenied = 2,
    invalidNamespace = 3,
    invalidParameter = 4,
    invalidClass = 5,
    notFound = 6,
    notSupported = 7,
    classHasChildren = 8,
    classHasInstances = 9,
    invalidSuperclass = 10,
    alreadyExists = 11,
    noSuchProperty = 12,
    typeMismatch = 13,
    methodNotAvailable = 16,
    methodNotFound = 17,
    namespaceNotEmpty = 20,
    serverLimitsExceeded = 27,
    serverIsShuttingDown = 28
};

/// "CIM_ERR_NOT_FOUND" and so on; "CIM_ERR_FAILED" for a number that is no status of the standard.
std::string_view statusName(int status) noexcept;

/// Throws CIMOMException with this status as its code. `problem` names what was wrong.
[[noreturn]] void throwStatus(CIMStatus status, std::string_view problem);

}  // namespace velm
