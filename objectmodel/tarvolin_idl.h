// The interfaces, enumerations and GUIDs generated from component/tarvolin.idl.
#pragma once

#include "platform/platform.h"

#include "tarvolin_h.h"
