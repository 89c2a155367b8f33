#pragma once

#include "foundation/object_model/OwnObject.h"
