#pragma once

#include "foundation/object_model/IOrvoIndication.h"
#include "foundation/object_model/IOrvoSubscriptionFilter.h"

#include <array>
#include <cstddef>
#include <forward_list>
#include <map>

/// Counts what one subscriber wants of one instance or class, per kind of indication.
///
/// An unfiltered subscription (null filter) has a count of its own for each kind; a filtered one counts each
/// of its properties. A filter without properties counts as one on every property and is kept under the name
/// "*". Property names are compared without regard to letter case.
///
/// Threads: reading, accepts() included, on any number of threads while nobody changes it.
class VELM_EXPORT COrvoIndicationFilterProcessor {
public:
    COrvoIndicationFilterProcessor();

    /// With `unfiltered` subscriptions of `type`, which may be no kind when there are none.
    COrvoIndicationFilterProcessor(IOrvoIndication::IndicationType type, unsigned int unfiltered);

    /// Whether `type` is one kind of indication; no other number is ever subscribed to.
    static bool isKind(IOrvoIndication::IndicationType type) noexcept;

    /// Adds one subscription of `type`. `resultFilter` receives the class of `filter` and those properties
    /// whose count went from 0 to 1; it is left empty when the provider has nothing new to learn.
    /// `*referenceCount` receives the number of unfiltered subscriptions of `type` for a null filter, and the
    /// number of filtered ones otherwise. Requires: `resultFilter` is not null when `filter` is not;
    /// `referenceCount` is not null.
    void subscribe(IOrvoIndication::IndicationType type, ORVSmrPtr<IOrvoSubscriptionFilter> filter,
                   ORVSmrPtr<IOrvoSubscriptionFilter> resultFilter, unsigned int* referenceCount);

    /// Takes one subscription of `type` back. `resultFilter` receives the properties whose count went from 1
    /// to 0, `*referenceCount` what it does above. What was never subscribed changes nothing: the result
    /// filter stays empty and `*referenceCount` keeps the value that the caller put there.
    void unsubscribe(IOrvoIndication::IndicationType type, ORVSmrPtr<IOrvoSubscriptionFilter> filter,
                     ORVSmrPtr<IOrvoSubscriptionFilter> resultFilter, unsigned int* referenceCount);

    /// Whether anything is subscribed.
    bool willTriggerNotification() const;

    /// Whether a subscription wants `indication`: an unfiltered one of its type, or a filtered one when a
    /// property of it changed or the provider named no property.
    bool accepts(const IOrvoIndication& indication) const;

    /// The properties that the filtered subscriptions of a kind watch together; a null handle when there are
    /// none.
    ORVSmrPtr<IOrvoSubscriptionFilter> getChangeFilter() const;
    ORVSmrPtr<IOrvoSubscriptionFilter> getAdditionFilter() const;
    ORVSmrPtr<IOrvoSubscriptionFilter> getRemovalFilter() const;
    ORVSmrPtr<IOrvoSubscriptionFilter> getCreationFilter() const;
    ORVSmrPtr<IOrvoSubscriptionFilter> getDestroyFilter() const;
    ORVSmrPtr<IOrvoSubscriptionFilter> getEnterRelationshipFilter() const;
    ORVSmrPtr<IOrvoSubscriptionFilter> getLeaveRelationshipFilter() const;

    /// The number of unfiltered subscriptions of a kind.
    unsigned int getChangeSubscriptionReferenceCount() const;
    unsigned int getAdditionSubscriptionReferenceCount() const;
    unsigned int getRemovalSubscriptionReferenceCount() const;
    unsigned int getCreationSubscriptionReferenceCount() const;
    unsigned int getDestroySubscriptionReferenceCount() const;
    unsigned int getEnterRelationshipReferenceCount() const;
    unsigned int getLeaveRelationshipReferenceCount() const;

private:
    struct CaseBlind {
        bool operator()(const ORVString& left, const ORVString& right) const noexcept;
    };

    /// The filtered subscriptions of one kind.
    struct Filtered {
        IOrvoIndication::IndicationType type;
        unsigned int count = 0;
        ORVString className;
        /// How many filters name each property.
        std::map<ORVString, unsigned int, CaseBlind> properties;
    };

    static constexpr std::size_t kindCount = 9;

    static std::size_t _indexOf(IOrvoIndication::IndicationType type) noexcept;
    const Filtered* _filteredOf(IOrvoIndication::IndicationType type) const;
    Filtered* _filteredOf(IOrvoIndication::IndicationType type);
    void _unsubscribeFiltered(IOrvoIndication::IndicationType type, const IOrvoSubscriptionFilter& filter,
                              IOrvoSubscriptionFilter& resultFilter, unsigned int& referenceCount);
    ORVSmrPtr<IOrvoSubscriptionFilter> _filterOf(IOrvoIndication::IndicationType type) const;
    unsigned int _countOf(IOrvoIndication::IndicationType type) const;

    std::array<unsigned int, kindCount> _unfiltered{};
    /// The kinds that have filtered subscriptions: mostly none.
    std::forward_list<Filtered> _filtered;
};
