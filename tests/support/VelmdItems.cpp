#include "tests/support/VelmdItems.h"

namespace velm::test {

namespace {

std::string property(const std::string& name, const std::string& type, const std::string& value) {
    return "<PROPERTY NAME=\"" + name + "\" TYPE=\"" + type + "\"><VALUE>" + value + "</VALUE></PROPERTY>";
}

std::string instance(const std::string& className, const std::string& properties) {
    return "<INSTANCE CLASSNAME=\"" + className + "\">" + properties + "</INSTANCE>";
}

}  // namespace

std::string itemClass(const std::string& name, const std::string& superClass) {
    const std::string above = superClass.empty() ? "" : " SUPERCLASS=\"" + superClass + "\"";
    const std::string key = "<QUALIFIER NAME=\"Key\" TYPE=\"boolean\"><VALUE>TRUE</VALUE></QUALIFIER>";
    const std::string properties = "<PROPERTY NAME=\"Id\" TYPE=\"string\">" + key +
                                   "</PROPERTY><PROPERTY NAME=\"Caption\" TYPE=\"string\"/>"
                                   "<PROPERTY NAME=\"Size\" TYPE=\"uint32\"/>";
    return "<CLASS NAME=\"" + name + "\"" + above + ">" + (superClass.empty() ? properties : "") + "</CLASS>";
}

std::string itemInstance(const std::string& className, const std::string& id, const std::string& caption) {
    return instance(className, property("Id", "string", id) + property("Caption", "string", caption));
}

std::string itemInstance(const std::string& className, const std::string& id, const std::string& caption,
                         unsigned int size) {
    return instance(className, property("Id", "string", id) + property("Caption", "string", caption) +
                                   property("Size", "uint32", std::to_string(size)));
}

std::string itemName(const std::string& className, const std::string& id) {
    return "<INSTANCENAME CLASSNAME=\"" + className + "\"><KEYBINDING NAME=\"Id\"><KEYVALUE>" + id +
           "</KEYVALUE></KEYBINDING></INSTANCENAME>";
}

std::string namedItem(const std::string& className, const std::string& id, const std::string& instance) {
    return "<VALUE.NAMEDINSTANCE>" + itemName(className, id) + instance + "</VALUE.NAMEDINSTANCE>";
}

std::string itemPath(const std::string& className, const std::string& id) {
    return "root/kob/talmora:" + className + ".Id=\"" + id + "\"";
}

}  // namespace velm::test
