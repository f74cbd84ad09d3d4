// Maps the Windows header that generated interface code includes onto our platform layer.
#pragma once
#include "platform/platform.h"
