// Type libraries of the native build: the attributes of a library, read from the header of
// its "MSFT" file format, and its registration under HKEY_CLASSES_ROOT\TypeLib (or, for one
// user, HKEY_CURRENT_USER\Software\Classes\TypeLib). There is no
// type information natively, so a registered library cannot be loaded for IDispatch.
//
// The parts of the format read here: a header of 21 little-endian 32-bit fields at offset 0
// ("MSFT", format version, offset of the library's GUID in the GUID table, lcid, lcid of the
// attributes, flags whose low four bits are the SYSKIND, version (major in the low 16 bits),
// library flags, number of type infos, help string, help string context, help context, name
// table count and size, name offset, help file, custom data, two hash sizes, IDispatch
// reference, number of imports); an optional 32-bit help DLL field when bit 0x100 of the flags
// is set; one 32-bit offset per type info; then a directory of 15 segments of four 32-bit
// fields (offset, length, two reserved), of which the 6th is the GUID table (entries of a
// GUID and two 32-bit fields), the 8th the name table (entries of three 32-bit fields, the
// last holding the length in its low byte, then the characters) and the 9th the string table
// (a 16-bit length, then the characters). The file may be anything: every read is checked
// against its size.
#include "platform/posix/internal.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <new>
#include <string>

namespace {

using Text = std::u16string;

// Where a library's bytes come from: memory (a module's resource) or an open file.
class Source {
public:
    Source(const void* data, uint64_t size) : m_pData(static_cast<const unsigned char*>(data)), m_nSize(size) {}
    Source(int fd, uint64_t size) : m_nFd(fd), m_nSize(size) {}

    uint64_t Size() const { return m_nSize; }

    // Reads count bytes at offset; false when any of them lies outside the data.
    bool Read(uint64_t offset, size_t count, void* out) const {
        if (offset > m_nSize || count > m_nSize - offset) return false;
        if (m_pData) {
            std::memcpy(out, m_pData + offset, count);
            return true;
        }
        auto* to = static_cast<unsigned char*>(out);
        while (count) {
            const ssize_t n = pread(m_nFd, to, count, static_cast<off_t>(offset));
            if (n <= 0) return false;
            to += n;
            offset += static_cast<uint64_t>(n);
            count -= static_cast<size_t>(n);
        }
        return true;
    }

private:
    const unsigned char* m_pData = nullptr;
    int m_nFd = -1;
    uint64_t m_nSize = 0;
};

uint32_t Le32(const unsigned char* p) { return p[0] | (p[1] << 8) | (p[2] << 16) | (uint32_t(p[3]) << 24); }
uint16_t Le16(const unsigned char* p) { return static_cast<uint16_t>(p[0] | (p[1] << 8)); }

struct Segment {
    uint64_t offset = 0;
    uint64_t length = 0;
    bool present = false;
};

// What this layer knows of a library.
struct LibraryInfo {
    TLIBATTR attr = {};
    Text name;
    Text doc;
    Text helpFile;
    bool hasDoc = false;
    bool hasHelpFile = false;
    DWORD helpContext = 0;
};

const uint32_t kMagic = 0x5446534D; // "MSFT"
const size_t kHeaderSize = 0x54;
const uint32_t kHelpDllFlag = 0x100;
const size_t kSegments = 15;
const size_t kGuidSegment = 5;
const size_t kNameSegment = 7;
const size_t kStringSegment = 8;

Text Ansi(const std::string& bytes) {
    Text out(bytes.size(), u'\0');
    if (!bytes.empty())
        MultiByteToWideChar(CP_ACP, 0, bytes.data(), static_cast<int>(bytes.size()), &out[0],
                            static_cast<int>(out.size()));
    return out;
}

// Reads `count` bytes at `at` within a segment.
bool ReadIn(const Source& source, const Segment& segment, uint64_t at, size_t count, void* out) {
    if (!segment.present || at > segment.length || count > segment.length - at) return false;
    return source.Read(segment.offset + at, count, out);
}

// An entry of the string table: a 16-bit length and that many ANSI characters.
bool ReadString(const Source& source, const Segment& strings, int32_t offset, Text& out) {
    if (offset < 0) return false;
    unsigned char length[2];
    if (!ReadIn(source, strings, static_cast<uint64_t>(offset), 2, length)) return false;
    const int16_t n = static_cast<int16_t>(Le16(length));
    std::string bytes(n > 0 ? static_cast<size_t>(n) : 0, '\0');
    if (n > 0 && !ReadIn(source, strings, static_cast<uint64_t>(offset) + 2, bytes.size(), &bytes[0])) return false;
    out = Ansi(bytes);
    return true;
}

// An entry of the name table: three 32-bit fields, the length in the low byte of the third,
// then the characters.
bool ReadName(const Source& source, const Segment& names, int32_t offset, Text& out) {
    if (offset < 0) return false;
    unsigned char intro[12];
    if (!ReadIn(source, names, static_cast<uint64_t>(offset), sizeof intro, intro)) return false;
    std::string bytes(Le32(intro + 8) & 0xFF, '\0');
    if (!bytes.empty() && !ReadIn(source, names, static_cast<uint64_t>(offset) + 12, bytes.size(), &bytes[0]))
        return false;
    out = Ansi(bytes);
    return true;
}

// False for anything that is not an intact header of an MSFT library.
bool Parse(const Source& source, LibraryInfo& info) {
    unsigned char header[kHeaderSize];
    if (!source.Read(0, sizeof header, header) || Le32(header) != kMagic) return false;
    auto field = [&](size_t index) { return static_cast<int32_t>(Le32(header + 4 * index)); };
    const int32_t posGuid = field(2);
    const uint32_t varFlags = static_cast<uint32_t>(field(5));
    const uint32_t version = static_cast<uint32_t>(field(6));
    const int32_t typeInfos = field(8);
    if (typeInfos < 0) return false;

    // The segment directory follows the header, the help DLL field and the type info offsets.
    const uint64_t directory = kHeaderSize + ((varFlags & kHelpDllFlag) ? 4 : 0) + 4 * uint64_t(typeInfos);
    unsigned char entries[kSegments * 16];
    if (!source.Read(directory, sizeof entries, entries)) return false;
    Segment segments[kSegments];
    for (size_t i = 0; i < kSegments; ++i) {
        const int32_t offset = static_cast<int32_t>(Le32(entries + 16 * i));
        const int32_t length = static_cast<int32_t>(Le32(entries + 16 * i + 4));
        if (offset < 0 || length < 0) continue; // an absent segment
        segments[i].offset = static_cast<uint64_t>(offset);
        segments[i].length = static_cast<uint64_t>(length);
        if (segments[i].offset + segments[i].length > source.Size()) return false;
        segments[i].present = true;
    }

    info.attr.guid = GUID_NULL;
    if (posGuid != -1) {
        unsigned char g[16];
        if (posGuid < 0 || !ReadIn(source, segments[kGuidSegment], static_cast<uint64_t>(posGuid), sizeof g, g))
            return false;
        info.attr.guid.Data1 = Le32(g);
        info.attr.guid.Data2 = Le16(g + 4);
        info.attr.guid.Data3 = Le16(g + 6);
        std::memcpy(info.attr.guid.Data4, g + 8, 8);
    }
    info.attr.lcid = static_cast<LCID>(field(4));
    info.attr.syskind = static_cast<SYSKIND>(varFlags & 0xF);
    info.attr.wMajorVerNum = static_cast<WORD>(version & 0xFFFF);
    info.attr.wMinorVerNum = static_cast<WORD>(version >> 16);
    // Loaded from a file or a module's image, as every library here is.
    info.attr.wLibFlags = static_cast<WORD>((field(7) & 0xFFFF) | LIBFLAG_FHASDISKIMAGE);
    info.helpContext = static_cast<DWORD>(field(11));

    if (field(14) != -1 && !ReadName(source, segments[kNameSegment], field(14), info.name)) return false;
    if (field(9) != -1) {
        if (!ReadString(source, segments[kStringSegment], field(9), info.doc)) return false;
        info.hasDoc = true;
    }
    if (field(15) != -1) {
        if (!ReadString(source, segments[kStringSegment], field(15), info.helpFile)) return false;
        info.hasHelpFile = true;
    }
    return true;
}

BSTR Copy(const Text& text) { return SysAllocStringLen(text.data(), static_cast<UINT>(text.size())); }

class CTypeLib final : public ITypeLib {
public:
    explicit CTypeLib(LibraryInfo info) : m_Info(std::move(info)) {}

    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID iid, void** object) override {
        if (!object) return E_POINTER;
        *object = nullptr;
        if (!IsEqualGUID(iid, IID_IUnknown) && !IsEqualGUID(iid, IID_ITypeLib)) return E_NOINTERFACE;
        *object = static_cast<ITypeLib*>(this);
        AddRef();
        return S_OK;
    }
    ULONG STDMETHODCALLTYPE AddRef() override { return ++m_nRef; }
    ULONG STDMETHODCALLTYPE Release() override {
        const ULONG n = --m_nRef;
        if (!n) delete this;
        return n;
    }

    // No type information natively.
    UINT STDMETHODCALLTYPE GetTypeInfoCount() override { return 0; }
    HRESULT STDMETHODCALLTYPE GetTypeInfo(UINT, ITypeInfo** info) override { return NoInfo(info); }
    HRESULT STDMETHODCALLTYPE GetTypeInfoType(UINT, TYPEKIND*) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE GetTypeInfoOfGuid(REFGUID, ITypeInfo** info) override { return NoInfo(info); }
    HRESULT STDMETHODCALLTYPE GetTypeComp(ITypeComp** comp) override {
        if (comp) *comp = nullptr;
        return E_NOTIMPL;
    }
    HRESULT STDMETHODCALLTYPE IsName(LPOLESTR, ULONG, BOOL*) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE FindName(LPOLESTR, ULONG, ITypeInfo**, MEMBERID*, USHORT*) override {
        return E_NOTIMPL;
    }

    HRESULT STDMETHODCALLTYPE GetLibAttr(TLIBATTR** attributes) override {
        if (!attributes) return E_INVALIDARG;
        *attributes = static_cast<TLIBATTR*>(CoTaskMemAlloc(sizeof(TLIBATTR)));
        if (!*attributes) return E_OUTOFMEMORY;
        **attributes = m_Info.attr;
        return S_OK;
    }
    void STDMETHODCALLTYPE ReleaseTLibAttr(TLIBATTR* attributes) override { CoTaskMemFree(attributes); }

    // The library's own documentation (index -1); there are no type infos to document.
    HRESULT STDMETHODCALLTYPE GetDocumentation(INT index, BSTR* name, BSTR* doc, DWORD* helpContext,
                                               BSTR* helpFile) override {
        if (index != -1) return TYPE_E_ELEMENTNOTFOUND;
        BSTR n = nullptr, d = nullptr, f = nullptr;
        bool ok = true;
        if (name) ok = (n = Copy(m_Info.name)) != nullptr;
        if (ok && doc && m_Info.hasDoc) ok = (d = Copy(m_Info.doc)) != nullptr;
        if (ok && helpFile && m_Info.hasHelpFile) ok = (f = Copy(m_Info.helpFile)) != nullptr;
        if (!ok) {
            SysFreeString(n);
            SysFreeString(d);
            return E_OUTOFMEMORY;
        }
        if (name) *name = n;
        if (doc) *doc = d;
        if (helpFile) *helpFile = f;
        if (helpContext) *helpContext = m_Info.helpContext;
        return S_OK;
    }

private:
    static HRESULT NoInfo(ITypeInfo** info) {
        if (info) *info = nullptr;
        return E_NOTIMPL;
    }

    std::atomic<ULONG> m_nRef{1};
    const LibraryInfo m_Info;
};

// ---- Registry helpers ------------------------------------------------------------------------

Text Hex(uint32_t value) {
    const char* digits = "0123456789abcdef";
    Text out;
    do {
        out.insert(out.begin(), static_cast<char16_t>(digits[value & 0xF]));
        value >>= 4;
    } while (value);
    return out;
}

Text Decimal(uint32_t value) {
    Text out;
    do {
        out.insert(out.begin(), static_cast<char16_t>(u'0' + value % 10));
        value /= 10;
    } while (value);
    return out;
}

Text LibraryKey(REFGUID libid) {
    OLECHAR guid[39];
    StringFromGUID2(libid, guid, 39);
    return u"TypeLib\\" + Text(guid);
}

Text VersionName(WORD major, WORD minor) { return Hex(major) + u"." + Hex(minor); }

const char16_t* SyskindName(SYSKIND kind) {
    switch (kind) {
    case SYS_WIN16: return u"win16";
    case SYS_WIN32: return u"win32";
    case SYS_MAC: return u"mac";
    case SYS_WIN64: return u"win64";
    }
    return nullptr;
}

bool SetString(HKEY key, const Text& value) {
    return RegSetValueExW(key, nullptr, 0, REG_SZ, reinterpret_cast<const BYTE*>(value.c_str()),
                          static_cast<DWORD>((value.size() + 1) * sizeof(OLECHAR))) == ERROR_SUCCESS;
}

// Creates a key below another and sets its default value.
bool CreateWithValue(HKEY parent, const Text& sub, const Text& value, DWORD* disposition = nullptr) {
    HKEY key = nullptr;
    if (RegCreateKeyExW(parent, sub.c_str(), 0, nullptr, REG_OPTION_NON_VOLATILE, KEY_WRITE, nullptr, &key,
                        disposition) != ERROR_SUCCESS)
        return false;
    const bool ok = SetString(key, value);
    RegCloseKey(key);
    return ok;
}

// The default value of a key as text; false when the key or the value is missing.
bool QueryString(HKEY parent, const Text& sub, Text& out) {
    HKEY key = nullptr;
    if (RegOpenKeyExW(parent, sub.c_str(), 0, KEY_READ, &key) != ERROR_SUCCESS) return false;
    DWORD size = 0;
    DWORD type = REG_NONE;
    bool ok = RegQueryValueExW(key, nullptr, nullptr, &type, nullptr, &size) == ERROR_SUCCESS &&
              (type == REG_SZ || type == REG_EXPAND_SZ);
    if (ok) {
        try {
            Text value(size / sizeof(OLECHAR) + 1, u'\0');
            ok = RegQueryValueExW(key, nullptr, nullptr, nullptr, reinterpret_cast<BYTE*>(&value[0]), &size) ==
                 ERROR_SUCCESS;
            value.resize(std::min<size_t>(size / sizeof(OLECHAR), value.size()));
            while (!value.empty() && value.back() == 0) value.pop_back();
            out = value;
        } catch (const std::bad_alloc&) {
            ok = false;
        }
    }
    RegCloseKey(key);
    return ok;
}

// Key names compare without regard to case.
bool SameName(const Text& name, const char16_t* expected) {
    size_t i = 0;
    for (; i < name.size() && expected[i]; ++i) {
        char16_t c = name[i];
        if (c >= u'a' && c <= u'z') c = static_cast<char16_t>(c - u'a' + u'A');
        if (c != expected[i]) return false;
    }
    return i == name.size() && !expected[i];
}

// "maj.min" in hexadecimal, as version keys are named.
bool ParseVersion(const Text& name, WORD& major, WORD& minor) {
    uint32_t parts[2] = {0, 0};
    size_t part = 0, digits = 0;
    for (char16_t c : name) {
        int v = c >= u'0' && c <= u'9' ? c - u'0' : c >= u'a' && c <= u'f' ? c - u'a' + 10
                : c >= u'A' && c <= u'F' ? c - u'A' + 10 : -1;
        if (c == u'.' && part == 0 && digits) {
            part = 1;
            digits = 0;
            continue;
        }
        if (v < 0 || ++digits > 4) return false;
        parts[part] = parts[part] * 16 + static_cast<uint32_t>(v);
    }
    if (part != 1 || !digits) return false;
    major = static_cast<WORD>(parts[0]);
    minor = static_cast<WORD>(parts[1]);
    return true;
}

} // namespace

HRESULT LoadTypeLibEx(LPCOLESTR file, REGKIND kind, ITypeLib** library) {
    if (!library) return E_INVALIDARG;
    *library = nullptr;
    if (!file) return E_INVALIDARG;
    const std::string given = Utf16ToUtf8(file);
    if (given.empty()) return TYPE_E_CANTLOADLIBRARY;
    const std::string path = tarvolin_posix::AbsolutePath(given);

    LibraryInfo info;
    bool parsed = false;
    if (HMODULE module = tarvolin_posix::ModuleOfFile(path)) {
        // A loaded module: its type library is its TYPELIB resource 1.
        HRSRC resource = FindResourceW(module, MAKEINTRESOURCEW(1), u"TYPELIB");
        const void* data = resource ? LockResource(LoadResource(module, resource)) : nullptr;
        if (data) parsed = Parse(Source(data, SizeofResource(module, resource)), info);
    } else {
        const int fd = open(path.c_str(), O_RDONLY | O_CLOEXEC);
        if (fd >= 0) {
            struct stat st;
            if (fstat(fd, &st) == 0 && S_ISREG(st.st_mode))
                parsed = Parse(Source(fd, static_cast<uint64_t>(st.st_size)), info);
            close(fd);
        }
    }
    if (!parsed) return TYPE_E_CANTLOADLIBRARY;

    CTypeLib* loaded = new (std::nothrow) CTypeLib(std::move(info));
    if (!loaded) return E_OUTOFMEMORY;
    // As on Windows, the default registers a library given without a full path.
    if (kind == REGKIND_REGISTER || (kind == REGKIND_DEFAULT && given[0] != '/')) {
        const Text full = Utf8ToUtf16(path);
        const HRESULT hr = RegisterTypeLib(loaded, const_cast<LPOLESTR>(full.c_str()), nullptr);
        if (FAILED(hr)) {
            loaded->Release();
            return hr;
        }
    }
    *library = loaded;
    return S_OK;
}

HRESULT LoadTypeLib(LPCOLESTR file, ITypeLib** library) { return LoadTypeLibEx(file, REGKIND_DEFAULT, library); }

namespace {

// The classes of the current user, HKEY_CURRENT_USER\Software\Classes, created when asked to.
HKEY UserClasses(bool create) {
    HKEY key = nullptr;
    const LONG rc = create ? RegCreateKeyExW(HKEY_CURRENT_USER, u"Software\\Classes", 0, nullptr,
                                             REG_OPTION_NON_VOLATILE, KEY_ALL_ACCESS, nullptr, &key, nullptr)
                           : RegOpenKeyExW(HKEY_CURRENT_USER, u"Software\\Classes", 0, KEY_ALL_ACCESS, &key);
    return rc == ERROR_SUCCESS ? key : nullptr;
}

// Registration below `root`: HKEY_CLASSES_ROOT or the user's classes.
HRESULT RegisterBelow(HKEY root, ITypeLib* library, LPOLESTR fullPath, LPOLESTR helpDir) {
    if (!library || !fullPath) return E_INVALIDARG;
    TLIBATTR* attr = nullptr;
    HRESULT hr = library->GetLibAttr(&attr);
    if (FAILED(hr)) return hr;
    const TLIBATTR a = *attr;
    library->ReleaseTLibAttr(attr);
    const char16_t* platform = SyskindName(a.syskind);
    if (!platform) return E_FAIL;

    try {
        // The library's help string names the version; without one the name is empty.
        BSTR doc = nullptr;
        Text title;
        if (SUCCEEDED(library->GetDocumentation(-1, nullptr, &doc, nullptr, nullptr)) && doc) title = doc;
        SysFreeString(doc);

        HKEY version = nullptr;
        const Text versionKey = LibraryKey(a.guid) + u"\\" + VersionName(a.wMajorVerNum, a.wMinorVerNum);
        if (RegCreateKeyExW(root, versionKey.c_str(), 0, nullptr, REG_OPTION_NON_VOLATILE, KEY_WRITE,
                            nullptr, &version, nullptr) != ERROR_SUCCESS)
            return TYPE_E_REGISTRYACCESS;
        // The flags without LIBFLAG_FHASDISKIMAGE, which only says how the library was loaded.
        bool ok = SetString(version, title) && CreateWithValue(version, Hex(a.lcid) + u"\\" + platform, fullPath) &&
                  CreateWithValue(version, u"FLAGS", Decimal(a.wLibFlags & ~LIBFLAG_FHASDISKIMAGE));
        if (ok) {
            // HELPDIR: the given directory, or on first registration the library's own.
            HKEY help = nullptr;
            DWORD disposition = 0;
            ok = RegCreateKeyExW(version, u"HELPDIR", 0, nullptr, REG_OPTION_NON_VOLATILE, KEY_WRITE, nullptr, &help,
                                 &disposition) == ERROR_SUCCESS;
            if (ok && helpDir) {
                ok = SetString(help, helpDir);
            } else if (ok && disposition == REG_CREATED_NEW_KEY) {
                Text dir = fullPath;
                const size_t slash = dir.find_last_of(u"/\\");
                if (slash != Text::npos) dir.resize(slash);
                ok = SetString(help, dir);
            }
            if (help) RegCloseKey(help);
        }
        RegCloseKey(version);
        return ok ? S_OK : TYPE_E_REGISTRYACCESS;
    } catch (const std::bad_alloc&) {
        return E_OUTOFMEMORY;
    }
}

HRESULT UnregisterBelow(HKEY root, REFGUID libid, WORD major, WORD minor, LCID lcid, SYSKIND kind) {
    const char16_t* platform = SyskindName(kind);
    if (!platform) return E_INVALIDARG;
    try {
        const Text libraryKey = LibraryKey(libid);
        const Text versionKey = libraryKey + u"\\" + VersionName(major, minor);
        const Text lcidKey = Hex(lcid);
        HKEY version = nullptr;
        if (RegOpenKeyExW(root, versionKey.c_str(), 0, KEY_ALL_ACCESS, &version) != ERROR_SUCCESS)
            return E_INVALIDARG;
        Text path;
        if (!QueryString(version, lcidKey + u"\\" + platform, path)) {
            RegCloseKey(version);
            return E_INVALIDARG;
        }
        // As on Windows, the library must still be there to be unregistered.
        ITypeLib* library = nullptr;
        if (FAILED(LoadTypeLibEx(path.c_str(), REGKIND_NONE, &library))) {
            RegCloseKey(version);
            return TYPE_E_INVALIDSTATE;
        }
        library->Release();

        RegDeleteKeyW(version, (lcidKey + u"\\" + platform).c_str());
        RegDeleteKeyW(version, lcidKey.c_str()); // stays while it holds other platforms
        // The version goes when only FLAGS and HELPDIR are left in it; the library when no
        // version is left.
        bool others = false;
        for (DWORD i = 0;; ++i) {
            OLECHAR name[256];
            DWORD length = 256;
            if (RegEnumKeyExW(version, i, name, &length, nullptr, nullptr, nullptr, nullptr) != ERROR_SUCCESS) break;
            const Text sub(name, length);
            if (!SameName(sub, u"FLAGS") && !SameName(sub, u"HELPDIR")) {
                others = true;
                break;
            }
        }
        if (!others) {
            RegDeleteKeyW(version, u"FLAGS");
            RegDeleteKeyW(version, u"HELPDIR");
        }
        RegCloseKey(version);
        if (!others) {
            RegDeleteKeyW(root, versionKey.c_str());
            RegDeleteKeyW(root, libraryKey.c_str()); // stays while it holds other versions
        }
        return S_OK;
    } catch (const std::bad_alloc&) {
        return E_OUTOFMEMORY;
    }
}

} // namespace

HRESULT RegisterTypeLib(ITypeLib* library, LPOLESTR fullPath, LPOLESTR helpDir) {
    return RegisterBelow(HKEY_CLASSES_ROOT, library, fullPath, helpDir);
}

HRESULT UnRegisterTypeLib(REFGUID libid, WORD major, WORD minor, LCID lcid, SYSKIND kind) {
    return UnregisterBelow(HKEY_CLASSES_ROOT, libid, major, minor, lcid, kind);
}

HRESULT RegisterTypeLibForUser(ITypeLib* library, OLECHAR* fullPath, OLECHAR* helpDir) {
    if (!library || !fullPath) return E_INVALIDARG;
    HKEY classes = UserClasses(true);
    if (!classes) return TYPE_E_REGISTRYACCESS;
    const HRESULT hr = RegisterBelow(classes, library, fullPath, helpDir);
    RegCloseKey(classes);
    return hr;
}

HRESULT UnRegisterTypeLibForUser(REFGUID libid, WORD major, WORD minor, LCID lcid, SYSKIND kind) {
    HKEY classes = UserClasses(false);
    if (!classes) return E_INVALIDARG; // as for a version that is not registered
    const HRESULT hr = UnregisterBelow(classes, libid, major, minor, lcid, kind);
    RegCloseKey(classes);
    return hr;
}

HRESULT QueryPathOfRegTypeLib(REFGUID libid, WORD major, WORD minor, LCID lcid, BSTR* path) {
    if (!path) return E_INVALIDARG;
    *path = nullptr;
    try {
        // The user's registration before the machine's, as in Windows' merged view.
        HKEY library = nullptr;
        const Text key = LibraryKey(libid);
        if (RegOpenKeyExW(HKEY_CURRENT_USER, (u"Software\\Classes\\" + key).c_str(), 0, KEY_READ, &library) !=
                ERROR_SUCCESS &&
            RegOpenKeyExW(HKEY_CLASSES_ROOT, key.c_str(), 0, KEY_READ, &library) != ERROR_SUCCESS)
            return TYPE_E_LIBNOTREGISTERED;
        // The requested version, or else the same major version with the greatest higher minor.
        bool found = false;
        WORD best = 0;
        for (DWORD i = 0;; ++i) {
            OLECHAR name[256];
            DWORD length = 256;
            if (RegEnumKeyExW(library, i, name, &length, nullptr, nullptr, nullptr, nullptr) != ERROR_SUCCESS) break;
            WORD vMajor = 0, vMinor = 0;
            if (!ParseVersion(Text(name, length), vMajor, vMinor) || vMajor != major || vMinor < minor) continue;
            if (!found || vMinor == minor || (best != minor && vMinor > best)) best = vMinor;
            found = true;
        }
        // The locale asked for, then its primary language, then the neutral one; this
        // process's platform first.
        Text value;
        bool have = false;
        if (found) {
            const Text version = VersionName(major, best) + u"\\";
            const LCID tries[] = {lcid, PRIMARYLANGID(lcid), 0};
            for (size_t t = 0; t < 3 && !have; ++t) {
                if (t && tries[t] == tries[t - 1]) continue;
                for (const char16_t* platform : {u"win64", u"win32"})
                    if (!have) have = QueryString(library, version + Hex(tries[t]) + u"\\" + platform, value);
            }
        }
        RegCloseKey(library);
        if (!have) return TYPE_E_LIBNOTREGISTERED;
        *path = SysAllocString(value.c_str());
        return *path ? S_OK : E_OUTOFMEMORY;
    } catch (const std::bad_alloc&) {
        return E_OUTOFMEMORY;
    }
}

HRESULT LoadRegTypeLib(REFGUID libid, WORD major, WORD minor, LCID lcid, ITypeLib** library) {
    if (!library) return E_INVALIDARG;
    *library = nullptr;
    BSTR path = nullptr;
    const HRESULT hr = QueryPathOfRegTypeLib(libid, major, minor, lcid, &path);
    SysFreeString(path);
    // Registered, but without type information the library is of no use to its callers.
    return FAILED(hr) ? hr : TYPE_E_CANTLOADLIBRARY;
}
