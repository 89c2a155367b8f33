#include "velmd/providers/ProviderLibrary.h"

#include "velmd/model/CIMName.h"
#include "velmd/providers/ProviderException.h"

#include <algorithm>
#include <array>
#include <dlfcn.h>
#include <string_view>

#include <fmt/format.h>

namespace velm {

namespace {

/// Keys of the section in which providers have their arguments, in lower case.
constexpr std::array<std::string_view, 1> reservedNames{"directory"};
constexpr std::string_view nameCharacters = "abcdefghijklmnopqrstuvwxyz0123456789_";

[[noreturn]] void refuse(const std::string& why) {
    throw std::runtime_error(why);
}

void* opened(const std::filesystem::path& file) {
    void* handle = dlopen(file.c_str(), RTLD_NOW | RTLD_LOCAL);
    if (!handle) {
        refuse(std::string("it cannot be loaded: ") + dlerror());
    }
    return handle;
}

const ProviderDescription* describedBy(void* handle) {
    const auto entry = reinterpret_cast<ProviderEntry>(dlsym(handle, providerEntrySymbol));
    if (!entry) {
        refuse(fmt::format("it has no entry point {}", providerEntrySymbol));
    }
    const auto* description = callProviderCode("its entry point failed", [entry] { return entry(); });
    if (!description) {
        refuse("its entry point returns null");
    }
    if (description->interfaceVersion != providerInterfaceVersion) {
        refuse(fmt::format("built for interface version {}, this server has {}",
                           description->interfaceVersion, providerInterfaceVersion));
    }
    return description;
}

std::string nameIn(const ProviderDescription& description) {
    const std::string_view name = description.name ? description.name : "";
    if (name.empty() || name.find_first_not_of(nameCharacters) != std::string_view::npos) {
        refuse(fmt::format("its name {} is not made of lower case letters, digits and underscores",
                           quoted(name)));
    }
    if (std::ranges::find(reservedNames, name) != reservedNames.end()) {
        refuse(fmt::format("its name {} is a word of the configuration", quoted(name)));
    }
    return std::string(name);
}

}  // namespace

void ProviderLibrary::Close::operator()(void* handle) const noexcept {
    dlclose(handle);
}

ProviderLibrary::ProviderLibrary(const std::filesystem::path& file)
    : _handle(opened(file)), _description(describedBy(_handle.get())), _name(nameIn(*_description)) {
}

std::unique_ptr<IProvider> ProviderLibrary::create(const ProviderContext& context) const {
    if (!_description->create) {
        refuse("it has no operation to create a provider");
    }
    std::unique_ptr<IProvider> provider(
        callProviderCode("it failed to start", [&] { return _description->create(context); }));
    if (!provider) {
        refuse("it created no provider");
    }
    return provider;
}

}  // namespace velm
