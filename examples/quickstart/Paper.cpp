#include "examples/quickstart/Paper.h"

#include <algorithm>
#include <cstdio>

#include <boost/algorithm/string/replace.hpp>
#include <fmt/format.h>

void Paper::act(const std::string& text) {
    const std::lock_guard guard(_lock);
    _lines.clear();
    fmt::print("\n{}\n", text);
    std::fflush(stdout);
}

void Paper::add(const std::string& who, const std::string& text) {
    const std::string shortText = boost::algorithm::replace_all_copy(text, _leftOut, "");
    const std::lock_guard guard(_lock);
    _lines.push_back({who, text});
    fmt::print("    {:<9} {}\n", who, shortText);
    std::fflush(stdout);
    _added.notify_all();
}

bool Paper::waitFor(const std::string& who, const std::vector<std::string>& words,
                    std::chrono::milliseconds patience) {
    const auto fits = [&](const Line& line) {
        return line.who == who && std::ranges::all_of(words, [&](const std::string& word) {
                   return line.text.find(word) != std::string::npos;
               });
    };
    std::unique_lock guard(_lock);
    return _added.wait_for(guard, patience, [&] { return std::ranges::any_of(_lines, fits); });
}
