#pragma once

#include "foundation/Export.h"

/// What differs between operating systems.
class VELM_EXPORT ORVPort {
public:
    /// Deletes the file at `path`. Answers false, with errno set, when it could not; a missing file counts as
    /// deleted.
    static bool deleteFile(const char* path);
};
