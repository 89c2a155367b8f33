#include "server/subscribers/Settings.h"

#include "foundation/services/VELMConfigManager.h"

#include <algorithm>

unsigned int velm::subscriberSetting(const char* key, unsigned int whenAbsent) {
    int value = static_cast<int>(whenAbsent);
    VELMConfigManager::getInstance()->getSint32("VELM", key, value);
    return static_cast<unsigned int>(std::max(value, 0));
}
