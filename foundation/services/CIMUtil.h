#pragma once

#include "foundation/object_model/IOrvoIndication.h"
#include "foundation/object_model/IOrvoValue.h"
#include "foundation/services/ORVLog.h"

#include <iosfwd>

/// Writes CIM-XML (DSP0200, DSP0201, DSP0203), UTF-8, and trace lines. Any thread may call it.
///
/// Text is escaped for where it stands. What XML 1.0 cannot carry at all becomes U+FFFD: each control
/// character below U+0020 other than TAB, LF and CR; U+FFFE and U+FFFF; each byte that is no part of a UTF-8
/// character, surrogates and overlong forms included.
class VELM_EXPORT CIMUtil {
public:
    /// Writes the XML declaration and opens CIM and MESSAGE. A `messageID` of 0 stands for the next number of
    /// a process-wide count.
    static void StreamMessageHeader(std::ostream& stream, int messageID);

    /// Writes SIMPLEEXPREQ: one export request (ExportIndication) with `indication` as an instance of the
    /// class for the kind that its provider reported. `localHost` and `localPort` name the server.
    /// `withSourceInstance`: embed the object itself; instances inside it deeper than 16 levels are written
    /// as NULL. `onChannel`: the message travels on a persistent channel; the instance says so. Throws
    /// ORVNullPointerException when the indication has no object; nothing is written then.
    static void StreamIndication(std::ostream& stream, IOrvoIndication& indication, ORVString& localHost,
                                 ORVString& localPort, bool withSourceInstance, bool onChannel);

    /// Closes MESSAGE and CIM.
    static void StreamMessageTrailer(std::ostream& stream);

    /// Writes one value as VALUE, VALUE.ARRAY, VALUE.REFERENCE or VALUE.REFARRAY; nothing for a NULL value.
    /// `withElement`: write the element's tags too, otherwise only the escaped text (not for arrays and
    /// references, which always have theirs). `withNameSpace`: references carry their namespace.
    static void StreamValue(std::ostream& stream, IOrvoValue& value, bool withElement, bool withNameSpace);

    /// Writes a trace line for the logs in `logMask` (ORVLog::CIMOMLOG).
    static void Log(ORVString component, ORVString message, OrvoTraceLog::Severity severity,
                    unsigned int logMask);

    /// Whether Log would write a line, so that callers on a hot path need not build one.
    static bool IsLogged(OrvoTraceLog::Severity severity, unsigned int logMask) noexcept {
        return ORVLog::isTraceOn(severity, logMask);
    }
};
