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

// What a set of keys held before a change, so that a change that fails part-way can be
// undone. Each record is one key: with everything below it, or with some of its values only.
// Restoring puts the keys back in the reverse order of their recording, so a tree recorded
// below a key is back before that key itself is looked at.
class RegistryBackup {
public:
    RegistryBackup() = default;
    RegistryBackup(const RegistryBackup&) = delete;
    RegistryBackup& operator=(const RegistryBackup&) = delete;

    // Records the key `path` below `root` with all its subkeys and values, or that it is
    // missing.
    HRESULT SaveTree(HKEY root, const OleString& path);
    // Records whether the key exists and, of the values named (an empty name is the default
    // value), which it holds and what they hold.
    HRESULT SaveValues(HKEY root, const OleString& path, const std::vector<OleString>& names);
    // Puts every recorded key back as it was: a tree is deleted and written anew from the
    // record; of a key recorded by its values, those values are reset or deleted, and the key
    // itself is deleted when it did not exist and nothing is below it now. Goes on past a
    // failure and returns the first one.
    HRESULT Restore();

private:
    struct SavedValue {
        OleString name;
        bool present = false;
        DWORD type = REG_NONE;
        std::vector<BYTE> data;
    };
    struct SavedKey {
        OleString path;                  // below the record's root, for trees below its path
        std::vector<SavedValue> values;  // all of them for a tree, else the recorded ones
    };
    struct Record {
        HKEY root = nullptr;
        OleString path;
        bool whole = false;            // a tree rather than some values
        bool existed = false;
        std::vector<SavedKey> keys;    // a tree's keys, each before the keys below it
    };
    std::vector<Record> m_Records;
};

struct RegistryReplacement {
    OleString name;  // without the percent signs
    OleString value;
};

// Registering writes every key and value of the script below `root` (the script's
// HKEY_CLASSES_ROOT: HKEY_CLASSES_ROOT itself for the machine, or an open key such as the
// user's HKEY_CURRENT_USER\Software\Classes), creating keys as needed; a ForceRemove key is
// first deleted with its subkeys. Unregistering deletes the keys the script names, deepest
// first, except NoRemove keys; a key that still holds subkeys the script does not name is
// left in place, and keys already gone are no error. The whole script is checked before the
// registry is touched: a malformed one gives E_INVALIDARG and changes nothing. A failing
// registry call ends the run with its code as an HRESULT. view (KEY_WOW64_32KEY or
// KEY_WOW64_64KEY) chooses the registry view that RegisterShared writes to; 0 is the
// caller's own.
//
// Registering first records what the keys it is going to write hold (each outermost key that
// is not NoRemove as a tree, each NoRemove key by the values the script gives it). When a
// write fails, the record is restored, so the registry holds what it held before. The record
// goes to `backup` when one is given, so that the caller can undo a successful run when a
// later step of its own fails.
HRESULT RunRegistryScript(const char* script, size_t length, RegistryMode mode,
                          const std::vector<RegistryReplacement>& replacements, HKEY root = HKEY_CLASSES_ROOT,
                          RegistryBackup* backup = nullptr, REGSAM view = 0);
