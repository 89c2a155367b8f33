#pragma once

#include "velmd/repository/Repository.h"
#include "velmd/requests/CIMRequest.h"
#include "velmd/requests/OperationResult.h"

#include <functional>

namespace velm {

/// The intrinsic operations on classes and qualifier types (DSP0200). Any thread may call them. They throw
/// CIMOMException with the status for the client.
class ClassOperations {
public:
    /// Hears of each class that was created, after its commit.
    using ClassCreated = std::function<void(std::string_view nameSpace, const ResolvedClass&)>;

    /// Requires: `classCreated` can be called.
    ClassOperations(Repository& repository, ClassCreated classCreated)
        : _repository(repository), _classCreated(std::move(classCreated)) {}

    OperationResult getClass(const CIMRequest& request) const;
    OperationResult enumerateClasses(const CIMRequest& request) const;
    OperationResult enumerateClassNames(const CIMRequest& request) const;
    OperationResult createClass(const CIMRequest& request) const;
    OperationResult deleteClass(const CIMRequest& request) const;

    OperationResult getQualifier(const CIMRequest& request) const;
    OperationResult setQualifier(const CIMRequest& request) const;
    OperationResult deleteQualifier(const CIMRequest& request) const;
    OperationResult enumerateQualifiers(const CIMRequest& request) const;

private:
    Repository& _repository;
    ClassCreated _classCreated;
};

}  // namespace velm
