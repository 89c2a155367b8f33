#include "velmctl/client/CIMClient.h"

#include "foundation/utilities/OrvoBaseException.h"
#include "velmctl/client/ClientError.h"
#include "velmd/model/CIMStatus.h"
#include "velmd/wire/CIMReader.h"
#include "velmd/wire/CIMWriter.h"
#include "velmd/wire/XMLElement.h"

#include <fmt/format.h>

namespace velm {

namespace {

using Elements = std::vector<XMLElement>;

[[noreturn]] void failUnreadable(std::string_view problem) {
    throw ClientError(ClientError::Kind::noCIMServer,
                      fmt::format("the server's answer makes no sense: {}", problem));
}

/// What reading an answer throws becomes the failure that callers know.
template <class Reading>
auto understand(Reading reading) {
    try {
        return reading();
    } catch (const CIMSyntaxError& error) {
        failUnreadable(error.what());
    } catch (const OrvoBaseException& error) {
        failUnreadable(error.getMessage().view());
    }
}

/// Servers say that there is no such class with either of two statuses; callers know one.
template <class Calling>
Elements refusingClass(Calling call) {
    try {
        return call();
    } catch (const ClientError& error) {
        if (error.status() != static_cast<int>(CIMStatus::notFound)) {
            throw;
        }
        throw ClientError(error.kind(), error.what(), static_cast<int>(CIMStatus::invalidClass));
    }
}

const XMLElement& only(const Elements& elements, const char* what) {
    if (elements.size() != 1) {
        failUnreadable(fmt::format("{} instead of one {}", elements.size(), what));
    }
    return elements.front();
}

const XMLElement& childOf(const XMLElement& element, const char* name) {
    const XMLElement* child = element.child(name);
    if (!child) {
        failUnreadable(fmt::format("a {} without {}", element.name, name));
    }
    return *child;
}

std::string attributeOf(const XMLElement& element, const char* name) {
    const std::string* text = element.attribute(name);
    return text ? *text : "";
}

WBEMClient::Parameters ofClass(const std::string& name) {
    return {{"ClassName", WBEMClient::className(name)}};
}

std::string nameElement(const IOrvoInstanceName& name) {
    std::string xml;
    writeInstanceName(xml, name);
    return xml;
}

std::string instanceElement(const IOrvoObject& instance) {
    std::string xml;
    writeStoredInstance(xml, instance);
    return xml;
}

std::string classElement(const CIMClass& declaration) {
    std::string xml;
    writeClass(xml, declaration, CIMSelection());
    return xml;
}

std::vector<std::string> namesIn(const Elements& elements) {
    std::vector<std::string> names;
    for (const XMLElement& element : elements) {
        names.push_back(attributeOf(element, "NAME"));
    }
    return names;
}

}  // namespace

CIMClass CIMClient::getClass(const std::string& name) {
    auto parameters = ofClass(name);
    parameters.emplace_back("LocalOnly", WBEMClient::value("FALSE"));
    const Elements found = refusingClass([&] { return _client.callForElements("GetClass", parameters); });
    return understand([&] { return readClass(only(found, "class")); });
}

std::vector<CIMClient::ClassEntry> CIMClient::classes(const std::string& root) {
    WBEMClient::Parameters parameters{{"DeepInheritance", WBEMClient::value("TRUE")},
                                      {"IncludeQualifiers", WBEMClient::value("FALSE")}};
    if (!root.empty()) {
        parameters.emplace_back("ClassName", WBEMClient::className(root));
    }
    std::vector<ClassEntry> entries;
    for (const XMLElement& found : _client.callForElements("EnumerateClasses", parameters)) {
        entries.push_back({attributeOf(found, "NAME"), attributeOf(found, "SUPERCLASS")});
    }
    return entries;
}

std::vector<std::string> CIMClient::_classNames(bool deep) {
    return namesIn(_client.callForElements(
        "EnumerateClassNames", {{"DeepInheritance", WBEMClient::value(deep ? "TRUE" : "FALSE")}}));
}

std::vector<std::string> CIMClient::rootClasses() {
    return _classNames(false);
}

std::vector<std::string> CIMClient::allClassNames() {
    return _classNames(true);
}

std::vector<std::string> CIMClient::qualifierNames() {
    return namesIn(_client.callForElements("EnumerateQualifiers", {}));
}

void CIMClient::setQualifier(const CIMQualifierDeclaration& declaration) {
    std::string xml;
    writeQualifierDeclaration(xml, declaration);
    _client.call("SetQualifier", {{"QualifierDeclaration", xml}});
}

void CIMClient::createClass(const CIMClass& declaration) {
    _client.call("CreateClass", {{"NewClass", classElement(declaration)}});
}

void CIMClient::modifyClass(const CIMClass& declaration) {
    _client.call("ModifyClass", {{"ModifiedClass", classElement(declaration)}});
}

std::vector<ORVSmrPtr<IOrvoInstanceName>> CIMClient::instanceNames(const std::string& className) {
    const Elements found = _client.callForElements("EnumerateInstanceNames", ofClass(className));
    return understand([&] {
        std::vector<ORVSmrPtr<IOrvoInstanceName>> names;
        for (const XMLElement& name : found) {
            names.push_back(readInstanceName(name));
        }
        return names;
    });
}

std::vector<CIMClient::NamedInstance> CIMClient::instances(const std::string& className) {
    const Elements found = _client.callForElements("EnumerateInstances", ofClass(className));
    return understand([&] {
        std::vector<NamedInstance> instances;
        for (const XMLElement& named : found) {
            instances.push_back(
                {readInstanceName(childOf(named, "INSTANCENAME")), readInstance(childOf(named, "INSTANCE"))});
        }
        return instances;
    });
}

ORVSmrPtr<IOrvoInstanceName> CIMClient::create(const IOrvoObject& instance) {
    const Elements names =
        _client.callForElements("CreateInstance", {{"NewInstance", instanceElement(instance)}});
    return understand([&] { return readInstanceName(only(names, "name")); });
}

void CIMClient::modify(const IOrvoInstanceName& name, const IOrvoObject& instance,
                       const std::vector<std::string>& properties) {
    const std::string named = fmt::format("<VALUE.NAMEDINSTANCE>{}{}</VALUE.NAMEDINSTANCE>",
                                          nameElement(name), instanceElement(instance));
    _client.call("ModifyInstance",
                 {{"ModifiedInstance", named}, {"PropertyList", WBEMClient::values(properties)}});
}

void CIMClient::remove(const IOrvoInstanceName& name) {
    _client.call("DeleteInstance", {{"InstanceName", nameElement(name)}});
}

std::string CIMClient::path(const IOrvoInstanceName& name) const {
    const bool isComplete = name.getNameSpace().length() != 0;
    return fmt::format("{}{}{}", isComplete ? "" : _client.nameSpace(), isComplete ? "" : ":",
                       name.toString().view());
}

}  // namespace velm
