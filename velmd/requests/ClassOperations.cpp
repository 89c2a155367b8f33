#include "velmd/requests/ClassOperations.h"

#include "velmd/model/CIMName.h"
#include "velmd/model/CIMStatus.h"
#include "velmd/requests/Parameters.h"
#include "velmd/requests/Selection.h"
#include "velmd/wire/CIMReader.h"

#include <fmt/format.h>

namespace velm {

namespace {

/// The classes that an enumeration names: below `className` (empty for the roots), all of them or the next
/// level.
std::vector<ResolvedClassHandle> enumerated(const ClassTree& tree,
                                            const std::optional<std::string>& className, bool deep) {
    if (className && !tree.find(*className)) {
        throwStatus(CIMStatus::invalidClass, fmt::format("there is no class {}", quoted(*className)));
    }
    const std::string from = className.value_or("");
    if (!deep) {
        return tree.subClasses(from);
    }
    std::vector<ResolvedClassHandle> classes = tree.withDescendants(from);
    if (className) {
        classes.erase(classes.begin());
    }
    return classes;
}

/// Where the class itself is asked for, one that does not exist is not found.
ResolvedClassHandle foundClass(const ClassTree& tree, const std::string& className) {
    ResolvedClassHandle found = tree.find(className);
    if (!found) {
        throwStatus(CIMStatus::notFound, fmt::format("there is no class {}", quoted(className)));
    }
    return found;
}

}  // namespace

OperationResult ClassOperations::getClass(const CIMRequest& request) const {
    const Parameters parameters(
        request, {"ClassName", "LocalOnly", "IncludeQualifiers", "IncludeClassOrigin", "PropertyList"});
    const std::string className = parameters.className("ClassName");
    const CIMSelection selection = classSelection(parameters);
    const auto found = foundClass(*_repository.find(request.nameSpace).classes, className);
    OperationResult result{"", {}};
    writeClass(*result.returnValue, found->declaration, selection);
    return result;
}

OperationResult ClassOperations::enumerateClasses(const CIMRequest& request) const {
    const Parameters parameters(
        request, {"ClassName", "DeepInheritance", "LocalOnly", "IncludeQualifiers", "IncludeClassOrigin"});
    const auto className = parameters.optionalClassName("ClassName");
    const bool deep = parameters.boolean("DeepInheritance", false);
    const CIMSelection selection = classSelection(parameters);
    const auto nameSpace = _repository.find(request.nameSpace);
    OperationResult result{"", {}};
    for (const ResolvedClassHandle& found : enumerated(*nameSpace.classes, className, deep)) {
        writeClass(*result.returnValue, found->declaration, selection);
    }
    return result;
}

OperationResult ClassOperations::enumerateClassNames(const CIMRequest& request) const {
    const Parameters parameters(request, {"ClassName", "DeepInheritance"});
    const auto className = parameters.optionalClassName("ClassName");
    const bool deep = parameters.boolean("DeepInheritance", false);
    const auto nameSpace = _repository.find(request.nameSpace);
    OperationResult result{"", {}};
    for (const ResolvedClassHandle& found : enumerated(*nameSpace.classes, className, deep)) {
        writeClassName(*result.returnValue, found->name());
    }
    return result;
}

OperationResult ClassOperations::createClass(const CIMRequest& request) const {
    const Parameters parameters(request, {"NewClass"});
    CIMClass declaration = readClass(parameters.element("NewClass", "CLASS"));
    const std::string name = declaration.name;
    _repository.createClass(request.nameSpace, std::move(declaration));
    const auto nameSpace = _repository.find(request.nameSpace);
    // Another client may have deleted it by now.
    if (const ResolvedClassHandle created = nameSpace.classes->find(name)) {
        _classCreated(nameSpace.name, *created);
    }
    return {};
}

OperationResult ClassOperations::deleteClass(const CIMRequest& request) const {
    const Parameters parameters(request, {"ClassName"});
    const std::string className = parameters.className("ClassName");
    // A class with subclasses is left to the repository: they are told of first.
    const auto classes = _repository.find(request.nameSpace).classes;
    if (_instances.isServed(request.nameSpace, className) && classes->find(className) &&
        classes->subClasses(className).empty()) {
        throwStatus(CIMStatus::classHasInstances,
                    fmt::format("a provider serves the instances of class {}", quoted(className)));
    }
    _repository.deleteClass(request.nameSpace, className);
    return {};
}

OperationResult ClassOperations::getQualifier(const CIMRequest& request) const {
    const Parameters parameters(request, {"QualifierName"});
    OperationResult result{"", {}};
    writeQualifierDeclaration(
        *result.returnValue, _repository.getQualifier(request.nameSpace, parameters.string("QualifierName")));
    return result;
}

OperationResult ClassOperations::setQualifier(const CIMRequest& request) const {
    const Parameters parameters(request, {"QualifierDeclaration"});
    _repository.setQualifier(request.nameSpace, readQualifierDeclaration(parameters.element(
                                                    "QualifierDeclaration", "QUALIFIER.DECLARATION")));
    return {};
}

OperationResult ClassOperations::deleteQualifier(const CIMRequest& request) const {
    const Parameters parameters(request, {"QualifierName"});
    _repository.deleteQualifier(request.nameSpace, parameters.string("QualifierName"));
    return {};
}

OperationResult ClassOperations::enumerateQualifiers(const CIMRequest& request) const {
    const Parameters parameters(request, {});
    OperationResult result{"", {}};
    for (const CIMQualifierDeclaration& declaration : _repository.enumerateQualifiers(request.nameSpace)) {
        writeQualifierDeclaration(*result.returnValue, declaration);
    }
    return result;
}

}  // namespace velm
