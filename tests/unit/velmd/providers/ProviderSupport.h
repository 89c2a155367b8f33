#pragma once

#include "foundation/object_model/COrvoIndication.h"
#include "foundation/object_model/IOrvoSubscriber.h"
#include "velmd/model/ObjectNames.h"

#include <chrono>
#include <condition_variable>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

/// The classes and namespaces that the tests of providers stand on, and what goes through a gate.
namespace velm::test {

inline constexpr const char* space = "root/Main";

/// Knows root/Main and root/Other, both with these classes (keys in brackets):
/// CIM_LogicalFile [Name], FileSize, Tags, Detail; below it CIM_DataFile and CIM_Directory; CIM_Chunk [Name,
/// Number]; CIM_ResourcePool [InstanceID], Reserved; CIM_Nothing, which has no property; the association
/// CIM_DirectoryContainsFile [Antecedent, Dependent].
ObjectNames::NamespaceView findTestNamespace(std::string_view nameSpace);
bool isTestClassA(std::string_view className, std::string_view ancestor);

using Name = ORVSmrPtr<IOrvoInstanceName>;
using Value = ORVSmrPtr<IOrvoValue>;
using Object = ORVSmrPtr<IOrvoObject>;
using Report = ORVSmrPtr<IOrvoIndication>;
using Keys = std::vector<std::pair<const char*, Value>>;

Value text(const char* value);
Value number(std::uint64_t value);
Value reference(const Name& name);
Name named(const char* nameSpace, const char* className, const Keys& keys);
/// A CIM_DataFile of root/Main.
Name fileNamed(const char* name);
Object objectOf(const char* className, const Name& name, const Keys& properties);
/// A CIM_DataFile with its Name and FileSize.
Object file(const char* name = "a");
Report report(const Object& object,
              IOrvoIndication::IndicationType type = IOrvoIndication::IndicationCreation,
              const std::vector<const char*>& changedProperties = {});

/// "Class name {property=value, ...} [changed, ...]" of an indication; "null" for a null handle.
std::string textOf(const Report& indication);

/// Keeps what it is told.
///
/// Threads: any.
class RecordingSubscriber : public IOrvoSubscriber {
public:
    explicit RecordingSubscriber(bool answer = true) : _answer(answer) {}

    bool notify(ORVSmrPtr<IOrvoIndication> indication) override;

    std::vector<Report> reports() const;
    /// Waits for at least `count` reports; answers whether they came in time.
    bool waitFor(std::size_t count, std::chrono::milliseconds deadline) const;

private:
    const bool _answer;
    mutable std::mutex _lock;
    mutable std::condition_variable _changed;
    std::vector<Report> _reports;
};

}  // namespace velm::test
