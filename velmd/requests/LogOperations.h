#pragma once

#include "velmd/requests/CIMRequest.h"
#include "velmd/requests/OperationResult.h"

namespace velm {

/// This system's own requests about the indications log, in the form of intrinsic calls: LogIndications,
/// PlaceMarker and ClearIndicationsLog. docs/protocol.md describes them for those who write clients.
///
/// Threads: any number. Failure: CIMOMException (4) for a parameter that is missing, unknown or no boolean.
/// That the log itself cannot be written is for the server's log to tell.
class LogOperations {
public:
    OperationResult logIndications(const CIMRequest& request) const;
    OperationResult placeMarker(const CIMRequest& request) const;
    OperationResult clearIndicationsLog(const CIMRequest& request) const;
};

}  // namespace velm
