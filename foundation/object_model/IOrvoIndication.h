#pragma once

#include "foundation/containers/ORVValSlist.h"
#include "foundation/handles/ORVSmrPtr.h"
#include "foundation/object_model/IOrvoObject.h"
#include "foundation/utilities/ORVString.h"

#include <chrono>

/// An event about a CIM object.
///
/// Threads: any number may read, also while the class names are set: a change is offered to the list of its
/// instance before its classes are looked up.
class VELM_EXPORT IOrvoIndication {
public:
    /// Bit values, so that filters can test several kinds at once.
    enum IndicationType : unsigned int {
        IndicationInvalid = 0,
        IndicationChange = 1,
        IndicationAddition = 2,
        IndicationRemoval = 4,
        IndicationCreation = 8,
        IndicationDestruction = 16,
        IndicationEnterRelationship = 32,
        IndicationLeaveRelationship = 64,
        IndicationEnterAssociation = 128,
        IndicationLeaveAssociation = 256
    };

    /// Whether a provider reports the event or a filter made it for delivery.
    enum IndicationIntent : unsigned int { IntentReport = 0, IntentDeliver = 1 };

    /// What a context pointer points at: the kind of event that the provider reported, whatever type the
    /// indication is delivered as. Static records, one for each kind.
    struct ReportedKind {
        IndicationType type;
        /// The class of the exported indication instance: "CIM_InstCreation" and so on.
        const char* exportClassName;
    };

    /// Which lists a change is routed to, beside 0 (both).
    enum RoutingScope : unsigned int { ScopeAll = 0, ScopeInstanceOnly = 1, ScopeClassOnly = 2 };

    virtual ~IOrvoIndication();

    virtual IndicationType getType() const = 0;
    virtual IndicationIntent getIntent() const = 0;
    virtual ORVSmrPtr<IOrvoObject> getObject() const = 0;

    /// The names of the properties that changed; a null handle or an empty list when the provider named none.
    virtual ORVSmrPtr<ORVValSlist<ORVString>> getChangedProperties() const = 0;

    /// Points at a ReportedKind record.
    virtual void* getContext() const = 0;

    /// 1: only the lists of the instance; 2: only those of its classes; anything else: both.
    virtual unsigned int getRoutingScope() const = 0;

    /// The names under which the change was routed: the object's class, those above it, and "*". A null
    /// handle until it was routed.
    virtual ORVSmrPtr<ORVValSlist<ORVString>> getClassNames() const = 0;
    virtual void setClassNames(const ORVSmrPtr<ORVValSlist<ORVString>>& classNames) = 0;

    /// When the event was reported, UTC.
    virtual std::chrono::system_clock::time_point getTime() const = 0;

    /// One readable line: the type as delivered, the kind as reported where it differs, and the instance
    /// name. Throws ORVNullPointerException when the object or its name is missing.
    virtual ORVString toString() const = 0;
};
