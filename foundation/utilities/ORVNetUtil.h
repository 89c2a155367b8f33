#pragma once

#include "foundation/Export.h"
#include "foundation/utilities/ORVString.h"

/// Questions about network addresses. Any thread may ask.
class VELM_EXPORT ORVNetUtil {
public:
    /// Whether `host` is the machine that this process runs on: a loopback literal (127.0.0.0/8, ::1, with or
    /// without brackets, IPv4-mapped forms included), an address of one of the machine's interfaces, or a
    /// name all of whose addresses are such. A name that does not resolve is not local.
    ///
    /// `addressFamily` limits the look-up of names: AF_INET, AF_INET6, or 0 for both. Literals are answered
    /// without asking a resolver; names may block for as long as the resolver does.
    static bool isLoopBackAddress(const ORVString& host, int addressFamily);
};
