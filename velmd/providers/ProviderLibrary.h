#pragma once

#include "foundation/services/ProviderEntry.h"

#include <filesystem>
#include <memory>
#include <string>

namespace velm {

/// The shared object of a loadable provider, open as long as this object lives.
///
/// Threads: one. Requires: what was created goes before its library.
class ProviderLibrary {
public:
    /// Loads `file` and reads what it says of itself. Throws std::runtime_error, whose text says why it is no
    /// provider for this server.
    explicit ProviderLibrary(const std::filesystem::path& file);
    ProviderLibrary(ProviderLibrary&&) noexcept = default;
    ProviderLibrary& operator=(ProviderLibrary&&) noexcept = default;
    ~ProviderLibrary() = default;

    const std::string& name() const noexcept { return _name; }

    /// A new provider. Throws std::runtime_error with the text of what the provider threw.
    std::unique_ptr<IProvider> create(const ProviderContext& context) const;

private:
    struct Close {
        void operator()(void* handle) const noexcept;
    };

    std::unique_ptr<void, Close> _handle;
    const ProviderDescription* _description;
    std::string _name;
};

}  // namespace velm
