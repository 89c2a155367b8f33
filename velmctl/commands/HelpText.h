#pragma once

#include <cstddef>
#include <memory>
#include <string>

namespace CLI {
class FormatterBase;
}

namespace velm {

/// Sets the help of the program and of its commands in lines of so many columns. scripts/check-manuals and
/// packaging/man/make-page read it.
std::shared_ptr<CLI::FormatterBase> makeHelpFormatter(std::size_t columns);

/// What stands below the program's help: examples and exit codes.
std::string helpFooter(std::size_t columns);

}  // namespace velm
