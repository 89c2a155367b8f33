#pragma once

#include "foundation/object_model/IOrvoClass.h"
#include "server/object_model/SchemaReader.h"

#include <mutex>
#include <utility>

namespace velm {

/// A class of a repository, tied to its neighbours by counted handles.
///
/// The handles of a class and its subclasses form a circle that keeps itself alive until unlink() opens it.
/// From then on the class answers as a root without subclasses; name and association are kept.
///
/// Threads: any number at once.
class RepositoryClass final : public IOrvoClass {
public:
    using List = ORVValSlist<ORVSmrPtr<IOrvoClass>>;

    /// `file` is what messages call the origin of the class.
    RepositoryClass(ClassDeclaration declaration, const ORVString& file)
        : _declaration(std::move(declaration)), _file(file) {}

    ORVString getName() const override { return _declaration.name; }
    ORVSmrPtr<IOrvoClass> getSuperClass() const override;
    ORVSmrPtr<List> getSubClasses() const override;
    bool isAssociation() const override;

    const ClassDeclaration& declaration() const { return _declaration; }
    const ORVString& file() const { return _file; }

    /// Replaces the neighbours; null handles where there are none.
    void link(ORVSmrPtr<IOrvoClass> superClass, ORVSmrPtr<List> subClasses, bool isAssociation);
    void unlink() { link(ORVSmrPtr<IOrvoClass>::none(), ORVSmrPtr<List>::none(), isAssociation()); }

private:
    const ClassDeclaration _declaration;
    const ORVString _file;

    mutable std::mutex _mutex;
    // Guarded by _mutex.
    ORVSmrPtr<IOrvoClass> _superClass = ORVSmrPtr<IOrvoClass>::none();
    ORVSmrPtr<List> _subClasses = ORVSmrPtr<List>::none();
    bool _isAssociation = false;
};

}  // namespace velm
