#pragma once

#include "foundation/object_model/IOrvoIndication.h"

#include <atomic>

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

    /// What a filter makes of `reported` for delivery as `type`: object, changed properties, context and time
    /// are shared with it, class names and routing scope are not.
    static ORVSmrPtr<IOrvoIndication> makeDelivery(const IOrvoIndication& reported, IndicationType type);

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

    /// The same as getObject(), lent for as long as this object lives.
    const ORVSmrPtr<IOrvoObject>& object() const noexcept { return _object; }

    /// As setClassNames(), for names that are never destroyed: their handle is not copied until somebody asks
    /// for it, so that threads that report at once do not count on one record.
    void lendClassNames(const ORVSmrPtr<ORVValSlist<ORVString>>& everlasting) noexcept {
        _lentClassNames.store(&everlasting, std::memory_order_release);
    }

private:
    friend struct SmartPointerPointee<IOrvoIndication>;

    COrvoIndication(const IOrvoIndication& reported, IndicationType type);
    COrvoIndication(const COrvoIndication& reported, IndicationType type);

    ORVSmrPtr<IOrvoObject> _object;
    ORVSmrPtr<ORVValSlist<ORVString>> _changedProperties;
    void* _context;
    std::chrono::system_clock::time_point _time;
    IndicationType _type;
    IndicationIntent _intent;
    unsigned int _routingScope = ScopeAll;
    /// Held for no longer than it takes to copy a handle.
    mutable std::atomic_flag _classNamesLock;
    ORVSmrPtr<ORVValSlist<ORVString>> _classNames;
    /// Null, or what stands for `_classNames`.
    std::atomic<const ORVSmrPtr<ORVValSlist<ORVString>>*> _lentClassNames{nullptr};
};
