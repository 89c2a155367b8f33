#pragma once

#include "foundation/object_model/IOrvoIndication.h"

#include <mutex>

/// The one implementation of IOrvoIndication.
class VELM_EXPORT COrvoIndication : public IOrvoIndication {
public:
    /// `changedProperties` and `classNames` may be null handles. A null `context` stands for the record of
    /// `type` itself: that is what a provider passes. With `copiesObject` the indication keeps a deep copy,
    /// so that the reporter may go on changing the object; otherwise it shares it.
    COrvoIndication(ORVSmrPtr<IOrvoObject> object, IOrvoIndication::IndicationType type,
                    ORVSmrPtr<ORVValSlist<ORVString>> changedProperties, void* context,
                    IOrvoIndication::IndicationIntent intent, ORVSmrPtr<ORVValSlist<ORVString>> classNames,
                    bool copiesObject);
    ~COrvoIndication() override;

    /// The static record for `type`; that of IndicationInvalid for a number that is no kind.
    static const ReportedKind& reportedKindOf(IndicationType type) noexcept;

    /// Set by the reporter before it reports.
    void setRoutingScope(unsigned int scope);

    /// When the event was reported, for an indication that is made from another one. Set before it is shared.
    void setTime(std::chrono::system_clock::time_point time);

    IndicationType getType() const override;
    IndicationIntent getIntent() const override;
    ORVSmrPtr<IOrvoObject> getObject() const override;
    ORVSmrPtr<ORVValSlist<ORVString>> getChangedProperties() const override;
    void* getContext() const override;
    unsigned int getRoutingScope() const override;
    ORVSmrPtr<ORVValSlist<ORVString>> getClassNames() const override;
    void setClassNames(const ORVSmrPtr<ORVValSlist<ORVString>>& classNames) override;
    std::chrono::system_clock::time_point getTime() const override;
    ORVString toString() const override;

private:
    ORVSmrPtr<IOrvoObject> _object;
    IndicationType _type;
    ORVSmrPtr<ORVValSlist<ORVString>> _changedProperties;
    void* _context;
    IndicationIntent _intent;
    mutable std::mutex _classNamesLock;
    ORVSmrPtr<ORVValSlist<ORVString>> _classNames;
    unsigned int _routingScope = ScopeAll;
    std::chrono::system_clock::time_point _time;
};
