// Registry scripts: the text form in which the component describes the keys it registers.
//
//   HKCR
//   {
//       Name.1 = s 'Default value'           a key with its default value
//       {
//           val Extra = s 'text'              a named value of the enclosing key
//       }
//       NoRemove CLSID                        never deleted when unregistering
//       {
//           ForceRemove {guid} = s 'x'        deleted with everything below it, then written
//       }
//   }
//
// Names are bare words or quoted like values ('it''s'); a brace is a block only when it
// stands alone, so "{guid}" is a name. %NAME% in a name or value is replaced by the value
// given for NAME, and %% by a single percent sign.
#pragma once

#include <string>
#include <utility>
#include <vector>

#include "platform/platform.h"

using OleString = std::basic_string<OLECHAR>;

// RegisterShared writes only the keys outside HKEY_CLASSES_ROOT\CLSID (the ProgIDs), the
// ones that 64-bit Windows keeps once for 32-bit and 64-bit programs, and deletes nothing.
enum class RegistryMode { Register, Unregister, RegisterShared };

struct RegistryReplacement {
    OleString name;  // without the percent signs
    OleString value;
};

// Registering writes every key and value of the script below HKEY_CLASSES_ROOT, creating
// keys as needed; a ForceRemove key is first deleted with its subkeys. Unregistering
// deletes the keys the script names, deepest first, except NoRemove keys; a key that
// still holds subkeys the script does not name is left in place, and keys already gone
// are no error. The whole script is checked before the registry is touched: a malformed
// one gives E_INVALIDARG and changes nothing. A failing registry call ends the run with
// its code as an HRESULT. view (KEY_WOW64_32KEY or KEY_WOW64_64KEY) chooses the registry
// view that RegisterShared writes to; 0 is the caller's own.
HRESULT RunRegistryScript(const char* script, size_t length, RegistryMode mode,
                          const std::vector<RegistryReplacement>& replacements, REGSAM view = 0);
