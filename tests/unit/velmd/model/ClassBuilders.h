#pragma once

#include "foundation/object_model/COrvoType.h"
#include "foundation/object_model/COrvoValue.h"
#include "foundation/services/CIMOMException.h"
#include "velmd/model/CIMClass.h"

#include <string>
#include <string_view>
#include <utility>
#include <vector>

/// Short ways to declarations, and to what is thrown.
namespace velm::test {

using Value = ORVSmrPtr<IOrvoValue>;
using Type = ORVSmrPtr<IOrvoType>;

template <class... Arguments>
Value makeValue(const Arguments&... arguments) {
    return Value(new COrvoValue(arguments...));
}

inline CIMQualifier makeQualifier(const std::string& name, const Value& value = makeValue(true),
                                  const CIMFlavor& flavor = {}) {
    return {name, value, flavor, false};
}

inline CIMProperty makeProperty(const std::string& name, const Type& type = COrvoType::string,
                                std::vector<CIMQualifier> qualifiers = {}) {
    CIMProperty property;
    property.name = name;
    property.type = type;
    property.value = COrvoValue::null(type);
    property.qualifiers = std::move(qualifiers);
    return property;
}

inline CIMProperty makeKey(const std::string& name, const Type& type = COrvoType::string) {
    return makeProperty(name, type, {makeQualifier("Key")});
}

inline CIMProperty makeEnd(const std::string& name, const std::string& referenceClass, bool isKey = true) {
    CIMProperty property =
        isKey ? makeKey(name, COrvoType::reference) : makeProperty(name, COrvoType::reference);
    property.referenceClass = referenceClass;
    return property;
}

inline CIMClass makeClass(const std::string& name, const std::string& superClass = "",
                          std::vector<CIMProperty> properties = {},
                          std::vector<CIMQualifier> qualifiers = {}) {
    return {name, superClass, std::move(qualifiers), std::move(properties), {}};
}

/// What a call threw; status 0 when it returned.
struct Refusal {
    int status = 0;
    std::string text;
};

template <class Call>
Refusal refusalOf(Call call) {
    try {
        call();
    } catch (const CIMOMException& error) {
        return {error.getCode(), std::string(error.getMessage().view())};
    }
    return {};
}

}  // namespace velm::test
