#include "tests/support/SharedFolder.h"

#include <system_error>

namespace velm::test {

std::filesystem::path sharedFile(const std::string& name) {
    const std::filesystem::path folder(VELM_SHARED_FOLDER);
    std::error_code notThere;
    for (const auto& entry : std::filesystem::recursive_directory_iterator(folder, notThere)) {
        if (entry.path().filename() == name) {
            return entry.path();
        }
    }
    return folder / name;
}

std::filesystem::path realSchema() {
    return sharedFile("cim_schema.xml");
}

std::filesystem::path documentType() {
    return sharedFile("dsp0203.dtd");
}

}  // namespace velm::test
