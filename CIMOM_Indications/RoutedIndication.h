#pragma once

#include "foundation/object_model/IOrvoIndication.h"
#include "foundation/object_model/IOrvoInstanceName.h"

#include <array>
#include <optional>

namespace velm {

/// "class:key properties": how the subscription tables tell instances apart.
ORVString instanceKeyOf(const IOrvoInstanceName& instanceName);

/// What routing asks of one indication: each answer is fetched when it is first needed, and once for all the
/// tables that the indication passes.
///
/// Threads: used by one. Failure: ORVNullPointerException where the indication lacks what is asked for.
class RoutedIndication {
public:
    /// One instance that an association refers to.
    struct End {
        ORVSmrPtr<IOrvoInstanceName> name;
        ORVString className;
        ORVString keyProperties;
    };

    /// Requires: `indication` outlives this object.
    explicit RoutedIndication(const ORVSmrPtr<IOrvoIndication>& indication) noexcept
        : _indication(indication) {}
    RoutedIndication(const RoutedIndication&) = delete;
    RoutedIndication& operator=(const RoutedIndication&) = delete;

    const ORVSmrPtr<IOrvoIndication>& indication() const noexcept { return _indication; }
    IOrvoIndication::IndicationType type() const { return _indication->getType(); }

    /// Whether the object is the instance of an association.
    bool isAssociation();

    /// The key of the object's own instance.
    const ORVString& instanceKey();

    /// The first or the second instance that the association refers to. Requires: isAssociation().
    const End& end(unsigned int position);

private:
    const IOrvoObject& _object();

    const ORVSmrPtr<IOrvoIndication>& _indication;
    ORVSmrPtr<IOrvoObject> _fetchedObject = ORVSmrPtr<IOrvoObject>::none();
    std::optional<bool> _isAssociation;
    std::optional<ORVString> _instanceKey;
    std::array<std::optional<End>, 2> _ends;
};

}  // namespace velm
