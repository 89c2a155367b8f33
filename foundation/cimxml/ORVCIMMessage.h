#pragma once

#include "foundation/cimxml/ORVCIMSimpleExpRsp.h"
#include "foundation/handles/ORVSmrPtr.h"

#include <iosfwd>

/// A CIM-XML message that was received: CIM, MESSAGE and the export response in it (DSP0201, DSP0203).
///
/// Document type declarations, external entities and entity expansion are refused. Used by one thread.
class VELM_EXPORT ORVCIMMessage {
public:
    /// Reads one message up to the end of `stream`.
    ///
    /// `checksVersions`: refuse a CIMVERSION or DTDVERSION other than 2.x and a PROTOCOLVERSION other
    /// than 1.x, and missing ones. `fromStranger`: limit what the sender can cost: 1 MiB of text, 64 levels
    /// of nesting. Throws ORVXMLError when the document is not well-formed, is no CIM message or passes a
    /// limit; exceptions of the stream pass through.
    ORVCIMMessage(std::istream& stream, bool checksVersions, bool fromStranger);
    ~ORVCIMMessage();

    /// The SIMPLEEXPRSP; a null handle when the message holds something else.
    ORVSmrPtr<ORVCIMSimpleExpRsp> getSimpleExpRsp() const { return _simpleExpRsp; }

    /// The attribute ID of MESSAGE; the null string when it has none.
    ORVString getID() const { return _id; }

private:
    ORVString _id;
    ORVSmrPtr<ORVCIMSimpleExpRsp> _simpleExpRsp;
};
