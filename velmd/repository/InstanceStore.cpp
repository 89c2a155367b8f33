#include "velmd/repository/InstanceStore.h"

#include "velmd/repository/InstanceContent.h"
#include "velmd/repository/StoredDocument.h"
#include "velmd/wire/CIMReader.h"
#include "velmd/wire/CIMWriter.h"

#include <unordered_map>

#include <fmt/format.h>

namespace velm {

namespace {

std::string documentOf(const IOrvoObject& instance) {
    std::string document;
    writeStoredInstance(document, instance);
    return document;
}

}  // namespace

InstanceStore::Object InstanceStore::find(std::int64_t classId, const ORVSmrPtr<IOrvoInstanceName>& name) {
    Statement statement(_database, "SELECT document FROM instance WHERE name = ? AND class = ?");
    const ORVString key = name->toString();
    statement.bind(key.view()).bind(classId);
    if (!statement.step()) {
        return nullptr;
    }
    return readStored(_database, key.view(), statement.text(0), [&name](const XMLElement& element) {
        const auto instance = readInstance(element);
        return withName(*instance, name);
    });
}

std::vector<InstanceStore::Object> InstanceStore::find(const CatalogEntry& nameSpace,
                                                       const std::vector<ResolvedClassHandle>& classes) {
    std::unordered_map<std::int64_t, const ResolvedClass*> byId;
    std::string ids;
    for (const auto& itsClass : classes) {
        const auto id = nameSpace.classId(itsClass->name());
        byId.emplace(id, itsClass.get());
        ids += fmt::format("{}{}", ids.empty() ? "" : ",", id);
    }
    Statement statement(_database,
                        "SELECT class, document FROM instance"
                        " WHERE class IN (SELECT value FROM json_each(?)) ORDER BY id");
    statement.bind("[" + ids + "]");
    std::vector<Object> result;
    while (statement.step()) {
        result.push_back(_read(statement.text(1), *byId.at(statement.number(0)), nameSpace.name));
    }
    return result;
}

std::vector<InstanceStore::Object> InstanceStore::references(const Catalog& catalog,
                                                             const ORVString& target) {
    Statement statement(_database,
                        "SELECT class.namespace, class.folded, class.id, instance.document"
                        " FROM instance JOIN class ON class.id = instance.class"
                        " WHERE instance.id IN (SELECT instance FROM reference WHERE target = ?)"
                        " ORDER BY instance.id");
    statement.bind(target.view());
    std::vector<Object> result;
    while (statement.step()) {
        const CatalogEntry* nameSpace = catalog.find(statement.number(0));
        if (nameSpace && nameSpace->classId(statement.text(1)) == statement.number(2)) {
            const auto itsClass = nameSpace->classes->find(statement.text(1));
            result.push_back(_read(statement.text(3), *itsClass, nameSpace->name));
        }
    }
    return result;
}

InstanceStore::Object InstanceStore::_read(std::string_view document, const ResolvedClass& itsClass,
                                           std::string_view nameSpace) {
    return readStored(_database, fmt::format("an instance of {}:{}", nameSpace, itsClass.name()), document,
                      [&](const XMLElement& element) {
                          const auto instance = readInstance(element);
                          return withName(*instance, nameFromKeys(*instance, itsClass, nameSpace));
                      });
}

bool InstanceStore::has(const ORVString& name) {
    return Statement(_database, "SELECT 1 FROM instance WHERE name = ?").bind(name.view()).step();
}

bool InstanceStore::hasInstances(std::int64_t classId) {
    return Statement(_database, "SELECT 1 FROM instance WHERE class = ?").bind(classId).step();
}

bool InstanceStore::hasReferences(std::string_view nameSpace, std::string_view className) {
    // A class name ends at a dot, the character before the slash, or at the end of the target.
    const std::string start = fmt::format("{}:{}", nameSpace, className);
    return Statement(_database, "SELECT 1 FROM reference WHERE target >= ? AND target < ?")
        .bind(start)
        .bind(start + "/")
        .step();
}

void InstanceStore::add(std::int64_t classId, const ResolvedClass& itsClass, const IOrvoObject& instance) {
    const auto name = instance.getInstanceName();
    Statement(_database, "INSERT INTO instance (class, name, document) VALUES (?, ?, ?)")
        .bind(classId)
        .bind(name->toString().view())
        .bind(documentOf(instance))
        .run();
    _addReferences(_database.lastInsertId(), itsClass, instance);
}

void InstanceStore::replace(const ResolvedClass& itsClass, const IOrvoObject& instance) {
    const auto name = instance.getInstanceName();
    Statement update(_database, "UPDATE instance SET document = ? WHERE name = ? RETURNING id");
    update.bind(documentOf(instance)).bind(name->toString().view());
    if (!update.step()) {
        _database.refuse(fmt::format("{} is not there any more", name->toString().view()));
    }
    const auto id = update.number(0);
    update.run();
    Statement(_database, "DELETE FROM reference WHERE instance = ?").bind(id).run();
    _addReferences(id, itsClass, instance);
}

void InstanceStore::remove(const ORVString& name) {
    Statement(_database, "DELETE FROM instance WHERE name = ?").bind(name.view()).run();
}

void InstanceStore::_addReferences(std::int64_t id, const ResolvedClass& itsClass,
                                   const IOrvoObject& instance) {
    if (!itsClass.isAssociation) {
        return;
    }
    Statement insert(_database, "INSERT INTO reference (instance, role, target) VALUES (?, ?, ?)");
    for (unsigned int position = 0; position < instance.getPropertyCount(); ++position) {
        const auto property = instance.getProperty(position);
        const auto value = property->getValue();
        if (value->getType()->isReference() && !value->getType()->isArray() && !value->isNull()) {
            const auto target = value->getReference();
            insert.bind(id)
                .bind(foldedName(property->getName().view()))
                .bind(target->toString().view())
                .run();
        }
    }
}

}  // namespace velm
