#include "velmd/repository/RegistryClasses.h"

#include "foundation/services/CIMOMException.h"
#include "velmd/model/CIMStatus.h"

namespace velm {

namespace {

using List = ORVValSlist<ORVSmrPtr<IOrvoClass>>;
using TreeHandle = std::shared_ptr<const ClassTree>;

/// Neighbours are made when they are asked for: handles kept in both directions would keep each other alive.
class TreeClass final : public IOrvoClass {
public:
    static ORVSmrPtr<IOrvoClass> make(const TreeHandle& tree, const ResolvedClassHandle& itsClass) {
        return ORVSmrPtr<IOrvoClass>(itsClass ? new TreeClass(tree, itsClass) : nullptr);
    }

    static ORVSmrPtr<List> makeAll(const TreeHandle& tree, const std::vector<ResolvedClassHandle>& classes) {
        ORVSmrPtr<List> list(new List);
        for (const auto& itsClass : classes) {
            list->append(make(tree, itsClass));
        }
        return list;
    }

    TreeClass(TreeHandle tree, ResolvedClassHandle itsClass)
        : _tree(std::move(tree)), _class(std::move(itsClass)) {}

    ORVString getName() const override { return std::string_view(_class->name()); }
    ORVSmrPtr<IOrvoClass> getSuperClass() const override { return make(_tree, _class->superClass); }
    bool isAssociation() const override { return _class->isAssociation; }

    ORVSmrPtr<List> getSubClasses() const override {
        const auto classes = _tree->subClasses(_class->name());
        return classes.empty() ? ORVSmrPtr<List>() : makeAll(_tree, classes);
    }

private:
    const TreeHandle _tree;
    const ResolvedClassHandle _class;
};

}  // namespace

RegistryClasses::~RegistryClasses() = default;

ORVSmrPtr<List> RegistryClasses::enumerateClasses(const ORVString& nameSpace) const {
    const auto tree = _classes(nameSpace);
    return TreeClass::makeAll(tree, tree->withDescendants(""));
}

ORVSmrPtr<IOrvoClass> RegistryClasses::getClass(const ORVString& nameSpace,
                                                const ORVString& className) const {
    const auto tree = _classes(nameSpace);
    return TreeClass::make(tree, tree->find(className.view()));
}

TreeHandle RegistryClasses::_classes(const ORVString& nameSpace) const {
    try {
        return _repository.find(nameSpace.view()).classes;
    } catch (const CIMOMException& error) {
        if (error.getCode() != static_cast<int>(CIMStatus::invalidNamespace)) {
            throw;
        }
        return std::make_shared<const ClassTree>();
    }
}

}  // namespace velm
