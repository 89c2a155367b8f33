#include "tests/unit/velmd/wire/WireSupport.h"

#include "foundation/object_model/IOrvoInstanceName.h"

namespace velm::test {

namespace {

std::string typeText(const ORVSmrPtr<IOrvoType>& type) {
    return type.IsNull() ? "void" : std::string(type->getName().view()) + (type->isArray() ? "[]" : "");
}

std::string flagText(bool flag, const char* text) {
    return flag ? text : "";
}

std::string flavorText(const CIMFlavor& flavor) {
    return flagText(flavor.isOverridable, "O") + flagText(flavor.toSubclass, "S") +
           flagText(flavor.toInstance, "I") + flagText(flavor.isTranslatable, "T");
}

std::string sizeText(const std::optional<unsigned int>& size) {
    return size ? "[" + std::to_string(*size) + "]" : "";
}

std::string contentText(const IOrvoValue& value) {
    const auto type = value.getType();
    if (type->isArray()) {
        std::string text;
        const auto elements = value.getElements();
        for (const auto& element : *elements) {
            text += "<" + describe(*element) + ">";
        }
        return "{" + text + "}";
    }
    const ORVString name = type->getName();
    if (name.view() == "reference") {
        return describe(*value.getReference());
    }
    return name.view() == "instance" ? describe(*value.getInstance())
                                     : "'" + std::string(value.toString().view()) + "'";
}

std::string qualifiersText(const std::vector<CIMQualifier>& qualifiers) {
    std::string text;
    for (const CIMQualifier& qualifier : qualifiers) {
        text += "[" + qualifier.name + " " + flavorText(qualifier.flavor) +
                flagText(qualifier.isPropagated, " propagated") + " " + describe(*qualifier.value) + "]";
    }
    return text;
}

std::string embeddingText(CIMEmbedding embedding) {
    return "embedding " + std::to_string(static_cast<int>(embedding));
}

std::string originText(const std::string& origin, bool isPropagated) {
    return " from '" + origin + "'" + flagText(isPropagated, " propagated");
}

std::string parameterText(const CIMParameter& parameter) {
    return parameter.name + ":" + typeText(parameter.type) + sizeText(parameter.arraySize) + " to '" +
           parameter.referenceClass + "' " + embeddingText(parameter.embedding) +
           qualifiersText(parameter.qualifiers);
}

}  // namespace

std::string describe(const IOrvoValue& value) {
    return typeText(value.getType()) + " " + (value.isNull() ? "NULL" : contentText(value));
}

std::string describe(const IOrvoObject& object) {
    std::string text = "instance of '" + std::string(object.getClassName().view()) + "'\n";
    for (unsigned int position = 0; position < object.getPropertyCount(); ++position) {
        const auto property = object.getProperty(position);
        text +=
            "  " + std::string(property->getName().view()) + " = " + describe(*property->getValue()) + "\n";
    }
    return text;
}

std::string describe(const IOrvoInstanceName& name) {
    std::string text =
        std::string(name.getNameSpace().view()) + ":" + std::string(name.getClassName().view());
    const auto keys = name.getKeyBindings();
    for (const COrvoKeyBinding& key : *keys) {
        text += "." + std::string(key.name.view()) + "=" + describe(*key.value);
    }
    return text;
}

std::string describe(const CIMClass& declaration) {
    std::string text = "class '" + declaration.name + "' below '" + declaration.superClass + "' " +
                       qualifiersText(declaration.qualifiers) + "\n";
    for (const CIMProperty& property : declaration.properties) {
        text += "  " + property.name + ":" + typeText(property.type) + sizeText(property.arraySize) +
                " to '" + property.referenceClass + "' " + embeddingText(property.embedding) +
                originText(property.classOrigin, property.isPropagated) + " = " + describe(*property.value) +
                qualifiersText(property.qualifiers) + "\n";
    }
    for (const CIMMethod& method : declaration.methods) {
        text += "  " + method.name + "():" + typeText(method.type) +
                originText(method.classOrigin, method.isPropagated) + qualifiersText(method.qualifiers) +
                "\n";
        for (const CIMParameter& parameter : method.parameters) {
            text += "    " + parameterText(parameter) + "\n";
        }
    }
    return text;
}

std::string describe(const CIMQualifierDeclaration& declaration) {
    return declaration.name + ":" + typeText(declaration.type) + sizeText(declaration.arraySize) + " " +
           flavorText(declaration.flavor) + " scopes " + std::to_string(declaration.scopes) + " = " +
           describe(*declaration.value);
}

}  // namespace velm::test
