#pragma once

#include "foundation/handles/ORVSmrPtr.h"
#include "foundation/object_model/IOrvoIndication.h"
#include "foundation/utilities/ORVString.h"

#include <atomic>
#include <cstdint>

class CCIMOMAssociationIndicationFilter;
class CCIMOMIndicationFilter;

namespace velm {
class RoutedIndication;

/// The filter as an association filter whose operations are those of that class; null for any other filter,
/// also when it is derived from that class.
const CCIMOMAssociationIndicationFilter* knownAssociation(const CCIMOMIndicationFilter& filter) noexcept;

/// As match() of the filter, for a caller that has looked at the indication already.
bool matches(CCIMOMIndicationFilter& filter, RoutedIndication& indication);
}  // namespace velm

/// Says which indications a subscription wants.
///
/// Threads: immutable once made; any number of threads may ask at once. Ownership: held through handles by
/// the filter map that it belongs to. Failure: a null handle among the arguments throws
/// ORVNullPointerException where it is first used.
///
/// The order of the virtual operations is part of the binary interface.
class CCIMOMIndicationFilter {
public:
    /// Bit values, the same numbers as IOrvoIndication::IndicationType: filter types are turned back into
    /// indication types by their number.
    enum FilterType : unsigned int {
        FilterInvalid = 0,
        FilterChange = 1,
        FilterAddAssociation = 2,
        FilterRemoveAssociation = 4,
        FilterCreate = 8,
        FilterDestroy = 16,
        FilterEnterRelationship = 32,
        FilterLeaveRelationship = 64,
        FilterEnterAssociation = 128,
        FilterLeaveAssociation = 256
    };

    CCIMOMIndicationFilter(const CCIMOMIndicationFilter&) = delete;
    CCIMOMIndicationFilter& operator=(const CCIMOMIndicationFilter&) = delete;
    virtual ~CCIMOMIndicationFilter();

    /// Whether the subscribers behind this filter receive `indication`. The base answers false.
    virtual bool match(const ORVSmrPtr<IOrvoIndication>& indication);

    /// Whether a subscription through `other` may share this filter. The base compares the types only, so
    /// that the answer can differ from the one that `other` would give.
    virtual bool operator==(const ORVSmrPtr<CCIMOMIndicationFilter>& other) const;

    FilterType getFilterType() const noexcept { return _filterType; }

    /// "Add Assoc", "Create", ...; "Invalid" for 0; the empty string for FilterChange and for numbers that
    /// are no type.
    static ORVString convertFilterTypeToString(FilterType filterType);

protected:
    /// Leaves the type to the concrete constructor.
    CCIMOMIndicationFilter() = default;

    FilterType _filterType;

private:
    friend const CCIMOMAssociationIndicationFilter* velm::knownAssociation(
        const CCIMOMIndicationFilter& filter) noexcept;

    /// What knownAssociation() found out: comparing types takes longer than to match.
    enum class Kind : std::uint8_t { unasked, association, other };
    mutable std::atomic<Kind> _kind{Kind::unasked};
};
