#pragma once

#include "foundation/services/IProvider.h"

namespace velm {

/// What a loadable provider is given when it is loaded. Valid for the length of the call; copy what you keep.
struct ProviderContext {
    /// The version of these headers with which the host was built.
    unsigned int interfaceVersion;
    /// Where to report indications, from now on and on any thread, until the provider is deleted.
    ORVSmrPtr<IOrvoSubscriber> observer;
    /// The namespace whose instances the provider names.
    ORVString nameSpace;
    /// Text from the host's configuration; each provider documents what it expects.
    ORVString argument;
};

/// The version of the interface between host and provider. A provider built for another one refuses.
constexpr unsigned int providerInterfaceVersion = 1;

/// The type of the one entry point of a loadable provider, an `extern "C"` function named
/// `velm_create_provider`.
///
/// Returns a new provider, which the host deletes before it unloads the shared object; null when the provider
/// cannot work, after logging why. Must not throw.
using CreateProvider = IProvider* (*)(const ProviderContext* context);

constexpr const char* createProviderSymbol = "velm_create_provider";

}  // namespace velm
