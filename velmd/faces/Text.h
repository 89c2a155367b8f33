#pragma once

#include "velmd/status/ServerStatus.h"

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

/// How the page writes what it is told. Pure functions; any thread.
namespace velm::faces {

/// How many characters of a client's text are shown where nothing else is said.
inline constexpr std::size_t longestShown = 80;

/// `text` without what could mislead who reads it, cut to `longest` characters with an ellipsis behind them.
/// Control characters, what is no UTF-8, characters without a width and those that turn the direction of
/// writing become U+FFFD. Still to be escaped.
std::string shortened(std::string_view text, std::size_t longest = longestShown);

/// For an element or for an attribute between quotes.
std::string escaped(std::string_view text);

/// A client's text for the page: shortened and escaped, in an element that keeps its direction of writing to
/// itself.
std::string shown(std::string_view text, std::size_t longest = longestShown);

/// "1,234,567".
std::string numberText(std::uint64_t number);
/// "1 subscriber", "1,200 subscribers".
std::string countText(std::uint64_t number, std::string_view singular, std::string_view plural);
/// Three digits at the most below a thousand: "0", "0.04", "3.2", "48", "1,204".
std::string rateText(double perSecond);
/// The two largest units: "3 d 4 h", "4 min 10 s", "0 s". Negative is "0 s".
std::string durationText(std::chrono::system_clock::duration duration);
/// From seconds: "0.4 ms", "12 ms", "1.5 s".
std::string latencyText(double seconds);

/// The smallest bound within which this share of all happened: "2 ms"; empty where it is beyond all bounds,
/// and where nothing happened.
std::string boundText(const status::Latency& latency, double share);

/// "22:31:07" on the day of `now`, "Nov 20, 22:31:07" within half a year, "2025-11-20 22:31:07" otherwise.
/// UTC.
std::string momentText(status::Time now, status::Time time);
/// "4 min ago"; "just now" for less than two seconds and for the future.
std::string agoText(status::Time now, status::Time time);
/// The element for a moment: how long ago, and when.
std::string agoElement(status::Time now, status::Time time);
/// "2026-11-21T22:31:07Z", as the datetime of an element.
std::string isoText(status::Time time);

/// "127.0.0.1:5988", "[::1]:5988". The host is cut, and nothing escaped.
std::string addressText(std::string_view host, std::string_view port);

}  // namespace velm::faces
