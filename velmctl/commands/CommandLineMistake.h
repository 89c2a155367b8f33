#pragma once

#include <cstdint>
#include <stdexcept>
#include <string>
#include <vector>

namespace CLI {
class App;
class ParseError;
class Validator;
}  // namespace CLI

namespace velm {

/// What only a command itself can find wrong with its arguments.
class CommandLineMistake : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

/// What is wrong with a command line that the program could not parse. Words that it does not know come
/// first, with the subcommand or option that was probably meant.
std::string describeMistake(const CLI::App& program, const CLI::ParseError& reason);

/// Where to read on.
std::string adviceForMistake(const CLI::App& program);

/// Takes one of `words`, letter case ignored, and gives it in its own spelling; anything else is refused with
/// the word that was probably meant. The words stand in the help and in completions.
CLI::Validator oneOf(const std::vector<std::string>& words);

/// Takes a whole number of this range, written in decimal digits.
CLI::Validator numberFrom(std::uint64_t least, std::uint64_t most);

}  // namespace velm
