#pragma once

#include "velmd/model/ClassTree.h"
#include "velmd/settings/CommandLine.h"

#include <string_view>

namespace velm {

/// The namespace whose classes the indication library mirrors, in which providers name their instances.
inline constexpr const char* mirroredNamespace = defaultNamespace;

/// Tells the indication library of a class that was created after its class tree was read, so that it can be
/// subscribed to at once. Classes of other namespaces are nothing to it. A class that is deleted stays there,
/// with its subscriptions, and serves again when it is created again.
///
/// Threads: any number. Requires: CCIMOMClassManager::initialize was called.
void mirrorClass(std::string_view nameSpace, const ResolvedClass& created);

}  // namespace velm
