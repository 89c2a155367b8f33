#pragma once

#include "server/object_model/RepositoryClass.h"

#include <cstddef>
#include <vector>

#include <boost/unordered/unordered_flat_map.hpp>

namespace velm {

/// The classes of one namespace, in the order of their declaration.
///
/// Threads: find() and list() on any number while nobody calls add() or link(). Failure: CIMOMException with
/// code 1, whose text names file, class and line; the table is unchanged then.
class ClassTable {
public:
    ClassTable() = default;
    ClassTable(const ClassTable&) = delete;
    ClassTable& operator=(const ClassTable&) = delete;
    /// Unlinks the classes.
    ~ClassTable();

    /// Adds the classes of one file, not yet linked.
    void add(std::vector<ClassDeclaration> declarations, const ORVString& file);

    /// Ties every class to its superclass and subclasses, in place of what link() tied before.
    void link();

    /// A null handle when there is no such class; letter case is ignored.
    ORVSmrPtr<IOrvoClass> find(const ORVString& name) const;

    ORVSmrPtr<RepositoryClass::List> list() const;

private:
    static constexpr std::size_t none = static_cast<std::size_t>(-1);

    struct Entry {
        ORVSmrPtr<IOrvoClass> handle;
        RepositoryClass* object;
    };
    struct CaseBlindHash {
        std::size_t operator()(const ORVString& name) const noexcept { return hashKeyORVStringToLower(name); }
    };
    struct CaseBlindEqual {
        bool operator()(const ORVString& left, const ORVString& right) const noexcept {
            return left.length() == right.length() && left.compareTo(right, ORVString::caseInsensitive) == 0;
        }
    };
    using Index = boost::unordered_flat_map<ORVString, std::size_t, CaseBlindHash, CaseBlindEqual>;

    void _add(ClassDeclaration&& declaration, const ORVString& file);
    void _forgetFrom(std::size_t known);
    std::vector<std::size_t> _superClasses() const;
    std::vector<std::size_t> _topDown(const std::vector<std::size_t>& superClasses) const;

    std::vector<Entry> _classes;
    Index _positions;
};

/// What CIMOMException says of a class: "file: class, line n: problem".
[[noreturn]] void throwSchemaError(const ORVString& file, const ORVString& className,
                                   std::string_view problem);

}  // namespace velm
