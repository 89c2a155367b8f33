#pragma once

#include "foundation/handles/ORVSmrPtr.h"
#include "foundation/object_model/COrvoObject.h"
#include "foundation/object_model/IOrvoInstanceName.h"
#include "velmd/model/CIMClass.h"

#include <string>
#include <vector>

namespace velm {

/// An instance as somebody types it: NAME=VALUE for keys and properties, in the types of its class.
struct TypedInstance {
    ORVSmrPtr<COrvoObject> object;
    /// Of the keys that were given.
    ORVSmrPtr<IOrvoInstanceName> name;
    /// The names of the properties that were given and are no keys.
    std::vector<std::string> properties;
};

/// Reads `arguments`; `nulls` names properties that are to have no value. Names ignore letter case; an array
/// takes its elements from arguments with the same name; a reference is written as NS:CLASS.KEY="VALUE". The
/// key CreationClassName is the class when it is not given. Any thread.
///
/// Throws CommandLineMistake that says what is wrong: no '=', a property that the class does not have
/// (with the one that was probably meant), a value that is none of its type, a property given twice, a key
/// that is missing or without a value.
TypedInstance readTypedInstance(const CIMClass& declaration, const std::vector<std::string>& arguments,
                                const std::vector<std::string>& nulls = {});

}  // namespace velm
