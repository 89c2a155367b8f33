#pragma once

#include "velmd/repository/Database.h"

#include <span>
#include <string>
#include <string_view>

namespace velm {

/// "VELM": tells a repository from other files of SQLite.
inline constexpr std::int64_t repositoryApplicationId = 0x56454C4D;

/// The statements that lead from each version of the schema to the next, the first from an empty file to
/// version 1. Steps that were released never change: files in the field have gone through them.
std::span<const std::string_view> repositoryMigrations();

/// Takes the steps that the file has not gone through yet, each in one transaction, and leaves it at version
/// `steps.size()`. A process that ends in between leaves a file from which the next one goes on.
///
/// Throws CIMOMException (1), which names the file: it belongs to something else, is damaged, or is of a
/// newer version.
void migrate(Database& database, std::span<const std::string_view> steps);

}  // namespace velm
