#pragma once

#include "foundation/object_model/IOrvoIndication.h"
#include "foundation/object_model/IOrvoSubscriptionFilter.h"

#include <string_view>

/// Readable texts for traces and tables.
class VELM_EXPORT COrvoDebugTools {
public:
    /// The indication's own text. Throws ORVNullPointerException for a null handle.
    static ORVString indicationToString(ORVSmrPtr<IOrvoIndication> indication);

    /// "NULL" for a null handle, else "Class[property, property]"; nothing stands before the bracket when no
    /// class was named.
    static ORVString indicationFilterToString(ORVSmrPtr<IOrvoSubscriptionFilter> filter);

    /// "Change", "Addition", ..., "LeaveAssociation"; "Invalid" for 0 and "Unknown (n)" for any other number.
    static ORVString indicationTypeToString(IOrvoIndication::IndicationType type);

    /// The same without a copy; the null view for a number that is no kind.
    static std::string_view indicationTypeName(IOrvoIndication::IndicationType type) noexcept;
};
