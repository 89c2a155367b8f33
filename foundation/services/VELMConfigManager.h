#pragma once

#include "foundation/Export.h"
#include "foundation/utilities/ORVString.h"

#include <memory>

/// The server's configuration: values by section and key, read from an INI file. Any thread may call it.
///
/// Section and key names ignore letter case.
class VELM_EXPORT VELMConfigManager {
public:
    /// The one instance; it lives as long as the process.
    static VELMConfigManager* getInstance();

    VELMConfigManager(const VELMConfigManager&) = delete;
    VELMConfigManager& operator=(const VELMConfigManager&) = delete;

    /// Replaces everything by what the file at `path` says. A file that does not exist is an empty
    /// configuration. Throws CIMOMException that names file and line when it cannot be read; the former
    /// values then stay. Sets the log's thresholds, to their defaults where the file does not name them.
    void load(const ORVString& path);

    /// Sets one value; the log's thresholds are not touched.
    void setString(const ORVString& section, const ORVString& key, const ORVString& value);

    /// Forgets everything.
    void clear();

    /// Copies the value to `value` and answers true; leaves `value` as it is and answers false when the key
    /// is absent.
    bool getString(const ORVString& section, const ORVString& key, ORVString& value) const;

    /// The same for a signed 32-bit decimal number. A value that is no such number is logged and counts as
    /// absent.
    bool getSint32(const ORVString& section, const ORVString& key, int& value) const;

    /// Turns a relative path into an absolute one, in place, seen from the working directory. "." and ".."
    /// and repeated slashes are resolved; the path need not exist.
    void cvtToAbsolutePath(ORVString& path) const;

private:
    VELMConfigManager();
    ~VELMConfigManager();

    struct State;
    std::unique_ptr<State> _state;
};
