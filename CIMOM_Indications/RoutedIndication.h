#pragma once

#include "foundation/object_model/IOrvoIndication.h"
#include "foundation/object_model/IOrvoInstanceName.h"
#include "foundation/utilities/ORVString.h"

#include <array>
#include <optional>

class COrvoObject;

namespace velm {

class RouteNames;

/// "class:key properties": how the subscription tables tell instances apart.
ORVString instanceKeyOf(const IOrvoInstanceName& instanceName);

/// What routing asks of one indication: each answer is fetched when it is first needed, and once for all the
/// tables that the indication passes. Nothing is copied of objects of this system's own classes.
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

    /// The class of the object; the null string when the reporter does not know it.
    const ORVString& className();

    /// Whether the object is the instance of an association.
    bool isAssociation();

    /// Asks the object for the name of its instance, which may be null.
    void fetchInstanceName();

    /// The name of the object's own instance as text, and its key.
    const ORVString& instanceText();
    const ORVString& instanceKey();

    /// Gives the indication the names of its route.
    void setRouteNames(const RouteNames& names);

    /// Whoever is handed the indication says whether that queued it at a subscriber.
    void noteQueued(bool isQueued) noexcept { _isQueued = _isQueued || isQueued; }
    /// Whether it was queued at one subscriber or more.
    bool isQueued() const noexcept { return _isQueued; }

    /// The first or the second instance that the association refers to. Requires: isAssociation().
    const End& end(unsigned int position);

private:
    const IOrvoObject& _object();
    const IOrvoInstanceName& _instanceName();

    const ORVSmrPtr<IOrvoIndication>& _indication;
    /// The object's handle, once it was fetched, and the object when it is of this system's own class.
    const ORVSmrPtr<IOrvoObject>* _handle = nullptr;
    const COrvoObject* _own = nullptr;
    bool _isQueued = false;
    std::optional<bool> _isAssociation;
    std::optional<JoinedString> _instanceKey;
    std::array<std::optional<End>, 2> _ends;

    // Of objects of other classes.
    ORVSmrPtr<IOrvoObject> _heldObject = ORVSmrPtr<IOrvoObject>::none();
    ORVSmrPtr<IOrvoInstanceName> _heldName = ORVSmrPtr<IOrvoInstanceName>::none();
    std::optional<ORVString> _heldClassName;
    std::optional<ORVString> _heldText;
};

}  // namespace velm
