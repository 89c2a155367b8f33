#include "foundation/subscribers/ISubscriberManager.h"

ISubscriberManager::ISubscriberManager() = default;
ISubscriberManager::~ISubscriberManager() = default;
