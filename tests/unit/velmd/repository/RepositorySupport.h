#pragma once

#include "foundation/object_model/COrvoInstanceName.h"
#include "foundation/object_model/COrvoObject.h"
#include "foundation/object_model/COrvoType.h"
#include "foundation/object_model/COrvoValue.h"
#include "foundation/services/CIMOMException.h"
#include "tests/unit/server/services/TemporaryFolder.h"
#include "velmd/repository/Repository.h"

#include <memory>
#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

/// A repository in a folder of its own, and short ways to what goes into it.
namespace velm::test {

inline constexpr const char* space = "root/test";

/// From CIM-XML elements.
CIMClass classFrom(const std::string& xml);
CIMQualifierDeclaration qualifierFrom(const std::string& xml);

/// EX_Thing: key Id (string), Caption (string, "none" by default), Size (uint32), Tags (string[]).
CIMClass thingClass();
/// EX_Part, below EX_Thing, adds Weight (real32).
CIMClass partClass();
/// EX_Base, abstract, with the key Id.
CIMClass abstractClass();
/// EX_Link, an association with the keys Antecedent and Dependent and the property Note.
CIMClass linkClass();

using Value = ORVSmrPtr<IOrvoValue>;
using Object = ORVSmrPtr<IOrvoObject>;
using Name = ORVSmrPtr<IOrvoInstanceName>;

Value text(const char* value);
Value uint32(unsigned int value);
Value strings(const std::vector<const char*>& values);
Value reference(const Name& name);

Object object(const char* className, const std::vector<std::pair<const char*, Value>>& properties);
Object thing(const char* id, unsigned int size = 0);
Name thingName(const char* id, const char* className = "EX_Thing");
Name nameOf(const Object& object);

/// "NULL" for NULL, "absent" when the object does not hold the property.
std::string valueOf(const Object& object, const char* property);
/// The values of Id, in order.
std::vector<std::string> idsOf(const std::vector<Object>& objects);

/// "code: message" of the CIMOMException that `action` throws; "nothing thrown" otherwise.
template <class Action>
std::string refusal(Action action) {
    try {
        action();
    } catch (const CIMOMException& error) {
        return std::to_string(error.getCode()) + ": " + std::string(error.getMessage().view());
    }
    return "nothing thrown";
}

/// Holds the namespace root/test with EX_Thing, EX_Part, EX_Base and EX_Link.
class RepositoryTest : public testing::Test {
protected:
    void SetUp() override;

    std::string file() const { return folder.file("repository.db"); }
    void open() { repository = std::make_unique<Repository>(file()); }
    void close() { repository.reset(); }
    void reopen();
    /// Collects what the repository reports, in `changes`.
    void observe();

    const TemporaryFolder folder;
    std::vector<InstanceChange> changes;
    std::unique_ptr<Repository> repository;
};

}  // namespace velm::test
