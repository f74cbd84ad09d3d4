// The interfaces, enumerations and GUIDs generated from interfaces/tarvolin.idl, over the
// platform's COM types.
#pragma once

#include "platform/platform.h"

#include "tarvolin_h.h"
