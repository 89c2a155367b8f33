#include "foundation/object_model/COrvoRepository.h"

#include "foundation/utilities/ORVXMLError.h"
#include "server/object_model/ClassTable.h"

#include <atomic>
#include <map>
#include <mutex>
#include <string>
#include <utility>

namespace {

/// Namespaces are the same with and without slashes around them and in any letter case.
std::string canonical(const ORVString& nameSpace) {
    auto lower = nameSpace.toLower();
    auto text = lower.view();
    auto first = text.find_first_not_of('/');
    if (first == std::string_view::npos) {
        return {};
    }
    return std::string(text.substr(first, text.find_last_not_of('/') - first + 1));
}

}  // namespace

struct COrvoRepository::State {
    std::map<std::string, velm::ClassTable> nameSpaces;
    std::atomic<bool> isLinked = true;
    std::mutex linking;

    template <class Source>
    void load(const Source& source, const ORVString& sourceName, const ORVString& nameSpace) {
        velm::SchemaReader reader;
        try {
            source(reader);
        } catch (const ORVXMLError& error) {
            velm::throwSchemaError(sourceName, reader.currentClass(), error.GetErrorMessage().view());
        }
        nameSpaces[canonical(nameSpace)].add(std::move(reader.classes), sourceName);
        isLinked = false;
    }

    void link() {
        if (isLinked.load(std::memory_order_acquire)) {
            return;
        }
        std::lock_guard lock(linking);
        if (isLinked.load(std::memory_order_relaxed)) {
            return;
        }
        for (auto& [name, table] : nameSpaces) {
            table.link();
        }
        isLinked.store(true, std::memory_order_release);
    }

    /// A null pointer for a namespace without classes.
    const velm::ClassTable* linkedTable(const ORVString& nameSpace) {
        link();
        auto found = nameSpaces.find(canonical(nameSpace));
        return found == nameSpaces.end() ? nullptr : &found->second;
    }
};

COrvoRepository::COrvoRepository() : _state(std::make_unique<State>()) {
}

COrvoRepository::~COrvoRepository() = default;

void COrvoRepository::loadFile(const ORVString& path, const ORVString& nameSpace) {
    auto parse = [&path](velm::SchemaReader& reader) {
        velm::SecureXMLReader().parseFile(std::string(path.view()), reader);
    };
    _state->load(parse, path, nameSpace);
}

void COrvoRepository::loadText(const ORVString& text, const ORVString& sourceName,
                               const ORVString& nameSpace) {
    auto parse = [&text](velm::SchemaReader& reader) { velm::SecureXMLReader().parse(text.view(), reader); };
    _state->load(parse, sourceName, nameSpace);
}

void COrvoRepository::link() {
    _state->link();
}

ORVSmrPtr<ORVValSlist<ORVSmrPtr<IOrvoClass>>> COrvoRepository::enumerateClasses(
    const ORVString& nameSpace) const {
    const velm::ClassTable* table = _state->linkedTable(nameSpace);
    return table ? table->list()
                 : ORVSmrPtr<ORVValSlist<ORVSmrPtr<IOrvoClass>>>(new velm::RepositoryClass::List);
}

ORVSmrPtr<IOrvoClass> COrvoRepository::getClass(const ORVString& nameSpace,
                                                const ORVString& className) const {
    const velm::ClassTable* table = _state->linkedTable(nameSpace);
    return table ? table->find(className) : ORVSmrPtr<IOrvoClass>();
}
