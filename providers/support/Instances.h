#pragma once

#include "foundation/containers/ORVValSlist.h"
#include "foundation/object_model/COrvoInstanceName.h"
#include "foundation/object_model/IOrvoIndication.h"
#include "foundation/object_model/IOrvoObject.h"
#include "foundation/object_model/IOrvoType.h"
#include "foundation/object_model/IOrvoValue.h"

#include <cstdint>
#include <initializer_list>
#include <utility>
#include <vector>

/// Short ways to values, names and objects. Any thread may call them.
namespace velm::providers {

using Value = ORVSmrPtr<IOrvoValue>;
using InstanceName = ORVSmrPtr<IOrvoInstanceName>;
using InstanceNames = ORVSmrPtr<ORVValSlist<InstanceName>>;
using Properties = std::vector<std::pair<const char*, Value>>;

Value text(const ORVString& value);
Value flag(bool value);
Value number(std::uint64_t value, const ORVSmrPtr<IOrvoType>& type);
Value reference(const InstanceName& name);
/// An array without NULL elements.
Value array(std::initializer_list<Value> elements, const ORVSmrPtr<IOrvoType>& elementType);

/// An object of the class that `name` gives, with the keys of `name` and then `properties`.
ORVSmrPtr<IOrvoObject> object(const InstanceName& name, const Properties& properties);

/// The text of a key; the null string when there is no such key.
ORVString keyOf(const InstanceName& name, const char* key);
/// The instance that a key refers to; a null handle when there is no such key, or it is no reference.
InstanceName referenceIn(const InstanceName& name, const char* key);

/// Whether `asked` names the same instance as `own`, whatever the letter case of namespace and class. A name
/// without namespace is taken for one in the namespace of `own`.
bool isSame(const InstanceName& asked, const InstanceName& own);
bool isOneOf(const ORVString& className, std::initializer_list<const char*> classNames);

/// "Change of every CIM_X" for a name without keys, else "Change of CIM_X 'key'" with the value of `key`.
ORVString describe(IOrvoIndication::IndicationType type, const InstanceName& name, const char* key);

/// The name of this machine, which stands in the keys of what is on it.
ORVString computerName();

}  // namespace velm::providers
