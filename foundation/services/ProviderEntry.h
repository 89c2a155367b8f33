#pragma once

#include "foundation/services/IProvider.h"

namespace velm {

/// What a loadable provider is given when it is created. Valid for the length of the call; copy what you
/// keep.
struct ProviderContext {
    /// Where to report indications, from now on and on any thread, until the provider is deleted.
    ORVSmrPtr<IOrvoSubscriber> observer;
    /// The namespace whose instances the provider names.
    ORVString nameSpace;
    /// Text from the host's configuration; each provider documents what it expects.
    ORVString argument;
};

/// The version of the interface between host and provider: of this file and of IProvider.
constexpr unsigned int providerInterfaceVersion = 2;

/// What a loadable provider is. A static object of the provider's.
struct ProviderDescription {
    /// providerInterfaceVersion as the provider was built with. It stands first in every version, so that a
    /// host can refuse a provider of another one before it reads on.
    unsigned int interfaceVersion;
    /// Names the provider in the configuration and in the log: lower case letters, digits and underscores.
    const char* name;
    /// Creates the provider, which the host deletes before it unloads the shared object. Throws what derives
    /// from std::exception when the provider cannot work; its text reaches the log.
    IProvider* (*create)(const ProviderContext& context);
};

/// The type of the one entry point of a loadable provider, which never returns null:
///
///     extern "C" VELM_EXPORT const velm::ProviderDescription* velm_provider();
using ProviderEntry = const ProviderDescription* (*)();

constexpr const char* providerEntrySymbol = "velm_provider";

}  // namespace velm
