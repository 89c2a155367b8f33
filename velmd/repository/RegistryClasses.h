#pragma once

#include "foundation/object_model/IOrvoRepository.h"
#include "velmd/repository/Repository.h"

namespace velm {

/// The classes of a repository as the class registry reads them.
///
/// Every class that it hands out keeps the whole set of classes from which it came, and answers from that
/// one for good; changes of the repository are seen by the next call. Two handles to one class need not be
/// equal. Namespaces that do not exist have no classes.
///
/// Threads: any number.
class RegistryClasses final : public IOrvoRepository {
public:
    /// Requires: the repository outlives this object, but not the classes it hands out.
    explicit RegistryClasses(const Repository& repository) : _repository(repository) {}
    ~RegistryClasses() override;

    /// Every class behind its superclass.
    ORVSmrPtr<ORVValSlist<ORVSmrPtr<IOrvoClass>>> enumerateClasses(const ORVString& nameSpace) const override;
    ORVSmrPtr<IOrvoClass> getClass(const ORVString& nameSpace, const ORVString& className) const override;

private:
    std::shared_ptr<const ClassTree> _classes(const ORVString& nameSpace) const;

    const Repository& _repository;
};

}  // namespace velm
