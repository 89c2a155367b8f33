#pragma once

#include <string>

/// CIM-XML of things that tests keep in the daemon: items, with the key Id and the properties Caption
/// (string) and Size (uint32).
namespace velm::test {

/// A class of items; with a superclass, one that adds nothing to it.
std::string itemClass(const std::string& name, const std::string& superClass = "");

/// INSTANCE, without a size.
std::string itemInstance(const std::string& className, const std::string& id,
                         const std::string& caption = "c");
/// INSTANCE with all properties.
std::string itemInstance(const std::string& className, const std::string& id, const std::string& caption,
                         unsigned int size);

/// INSTANCENAME.
std::string itemName(const std::string& className, const std::string& id);

/// VALUE.NAMEDINSTANCE around an INSTANCE of the same class and key.
std::string namedItem(const std::string& className, const std::string& id, const std::string& instance);

/// The path by which indications name it.
std::string itemPath(const std::string& className, const std::string& id);

}  // namespace velm::test
