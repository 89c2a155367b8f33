#pragma once

#include "foundation/services/VELMConfigManager.h"

namespace velm::test {

/// Sets one value of section "VELM" for the length of a scope, after which nothing is configured.
class Setting {
public:
    Setting(const char* key, const char* value) {
        VELMConfigManager::getInstance()->setString("VELM", key, value);
    }
    Setting(const Setting&) = delete;
    Setting& operator=(const Setting&) = delete;
    ~Setting() { VELMConfigManager::getInstance()->clear(); }
};

}  // namespace velm::test
