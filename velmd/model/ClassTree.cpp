#include "velmd/model/ClassTree.h"

#include "velmd/model/CIMStatus.h"
#include "velmd/model/ClassResolver.h"

#include <algorithm>
#include <string>
#include <utility>

#include <fmt/format.h>

namespace velm {

namespace {

std::size_t depthOf(const ResolvedClass* found) noexcept {
    std::size_t depth = 0;
    for (; found; found = found->superClass.get()) {
        ++depth;
    }
    return depth;
}

/// Lets the failure of `action` tell which class it is about.
template <class Action>
auto concerning(const std::string& className, Action action) {
    try {
        return action();
    } catch (const RefusedClass&) {
        throw;
    } catch (const CIMOMException& reason) {
        throw RefusedClass(reason, className);
    }
}

}  // namespace

bool ResolvedClass::isA(std::string_view ancestor) const noexcept {
    const ResolvedClass* found = this;
    while (found && !sameName(found->name(), ancestor)) {
        found = found->superClass.get();
    }
    return found != nullptr;
}

/// Resolves a set of declarations, each superclass before its subclasses.
class ClassTree::Extension {
public:
    Extension(ClassTree& tree, std::vector<CIMClass> declared) : _tree(tree), _declared(std::move(declared)) {
        for (std::size_t position = 0; position < _declared.size(); ++position) {
            concerning(_declared[position].name, [&] { _note(position); });
        }
    }

    void apply() {
        std::vector<ResolvedClassHandle> added;
        for (const std::string& name : _names) {
            added.push_back(_resolved(name, 1));
        }
        for (const ResolvedClassHandle& found : added) {
            _tree._children[found->declaration.superClass].push_back(found);
        }
    }

private:
    void _note(std::size_t position) {
        const std::string& name = _declared[position].name;
        if (!isCIMName(name)) {
            throwStatus(CIMStatus::invalidParameter, fmt::format("{} is no name of a class", quoted(name)));
        }
        if (_tree.find(name)) {
            throwStatus(CIMStatus::alreadyExists, fmt::format("the class {} is there already", name));
        }
        if (!_positions.emplace(name, position).second) {
            throwStatus(CIMStatus::alreadyExists, fmt::format("the class {} is declared twice", name));
        }
        _names.push_back(name);
    }

    ResolvedClassHandle _resolved(const std::string& name, std::size_t below) {
        return concerning(name, [&] { return _resolve(name, below); });
    }

    ResolvedClassHandle _resolve(const std::string& name, std::size_t below) {
        if (ResolvedClassHandle known = _tree.find(name)) {
            return known;
        }
        if (below > maxDepth) {
            throwStatus(CIMStatus::invalidSuperclass,
                        fmt::format("the class {} inherits in a circle, or classes inherit deeper than {}",
                                    name, maxDepth));
        }
        CIMClass& declared = _declared[_positions.find(name)->second];
        const ResolvedClassHandle superClass = _superClass(declared, below);
        if (depthOf(superClass.get()) == maxDepth) {
            throwStatus(CIMStatus::invalidSuperclass,
                        fmt::format("the class {} inherits deeper than {}", name, maxDepth));
        }
        ResolvedClassHandle added = resolveClass(std::move(declared), superClass);
        _tree._classes.emplace(name, added);
        return added;
    }

    ResolvedClassHandle _superClass(const CIMClass& declared, std::size_t below) {
        if (declared.superClass.empty()) {
            return nullptr;
        }
        if (ResolvedClassHandle known = _tree.find(declared.superClass)) {
            return known;
        }
        const auto pending = _positions.find(declared.superClass);
        if (pending == _positions.end()) {
            throwStatus(CIMStatus::invalidSuperclass,
                        fmt::format("the superclass {} of {} does not exist", quoted(declared.superClass),
                                    declared.name));
        }
        return _resolved(_names[pending->second], below + 1);
    }

    ClassTree& _tree;
    std::vector<CIMClass> _declared;
    /// In order of declaration; they stay when a declaration is moved into its resolved class.
    std::vector<std::string> _names;
    std::unordered_map<std::string, std::size_t, CIMNameHash, CIMNameEqual> _positions;
};

std::shared_ptr<const ClassTree> ClassTree::with(std::vector<CIMClass> declared) const {
    auto tree = std::make_shared<ClassTree>(*this);
    Extension(*tree, std::move(declared)).apply();
    return tree;
}

std::shared_ptr<const ClassTree> ClassTree::without(std::string_view className) const {
    auto tree = std::make_shared<ClassTree>(*this);
    const auto found = tree->_classes.find(className);
    auto& siblings = tree->_children[found->second->declaration.superClass];
    siblings.erase(std::find(siblings.begin(), siblings.end(), found->second));
    tree->_classes.erase(found);
    return tree;
}

ResolvedClassHandle ClassTree::find(std::string_view className) const {
    const auto found = _classes.find(className);
    return found == _classes.end() ? nullptr : found->second;
}

std::vector<ResolvedClassHandle> ClassTree::subClasses(std::string_view className) const {
    const auto found = _children.find(className);
    return found == _children.end() ? std::vector<ResolvedClassHandle>() : found->second;
}

std::vector<ResolvedClassHandle> ClassTree::withDescendants(std::string_view className) const {
    std::vector<ResolvedClassHandle> result;
    std::vector<ResolvedClassHandle> pending;
    const auto pushReversed = [&pending](const std::vector<ResolvedClassHandle>& classes) {
        pending.insert(pending.end(), classes.rbegin(), classes.rend());
    };
    pushReversed(className.empty() ? subClasses(className) : std::vector{find(className)});
    while (!pending.empty() && pending.back()) {
        result.push_back(std::move(pending.back()));
        pending.pop_back();
        pushReversed(subClasses(result.back()->name()));
    }
    return result;
}

}  // namespace velm
