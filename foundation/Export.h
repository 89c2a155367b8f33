#pragma once

/// Marks what a shared library shows to its users. Everything else is hidden by the build.
#define VELM_EXPORT __attribute__((visibility("default")))

/// Keeps a part of an exported class inside its library.
#define VELM_HIDDEN __attribute__((visibility("hidden")))
