#pragma once

#include "foundation/services/CIMOMException.h"
#include "velmd/model/CIMClass.h"
#include "velmd/model/CIMName.h"

#include <cstddef>
#include <memory>
#include <string>
#include <string_view>
#include <unordered_map>
#include <utility>
#include <vector>

namespace velm {

/// A class with all that it inherits. Immutable; shared by every tree that has it.
struct ResolvedClass {
    /// Properties, methods and qualifiers of the superclasses included, those introduced nearer to the root
    /// first, and those that the class overrides at the place where they were introduced. classOrigin names
    /// the class that introduced an element; isPropagated is false for what this class itself declared,
    /// overrides included.
    CIMClass declaration;
    /// Null for a root class.
    std::shared_ptr<const ResolvedClass> superClass;
    /// Positions of the key properties in `declaration.properties`, ordered by name as instance names order
    /// them.
    std::vector<std::size_t> keys;
    bool isAssociation = false;
    bool isIndication = false;
    bool isAbstract = false;

    const std::string& name() const { return declaration.name; }
    /// Whether this class is the one named, or below it; letter case is ignored.
    bool isA(std::string_view ancestor) const noexcept;
};

using ResolvedClassHandle = std::shared_ptr<const ResolvedClass>;

/// Why a class cannot be taken.
struct RefusedClass : CIMOMException {
    RefusedClass(const CIMOMException& reason, std::string refusedName)
        : CIMOMException(reason), className(std::move(refusedName)) {}

    std::string className;
};

/// The classes of one namespace, with inheritance resolved. Immutable: a change makes a new tree, so that
/// readers on any thread go on with the one they hold.
class ClassTree {
public:
    /// Inheritance deeper than this is refused: whatever walks up a tree has an end in sight.
    static constexpr std::size_t maxDepth = 100;

    /// No classes at all.
    ClassTree() = default;

    /// A tree that has `declared` too: classes as they were declared (elements of their own only), in any
    /// order. Costs time in proportion to the number of classes in the tree.
    ///
    /// Throws RefusedClass, whose text names the class: 10 when a superclass is missing or classes inherit
    /// in a circle or deeper than maxDepth; 11 when a class is there already; 4 for a name that is none, a
    /// property named twice, an override that changes a type, a qualifier that a superclass closed to
    /// overriding, a key added below keys, or one that is an array or an embedded instance.
    std::shared_ptr<const ClassTree> with(std::vector<CIMClass> declared) const;

    /// A tree without the class. Requires: the class is there and has no subclasses.
    std::shared_ptr<const ClassTree> without(std::string_view className) const;

    /// A null handle when there is no such class; letter case is ignored.
    ResolvedClassHandle find(std::string_view className) const;

    /// The direct subclasses in order of creation. An empty name stands for the roots.
    std::vector<ResolvedClassHandle> subClasses(std::string_view className) const;

    /// The class itself, then everything below it, depth-first in order of creation; for an empty name,
    /// every class. Empty when there is no such class.
    std::vector<ResolvedClassHandle> withDescendants(std::string_view className) const;

    std::size_t size() const noexcept { return _classes.size(); }

private:
    class Extension;
    using Index = std::unordered_map<std::string, ResolvedClassHandle, CIMNameHash, CIMNameEqual>;
    using Children =
        std::unordered_map<std::string, std::vector<ResolvedClassHandle>, CIMNameHash, CIMNameEqual>;

    Index _classes;
    /// By the name of the superclass, the empty name for roots.
    Children _children;
};

}  // namespace velm
