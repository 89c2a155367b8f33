#include "server/object_model/ClassTable.h"

#include "foundation/services/CIMOMException.h"

#include <string>
#include <utility>

#include <fmt/format.h>

namespace velm {

namespace {

[[noreturn]] void refuse(const ClassDeclaration& declaration, const ORVString& file,
                         std::string_view problem) {
    throwSchemaError(file, declaration.name, fmt::format("line {}: {}", declaration.line, problem));
}

}  // namespace

void throwSchemaError(const ORVString& file, const ORVString& className, std::string_view problem) {
    constexpr int failed = 1;
    std::string place(file.view());
    if (!className.isNull()) {
        place += fmt::format(": class {}", className.view());
    }
    throw CIMOMException("COrvoRepository", std::string_view(fmt::format("{}: {}", place, problem)), failed);
}

ClassTable::~ClassTable() {
    for (const Entry& entry : _classes) {
        entry.object->unlink();
    }
}

void ClassTable::add(std::vector<ClassDeclaration> declarations, const ORVString& file) {
    const auto known = _classes.size();
    _classes.reserve(known + declarations.size());
    _positions.reserve(known + declarations.size());
    try {
        for (auto& declaration : declarations) {
            _add(std::move(declaration), file);
        }
    } catch (...) {
        _forgetFrom(known);
        throw;
    }
}

void ClassTable::_add(ClassDeclaration&& declaration, const ORVString& file) {
    auto* object = new RepositoryClass(std::move(declaration), file);
    _classes.push_back({ORVSmrPtr<IOrvoClass>(object), object});
    auto [position, isNew] = _positions.emplace(object->declaration().name, _classes.size() - 1);
    if (!isNew) {
        const RepositoryClass& first = *_classes[position->second].object;
        refuse(object->declaration(), file,
               fmt::format("the class is declared already in {}, line {}", first.file().view(),
                           first.declaration().line));
    }
}

void ClassTable::_forgetFrom(std::size_t known) {
    for (; _classes.size() > known; _classes.pop_back()) {
        auto found = _positions.find(_classes.back().object->declaration().name);
        if (found != _positions.end() && found->second == _classes.size() - 1) {
            _positions.erase(found);
        }
    }
}

std::vector<std::size_t> ClassTable::_superClasses() const {
    std::vector<std::size_t> result;
    result.reserve(_classes.size());
    for (const Entry& entry : _classes) {
        const auto& declaration = entry.object->declaration();
        if (declaration.superClass.isNull()) {
            result.push_back(none);
            continue;
        }
        auto found = _positions.find(declaration.superClass);
        if (found == _positions.end()) {
            refuse(declaration, entry.object->file(),
                   fmt::format("the superclass {} is not declared", declaration.superClass.view()));
        }
        result.push_back(found->second);
    }
    return result;
}

/// Every class after its superclass, each class looked at twice however deep the tree is.
std::vector<std::size_t> ClassTable::_topDown(const std::vector<std::size_t>& superClasses) const {
    enum class Mark : char { unseen, onPath, done };
    std::vector<Mark> marks(_classes.size(), Mark::unseen);
    std::vector<std::size_t> order;
    std::vector<std::size_t> path;
    order.reserve(_classes.size());
    for (std::size_t start = 0; start < _classes.size(); ++start) {
        auto current = start;
        for (; current != none && marks[current] == Mark::unseen; current = superClasses[current]) {
            marks[current] = Mark::onPath;
            path.push_back(current);
        }
        if (current != none && marks[current] == Mark::onPath) {
            const RepositoryClass& found = *_classes[current].object;
            refuse(found.declaration(), found.file(),
                   fmt::format("the class inherits from itself through {}",
                               found.declaration().superClass.view()));
        }
        for (; !path.empty(); path.pop_back()) {
            marks[path.back()] = Mark::done;
            order.push_back(path.back());
        }
    }
    return order;
}

void ClassTable::link() {
    auto superClasses = _superClasses();
    std::vector<bool> associations(_classes.size());
    for (auto position : _topDown(superClasses)) {
        auto superClass = superClasses[position];
        associations[position] = _classes[position].object->declaration().isAssociation ||
                                 (superClass != none && associations[superClass]);
    }
    using List = RepositoryClass::List;
    std::vector<ORVSmrPtr<List>> subClasses(_classes.size(), ORVSmrPtr<List>::none());
    for (std::size_t position = 0; position < _classes.size(); ++position) {
        if (auto superClass = superClasses[position]; superClass != none) {
            if (subClasses[superClass].IsNull()) {
                subClasses[superClass] = new List;
            }
            subClasses[superClass]->append(_classes[position].handle);
        }
    }
    for (std::size_t position = 0; position < _classes.size(); ++position) {
        auto superClass = superClasses[position];
        _classes[position].object->link(
            superClass == none ? ORVSmrPtr<IOrvoClass>::none() : _classes[superClass].handle,
            std::move(subClasses[position]), associations[position]);
    }
}

ORVSmrPtr<IOrvoClass> ClassTable::find(const ORVString& name) const {
    auto found = _positions.find(name);
    return found == _positions.end() ? ORVSmrPtr<IOrvoClass>() : _classes[found->second].handle;
}

ORVSmrPtr<RepositoryClass::List> ClassTable::list() const {
    ORVSmrPtr<RepositoryClass::List> result(new RepositoryClass::List);
    for (const Entry& entry : _classes) {
        result->append(entry.handle);
    }
    return result;
}

}  // namespace velm
