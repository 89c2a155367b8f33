#pragma once

namespace velm {

/// Runs velmctl with the arguments of main(). Never throws; returns the exit code.
int runVelmctl(int argc, const char* const* argv);

}  // namespace velm
