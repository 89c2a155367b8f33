#pragma once

#include "foundation/handles/ORVSmrPtr.h"
#include "foundation/object_model/IOrvoInstanceName.h"
#include "foundation/object_model/IOrvoObject.h"
#include "velmd/model/ClassTree.h"

#include <optional>
#include <string>
#include <string_view>
#include <vector>

/// What an instance holds, made and compared. Threads: any number; every call makes new objects.
namespace velm {

/// The properties of the class in its order, as `given` or else the class has them; after them what `given`
/// has beyond the class. Without a name.
ORVSmrPtr<IOrvoObject> completedInstance(const IOrvoObject& given, const CIMClass& declaration);

/// In the order of instance names.
std::vector<std::string> keyNames(const ResolvedClass& itsClass);

/// The properties that `names` lists (empty optional: all of `given`), as `given` or else the class has them.
/// Without a name. Throws CIMOMException (12) for one that the class does not know.
ORVSmrPtr<IOrvoObject> selectedProperties(const IOrvoObject& given,
                                          const std::optional<std::vector<std::string>>& names,
                                          const CIMClass& declaration);

/// `former` with the properties that `changes` has.
ORVSmrPtr<IOrvoObject> mergedInstance(const IOrvoObject& former, const IOrvoObject& changes);

/// The properties whose values differ, in the order of the class. Requires: both are instances of it.
std::vector<std::string> differingProperties(const IOrvoObject& one, const IOrvoObject& other,
                                             const CIMClass& declaration);

/// Whether type and content are the same, element by element in an array; NULL is the same whatever its type.
bool sameValue(const IOrvoValue& left, const IOrvoValue& right);

/// The name that the key properties give. Throws CIMOMException (1) for an instance that lacks one.
ORVSmrPtr<IOrvoInstanceName> nameFromKeys(const IOrvoObject& instance, const ResolvedClass& itsClass,
                                          std::string_view nameSpace);

/// The same instance with the name.
ORVSmrPtr<IOrvoObject> withName(const IOrvoObject& instance, const ORVSmrPtr<IOrvoInstanceName>& name);

}  // namespace velm
