#pragma once

#include "velmd/faces/Verdict.h"
#include "velmd/status/ServerStatus.h"

#include <cstddef>
#include <string>
#include <string_view>

/// The page that an operator leaves open: one HTML document without a script, whatever the status holds. All
/// text of clients passes shown() or escaped(). Pure functions; any thread.
namespace velm::faces {

struct PageOptions {
    /// The page asks for itself again and again.
    bool refreshes = true;
};

inline constexpr unsigned int refreshSeconds = 10;
inline constexpr std::size_t mostSubscribersShown = 200;
inline constexpr std::size_t mostRemovedShown = 50;
inline constexpr std::size_t mostClassesShown = 12;
inline constexpr std::size_t mostObserversShown = 6;
inline constexpr std::size_t mostProvidersShown = 100;
inline constexpr std::size_t mostCountsShown = 60;

std::string statusPage(const status::ServerStatus& status, const std::string& illness,
                       const PageOptions& options);

/// The style that the page asks for at /style.css.
std::string_view pageStyle() noexcept;

// The parts of the page, each a <section>.

std::string headline(const status::ServerStatus& status, const Verdict& verdict);
std::string ratesSection(const status::ServerStatus& status);
std::string subscribersSection(const status::ServerStatus& status);
std::string removedSection(const status::ServerStatus& status);
std::string providersSection(const status::ServerStatus& status);
std::string countersSection(const status::ServerStatus& status);
std::string tablesSection(const PageOptions& options);

}  // namespace velm::faces
