#pragma once

#include "server/services/LogLine.h"

#include <chrono>
#include <cstddef>
#include <list>
#include <string_view>
#include <unordered_map>
#include <vector>

namespace velm {

/// Decides which lines of a log are news and which repeat one that was written a moment ago.
///
/// A line opens a window of 30 seconds; the same message and number from the same component inside it is
/// counted instead of written. The table holds `capacity` windows: past it the oldest ends early. Not
/// synchronised; times must not go back.
class LogRepeats {
public:
    using Time = std::chrono::steady_clock::time_point;

    static constexpr std::chrono::seconds window{30};
    static constexpr std::size_t capacity = 1024;

    /// A line and how often it came again after it was written.
    struct Repeat {
        LogLine line;
        unsigned long count;
    };

    /// Whether the line is to be written; it was counted otherwise. Appends to `ended` what windows that are
    /// over by now, or had to make room, have counted.
    bool admit(const LogLine& line, Time now, std::vector<Repeat>& ended);

    /// Hands over what was counted so far and counts on from zero. Windows stay open.
    std::vector<Repeat> takeCounts();

    /// Forgets all windows: every line is news again.
    void clear() noexcept;

private:
    struct Window {
        Repeat repeat;
        Time start;
    };

    /// Views into the texts of a window.
    struct Key {
        std::string_view component;
        std::string_view message;
        unsigned int number;
        bool operator==(const Key&) const = default;
    };

    struct Hash {
        std::size_t operator()(const Key& key) const noexcept;
    };

    static Key _keyOf(const LogLine& line) noexcept;
    void _endOldest(std::vector<Repeat>& ended);

    std::list<Window> _windows;
    std::unordered_map<Key, std::list<Window>::iterator, Hash> _index;
};

}  // namespace velm
