#pragma once

#include <filesystem>
#include <string>

#include <gtest/gtest.h>

/// Test data that is not part of this repository: the DTD of DSP0203 and a schema of real size, in the folder
/// that the CMake variable VELM_SHARED_FOLDER names (beside the checkout unless set). Any thread may call it.
namespace velm::test {

/// The file of this name in the folder or below it; where it should be when it is not there.
std::filesystem::path sharedFile(const std::string& name);

/// Over a thousand classes as CIM-XML declarations.
std::filesystem::path realSchema();

/// The DTD of DSP0203.
std::filesystem::path documentType();

}  // namespace velm::test

/// Leaves the test, or its SetUp(), which counts as skipped, when the file is not there.
#define VELM_SKIP_WITHOUT(file)                                            \
    if (!std::filesystem::exists(file))                                    \
    GTEST_SKIP() << "there is no " << std::filesystem::path(file).string() \
                 << "; the CMake variable VELM_SHARED_FOLDER names the folder of shared test data"
