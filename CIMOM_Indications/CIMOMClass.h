#pragma once

#include "CIMOM_Indications/CIMOMSubscription.h"
#include "CIMOM_Indications/RouteNames.h"
#include "foundation/containers/ORVValSlist.h"
#include "foundation/handles/ORVSmrPtr.h"
#include "foundation/utilities/MadeOnce.h"
#include "foundation/utilities/ORVString.h"

#include <atomic>
#include <cstddef>
#include <unordered_set>
#include <vector>

/// A node of the class tree: a CIM class, its place in the tree, and the subscriptions to it.
///
/// Threads: not synchronised. notify() and the readers: under the class manager's lock, on any number of
/// threads at once; everything else under its write lock. Ownership: parents and children hold each other
/// through counted handles, and filters in the tables hold nodes; whoever takes a tree down calls detach().
class CCIMOMClass {
public:
    /// The name of the root of the whole tree, compared without regard to letter case. Subscriptions that
    /// name no class are entered there, and every indication ends its way up there.
    static constexpr const char* CatchAllClassName = "OrvoCimom_CatchAll";

    /// `baseClass` is a null handle for a root; the node is not added to its children.
    CCIMOMClass(ORVString className, ORVSmrPtr<CCIMOMClass> baseClass,
                ORVSmrPtr<CCIMOMSubscription> subscription);
    CCIMOMClass(const CCIMOMClass&) = delete;
    CCIMOMClass& operator=(const CCIMOMClass&) = delete;
    ~CCIMOMClass();

    /// Adds a direct subclass, unless the same node is among them already. Requires: the class manager's
    /// write lock; this node is not below `child`.
    void addChildClass(ORVSmrPtr<CCIMOMClass> child);

    /// Whether the class named is this one or one below it. Names are compared byte by byte.
    bool isA(const ORVString& className);
    bool isA(const ORVSmrPtr<CCIMOMClass>& other);

    /// Enters a subscription in this node's own table. Requires: the class manager's write lock.
    void subscribe(ORVSmrPtr<CCIMOMIndicationFilter> filter, ORVSmrPtr<CSubscriber> subscriber,
                   ORVSmrPtr<IOrvoValue> target);

    /// Takes a subscription back from this node's own table; answers whether it was there. Requires: the
    /// class manager's write lock.
    bool unsubscribe(ORVSmrPtr<CCIMOMIndicationFilter> filter, ORVSmrPtr<CSubscriber> subscriber,
                     ORVSmrPtr<IOrvoValue> target);

    /// Offers `indication` to this node's table and then to those of all its base classes, up to the root. At
    /// the catch-all class an association is offered to the instances that it refers to. Requires: the class
    /// manager's lock.
    void notify(const ORVSmrPtr<IOrvoIndication>& indication);
    void notify(velm::RoutedIndication& indication);

    /// Drops the subscriber from this node's table and from all those below it; appends a record for each
    /// filter map that is empty then. Requires: the class manager's write lock; `deletedFilters` holds a
    /// list.
    void removeSubscriber(const CSubscriberID& id, CCIMOMDeletedFilterRecord::List& deletedFilters);

    /// Lets go of base class, subclasses and subscriptions, here and in the whole subtree, so that no circle
    /// of handles keeps the nodes alive. They are good for nothing but destruction then. Requires: nobody
    /// uses the tree any more.
    void detach();

    const ORVString& getClassName() const noexcept { return _className; }
    /// A null handle for a root.
    ORVSmrPtr<CCIMOMClass> getBaseClass() const { return _baseClass; }
    /// The direct subclasses in order of addition; a null handle until the first is added.
    ORVSmrPtr<ORVValSlist<ORVSmrPtr<CCIMOMClass>>> getChildClasses() const { return _childClassList; }
    ORVSmrPtr<CCIMOMSubscription> getSubscription() const { return _classSubscription; }

    /// What changes of this class's objects are filed under: the names of this class and of those above it,
    /// with "*" in the place of the root's. Shared: nobody changes it.
    const ORVSmrPtr<ORVValSlist<ORVString>>& getRouteNames() const { return routeNames().list(); }
    const velm::RouteNames& routeNames() const;

private:
    struct NameHash {
        std::size_t operator()(const ORVString& name) const noexcept { return hashKeyORVString(name); }
    };
    using Names = std::unordered_set<ORVString, NameHash>;

    const Names& _getDescendants() const;
    void _addDescendantsTo(Names& names) const;
    void _forgetDescendants() noexcept;
    void _leaveChildren() noexcept;

    const ORVString _className;
    const bool _isCatchAll;
    ORVSmrPtr<CCIMOMClass> _baseClass;
    ORVSmrPtr<ORVValSlist<ORVSmrPtr<CCIMOMClass>>> _childClassList;
    ORVSmrPtr<CCIMOMSubscription> _classSubscription;
    // What the two handles hold: an indication passes many nodes on its way up.
    CCIMOMClass* _base;
    CCIMOMSubscription* _table;
    /// Null until somebody asks: few classes have changes.
    mutable std::atomic<const velm::RouteNames*> _routeNames{nullptr};
    /// The names of all classes below this one.
    velm::MadeOnce<Names> _descendants;
    /// The nodes that have this one among their children.
    std::vector<CCIMOMClass*> _parents;
};
