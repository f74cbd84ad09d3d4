// Texts of the component's string table, loaded from the resource module (the satellite
// resource library when one was found, else the component itself).
#pragma once

#include <string>

#include "platform/platform.h"

// Replaces target with the text of string-table entry id. A missing entry, an empty one,
// or one too long to load (1536 characters or more) leaves target unchanged.
void LoadResourceText(std::string& target, UINT id);
