#pragma once

#include <cstdint>

using ORVsint32 = std::int32_t;
using ORVuint32 = std::uint32_t;
