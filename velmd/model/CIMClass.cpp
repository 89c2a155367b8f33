#include "velmd/model/CIMClass.h"

#include "velmd/model/CIMName.h"

#include <algorithm>

namespace velm {

namespace {

template <class Element>
const Element* findNamed(const std::vector<Element>& elements, std::string_view name) {
    const auto found = std::find_if(elements.begin(), elements.end(),
                                    [name](const Element& element) { return sameName(element.name, name); });
    return found == elements.end() ? nullptr : &*found;
}

bool isTrue(const CIMQualifier* qualifier) {
    if (!qualifier || qualifier->value->isNull()) {
        return false;
    }
    const auto type = qualifier->value->getType();
    return !type->isArray() && type->getName().view() == "boolean" && qualifier->value->getBoolean();
}

}  // namespace

const CIMQualifier* findQualifier(const std::vector<CIMQualifier>& qualifiers, std::string_view name) {
    return findNamed(qualifiers, name);
}

bool CIMProperty::isKey() const {
    return isTrue(findQualifier(qualifiers, "Key"));
}

const CIMProperty* CIMClass::property(std::string_view propertyName) const {
    return findNamed(properties, propertyName);
}

const CIMMethod* CIMClass::method(std::string_view methodName) const {
    return findNamed(methods, methodName);
}

bool CIMClass::is(std::string_view qualifierName) const {
    return isTrue(findQualifier(qualifiers, qualifierName));
}

}  // namespace velm
