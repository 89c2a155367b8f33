#include "velmd/repository/ClassStore.h"

#include "velmd/repository/StoredDocument.h"
#include "velmd/wire/CIMReader.h"
#include "velmd/wire/CIMWriter.h"

#include <fmt/format.h>

namespace velm {

CatalogHandle ClassStore::load() {
    auto catalog = std::make_shared<const Catalog>();
    Statement statement(_database, "SELECT id, name FROM namespace ORDER BY id");
    while (statement.step()) {
        catalog = catalog->with(_loadNamespace(statement.number(0), statement.text(1)));
    }
    return catalog;
}

CatalogEntry ClassStore::_loadNamespace(std::int64_t id, std::string_view name) {
    auto ids = std::make_shared<CatalogEntry::ClassIds>();
    Statement statement(_database, "SELECT id, folded FROM class WHERE namespace = ?");
    statement.bind(id);
    while (statement.step()) {
        ids->emplace(statement.text(1), statement.number(0));
    }
    std::vector<CIMClass> declared = declarations(id, name);
    try {
        return {id, std::string(name), ClassTree().with(std::move(declared)), std::move(ids)};
    } catch (const OrvoBaseException& error) {
        _database.refuse(
            fmt::format("the database is damaged: classes of {}: {}", name, error.getMessage().view()));
    }
}

std::int64_t ClassStore::addNamespace(std::string_view name) {
    Statement(_database, "INSERT INTO namespace (name, folded) VALUES (?, ?)")
        .bind(name)
        .bind(foldedName(name))
        .run();
    return _database.lastInsertId();
}

void ClassStore::removeNamespace(std::int64_t id) {
    Statement(_database, "DELETE FROM namespace WHERE id = ?").bind(id).run();
}

std::vector<CIMClass> ClassStore::declarations(std::int64_t nameSpace, std::string_view name) {
    std::vector<CIMClass> declared;
    Statement statement(_database, "SELECT folded, document FROM class WHERE namespace = ? ORDER BY id");
    statement.bind(nameSpace);
    while (statement.step()) {
        declared.push_back(readStored(_database, fmt::format("class {} of {}", statement.text(0), name),
                                      statement.text(1), readClass));
    }
    return declared;
}

std::int64_t ClassStore::addClass(std::int64_t nameSpace, const CIMClass& declaration) {
    std::string document;
    writeClass(document, declaration, CIMSelection());
    Statement(_database, "INSERT INTO class (namespace, folded, document) VALUES (?, ?, ?)")
        .bind(nameSpace)
        .bind(foldedName(declaration.name))
        .bind(document)
        .run();
    return _database.lastInsertId();
}

void ClassStore::replaceClass(std::int64_t id, const CIMClass& declaration) {
    std::string document;
    writeClass(document, declaration, CIMSelection());
    Statement(_database, "UPDATE class SET document = ? WHERE id = ?").bind(document).bind(id).run();
}

void ClassStore::removeClass(std::int64_t id) {
    Statement(_database, "DELETE FROM class WHERE id = ?").bind(id).run();
}

std::optional<CIMQualifierDeclaration> ClassStore::qualifier(std::int64_t nameSpace, std::string_view name) {
    Statement statement(_database, "SELECT document FROM qualifier WHERE namespace = ? AND folded = ?");
    statement.bind(nameSpace).bind(foldedName(name));
    if (!statement.step()) {
        return std::nullopt;
    }
    return readStored(_database, fmt::format("qualifier {}", name), statement.text(0),
                      readQualifierDeclaration);
}

std::vector<CIMQualifierDeclaration> ClassStore::qualifiers(std::int64_t nameSpace) {
    std::vector<CIMQualifierDeclaration> result;
    Statement statement(_database, "SELECT folded, document FROM qualifier WHERE namespace = ? ORDER BY id");
    statement.bind(nameSpace);
    while (statement.step()) {
        result.push_back(readStored(_database, fmt::format("qualifier {}", statement.text(0)),
                                    statement.text(1), readQualifierDeclaration));
    }
    return result;
}

void ClassStore::setQualifier(std::int64_t nameSpace, const CIMQualifierDeclaration& declaration) {
    std::string document;
    writeQualifierDeclaration(document, declaration);
    Statement(_database,
              "INSERT INTO qualifier (namespace, folded, document) VALUES (?, ?, ?)"
              " ON CONFLICT (namespace, folded) DO UPDATE SET document = excluded.document")
        .bind(nameSpace)
        .bind(foldedName(declaration.name))
        .bind(document)
        .run();
}

bool ClassStore::removeQualifier(std::int64_t nameSpace, std::string_view name) {
    Statement statement(_database, "DELETE FROM qualifier WHERE namespace = ? AND folded = ? RETURNING id");
    return statement.bind(nameSpace).bind(foldedName(name)).step();
}

}  // namespace velm
