#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace velm {

/// How many letters have to be added, left out, exchanged or swapped with their neighbour to make one word of
/// the other.
std::size_t editDistance(std::string_view left, std::string_view right);

/// The candidate that `word` was probably meant to be, letter case ignored; empty when none is near: more
/// than a third of the longer word would have to change.
std::string nearest(std::string_view word, const std::vector<std::string>& candidates);

}  // namespace velm
