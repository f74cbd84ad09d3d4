// A small stand-in for the parts of the Windows and OLE headers that the project relies
// on, with the same names and the same behaviour. Used by the native (non-Windows) build.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>

// ---- Basic types ----------------------------------------------------------------------
typedef int32_t HRESULT;
typedef int32_t SCODE;
typedef int32_t LONG;
typedef uint32_t ULONG;
typedef int32_t INT;
typedef uint32_t UINT;
typedef uint32_t DWORD;
typedef uint16_t WORD;
typedef uint16_t USHORT;
typedef int16_t SHORT;
typedef uint8_t BYTE;
typedef int64_t LONGLONG;
typedef uint64_t ULONGLONG;
typedef float FLOAT;
typedef double DOUBLE;
typedef double DATE;
typedef int BOOL;
typedef char CHAR;
typedef char16_t OLECHAR;
typedef char16_t WCHAR;
typedef OLECHAR* BSTR;
typedef OLECHAR* LPOLESTR;
typedef const OLECHAR* LPCOLESTR;
typedef const WCHAR* LPCWSTR;
typedef WCHAR* LPWSTR;
typedef char* LPSTR;
typedef const char* LPCSTR;
typedef void* LPVOID;
typedef DWORD LCID;
typedef LONG DISPID;
typedef DISPID MEMBERID;
typedef short VARIANT_BOOL;
typedef unsigned short VARTYPE;
typedef void* HINSTANCE;
typedef void* HMODULE;
typedef void* HLOCAL;
typedef void* HWND;

#define VARIANT_TRUE ((VARIANT_BOOL)-1)
#define VARIANT_FALSE ((VARIANT_BOOL)0)

#define OLESTR_(s) u##s
#define OLESTR(s) OLESTR_(s)

#ifndef TRUE
#define TRUE 1
#define FALSE 0
#endif

// ---- Calling conventions and the macros of generated interface headers ------------------
#define STDMETHODCALLTYPE
#define STDAPICALLTYPE
#define WINAPI
#define __RPC_USER
#define __RPC_FAR
#define FORCEINLINE inline
#define EXTERN_C extern "C"
#define DECLSPEC_SELECTANY
#define DECLSPEC_UUID(x)
#define DECLSPEC_NOVTABLE
#define MIDL_INTERFACE(x) struct
#define BEGIN_INTERFACE
#define END_INTERFACE
#define CONST_VTBL
#define interface struct
#define STDMETHOD(method) virtual HRESULT STDMETHODCALLTYPE method
#define STDMETHOD_(type, method) virtual type STDMETHODCALLTYPE method
#define PURE = 0
#define STDAPI EXTERN_C HRESULT STDAPICALLTYPE

// ---- Status codes ------------------------------------------------------------------------
#define S_OK ((HRESULT)0)
#define S_FALSE ((HRESULT)1)
#define E_UNEXPECTED ((HRESULT)0x8000FFFFL)
#define E_NOTIMPL ((HRESULT)0x80004001L)
#define E_NOINTERFACE ((HRESULT)0x80004002L)
#define E_POINTER ((HRESULT)0x80004003L)
#define E_ABORT ((HRESULT)0x80004004L)
#define E_FAIL ((HRESULT)0x80004005L)
#define E_OUTOFMEMORY ((HRESULT)0x8007000EL)
#define E_INVALIDARG ((HRESULT)0x80070057L)
#define E_HANDLE ((HRESULT)0x80070006L)
#define E_ACCESSDENIED ((HRESULT)0x80070005L)
#define DISP_E_UNKNOWNINTERFACE ((HRESULT)0x80020001L)
#define DISP_E_MEMBERNOTFOUND ((HRESULT)0x80020003L)
#define DISP_E_PARAMNOTFOUND ((HRESULT)0x80020004L)
#define DISP_E_TYPEMISMATCH ((HRESULT)0x80020005L)
#define DISP_E_UNKNOWNNAME ((HRESULT)0x80020006L)
#define DISP_E_NONAMEDARGS ((HRESULT)0x80020007L)
#define DISP_E_BADVARTYPE ((HRESULT)0x80020008L)
#define DISP_E_EXCEPTION ((HRESULT)0x80020009L)
#define DISP_E_BADINDEX ((HRESULT)0x8002000BL)
#define DISP_E_BADPARAMCOUNT ((HRESULT)0x8002000EL)
#define TYPE_E_REGISTRYACCESS ((HRESULT)0x8002801CL)
#define TYPE_E_LIBNOTREGISTERED ((HRESULT)0x8002801DL)
#define TYPE_E_ELEMENTNOTFOUND ((HRESULT)0x8002802BL)
#define TYPE_E_CANTLOADLIBRARY ((HRESULT)0x80029C4AL)
#define CLASS_E_NOAGGREGATION ((HRESULT)0x80040110L)
#define CLASS_E_CLASSNOTAVAILABLE ((HRESULT)0x80040111L)
#define REGDB_E_CLASSNOTREG ((HRESULT)0x80040154L)
#define SELFREG_E_TYPELIB ((HRESULT)0x80040200L)
#define SELFREG_E_CLASS ((HRESULT)0x80040201L)
#define SUCCEEDED(hr) (((HRESULT)(hr)) >= 0)
#define FAILED(hr) (((HRESULT)(hr)) < 0)
#define SEVERITY_SUCCESS 0
#define SEVERITY_ERROR 1
#define FACILITY_NULL 0
#define FACILITY_DISPATCH 2
#define FACILITY_ITF 4
#define FACILITY_WIN32 7
#define MAKE_HRESULT(sev, fac, code) ((HRESULT)(((ULONG)(sev) << 31) | ((ULONG)(fac) << 16) | ((ULONG)(code))))
#define HRESULT_CODE(hr) ((hr)&0xFFFF)
#define HRESULT_FACILITY(hr) (((hr) >> 16) & 0x1FFF)
#define HRESULT_SEVERITY(hr) (((hr) >> 31) & 0x1)
#define HRESULT_FROM_WIN32(x)                                                                                     \
    ((HRESULT)(x) <= 0 ? (HRESULT)(x) : (HRESULT)(((ULONG)(x)&0x0000FFFF) | (FACILITY_WIN32 << 16) | 0x80000000))

// ---- GUIDs -------------------------------------------------------------------------------
struct GUID {
    uint32_t Data1;
    uint16_t Data2;
    uint16_t Data3;
    uint8_t Data4[8];
};
typedef GUID IID;
typedef GUID CLSID;
typedef const GUID& REFGUID;
typedef const IID& REFIID;
typedef const CLSID& REFCLSID;

inline bool IsEqualGUID(REFGUID a, REFGUID b) { return std::memcmp(&a, &b, sizeof(GUID)) == 0; }
#define IsEqualIID(a, b) IsEqualGUID(a, b)
#define IsEqualCLSID(a, b) IsEqualGUID(a, b)
#define InlineIsEqualGUID(a, b) IsEqualGUID(a, b)

#ifdef INITGUID
#define DEFINE_GUID(name, l, w1, w2, b1, b2, b3, b4, b5, b6, b7, b8)                                       \
    EXTERN_C const GUID name = {l, w1, w2, {b1, b2, b3, b4, b5, b6, b7, b8}}
#else
#define DEFINE_GUID(name, l, w1, w2, b1, b2, b3, b4, b5, b6, b7, b8) EXTERN_C const GUID name
#endif

EXTERN_C const GUID GUID_NULL;
EXTERN_C const IID IID_NULL;
EXTERN_C const IID IID_IUnknown;
EXTERN_C const IID IID_IDispatch;
EXTERN_C const IID IID_IEnumVARIANT;
EXTERN_C const IID IID_ISupportErrorInfo;
EXTERN_C const IID IID_IErrorInfo;
EXTERN_C const IID IID_ICreateErrorInfo;
EXTERN_C const IID IID_IClassFactory;
EXTERN_C const IID IID_ITypeInfo;
EXTERN_C const IID IID_ITypeLib;

// ---- Interfaces ----------------------------------------------------------------------------
struct IUnknown {
    virtual HRESULT STDMETHODCALLTYPE QueryInterface(REFIID iid, void** object) = 0;
    virtual ULONG STDMETHODCALLTYPE AddRef() = 0;
    virtual ULONG STDMETHODCALLTYPE Release() = 0;

protected:
    ~IUnknown() = default;
};
typedef IUnknown* LPUNKNOWN;

struct IDispatch;
struct ITypeInfo;
struct tagVARIANT;
typedef tagVARIANT VARIANT;
typedef VARIANT VARIANTARG;

struct DISPPARAMS {
    VARIANTARG* rgvarg;
    DISPID* rgdispidNamedArgs;
    UINT cArgs;
    UINT cNamedArgs;
};

struct EXCEPINFO {
    WORD wCode;
    WORD wReserved;
    BSTR bstrSource;
    BSTR bstrDescription;
    BSTR bstrHelpFile;
    DWORD dwHelpContext;
    void* pvReserved;
    HRESULT(STDMETHODCALLTYPE* pfnDeferredFillIn)(EXCEPINFO*);
    SCODE scode;
};

#define DISPATCH_METHOD 0x1
#define DISPATCH_PROPERTYGET 0x2
#define DISPATCH_PROPERTYPUT 0x4
#define DISPATCH_PROPERTYPUTREF 0x8
#define DISPID_VALUE 0
#define DISPID_UNKNOWN (-1)
#define DISPID_NEWENUM (-4)

struct IDispatch : IUnknown {
    virtual HRESULT STDMETHODCALLTYPE GetTypeInfoCount(UINT* count) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetTypeInfo(UINT index, LCID lcid, ITypeInfo** info) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetIDsOfNames(REFIID iid, LPOLESTR* names, UINT count, LCID lcid,
                                                    DISPID* ids) = 0;
    virtual HRESULT STDMETHODCALLTYPE Invoke(DISPID member, REFIID iid, LCID lcid, WORD flags, DISPPARAMS* params,
                                             VARIANT* result, EXCEPINFO* exception, UINT* argumentError) = 0;
};

// Type information. Natively there is no type-library loader, so no object of these
// interfaces ever exists; they are declared slot for slot as on Windows so that code that
// holds or calls them compiles unchanged. The descriptions they return are opaque here,
// except the library attributes that unregistration reads.
struct ITypeLib;
struct ITypeComp;
struct TYPEATTR;
struct FUNCDESC;
struct VARDESC;
typedef DWORD HREFTYPE;
enum SYSKIND { SYS_WIN16 = 0, SYS_WIN32 = 1, SYS_MAC = 2, SYS_WIN64 = 3 };
enum TYPEKIND {
    TKIND_ENUM = 0,
    TKIND_RECORD,
    TKIND_MODULE,
    TKIND_INTERFACE,
    TKIND_DISPATCH,
    TKIND_COCLASS,
    TKIND_ALIAS,
    TKIND_UNION,
    TKIND_MAX
};
enum INVOKEKIND { INVOKE_FUNC = 1, INVOKE_PROPERTYGET = 2, INVOKE_PROPERTYPUT = 4, INVOKE_PROPERTYPUTREF = 8 };
struct TLIBATTR {
    GUID guid;
    LCID lcid;
    SYSKIND syskind;
    WORD wMajorVerNum;
    WORD wMinorVerNum;
    WORD wLibFlags;
};

struct ITypeInfo : IUnknown {
    virtual HRESULT STDMETHODCALLTYPE GetTypeAttr(TYPEATTR** attributes) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetTypeComp(ITypeComp** comp) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetFuncDesc(UINT index, FUNCDESC** description) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetVarDesc(UINT index, VARDESC** description) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetNames(MEMBERID member, BSTR* names, UINT maxNames, UINT* count) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetRefTypeOfImplType(UINT index, HREFTYPE* type) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetImplTypeFlags(UINT index, INT* flags) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetIDsOfNames(LPOLESTR* names, UINT count, MEMBERID* ids) = 0;
    virtual HRESULT STDMETHODCALLTYPE Invoke(void* instance, MEMBERID member, WORD flags, DISPPARAMS* params,
                                             VARIANT* result, EXCEPINFO* exception, UINT* argumentError) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetDocumentation(MEMBERID member, BSTR* name, BSTR* docString,
                                                       DWORD* helpContext, BSTR* helpFile) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetDllEntry(MEMBERID member, INVOKEKIND kind, BSTR* dllName, BSTR* name,
                                                  WORD* ordinal) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetRefTypeInfo(HREFTYPE type, ITypeInfo** info) = 0;
    virtual HRESULT STDMETHODCALLTYPE AddressOfMember(MEMBERID member, INVOKEKIND kind, void** address) = 0;
    virtual HRESULT STDMETHODCALLTYPE CreateInstance(IUnknown* outer, REFIID iid, void** object) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetMops(MEMBERID member, BSTR* mops) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetContainingTypeLib(ITypeLib** library, UINT* index) = 0;
    virtual void STDMETHODCALLTYPE ReleaseTypeAttr(TYPEATTR* attributes) = 0;
    virtual void STDMETHODCALLTYPE ReleaseFuncDesc(FUNCDESC* description) = 0;
    virtual void STDMETHODCALLTYPE ReleaseVarDesc(VARDESC* description) = 0;
};

struct ITypeLib : IUnknown {
    virtual UINT STDMETHODCALLTYPE GetTypeInfoCount() = 0;
    virtual HRESULT STDMETHODCALLTYPE GetTypeInfo(UINT index, ITypeInfo** info) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetTypeInfoType(UINT index, TYPEKIND* kind) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetTypeInfoOfGuid(REFGUID guid, ITypeInfo** info) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetLibAttr(TLIBATTR** attributes) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetTypeComp(ITypeComp** comp) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetDocumentation(INT index, BSTR* name, BSTR* docString, DWORD* helpContext,
                                                       BSTR* helpFile) = 0;
    virtual HRESULT STDMETHODCALLTYPE IsName(LPOLESTR name, ULONG hash, BOOL* found) = 0;
    virtual HRESULT STDMETHODCALLTYPE FindName(LPOLESTR name, ULONG hash, ITypeInfo** infos, MEMBERID* ids,
                                               USHORT* count) = 0;
    virtual void STDMETHODCALLTYPE ReleaseTLibAttr(TLIBATTR* attributes) = 0;
};

struct IEnumVARIANT : IUnknown {
    virtual HRESULT STDMETHODCALLTYPE Next(ULONG count, VARIANT* elements, ULONG* fetched) = 0;
    virtual HRESULT STDMETHODCALLTYPE Skip(ULONG count) = 0;
    virtual HRESULT STDMETHODCALLTYPE Reset() = 0;
    virtual HRESULT STDMETHODCALLTYPE Clone(IEnumVARIANT** result) = 0;
};

struct ISupportErrorInfo : IUnknown {
    virtual HRESULT STDMETHODCALLTYPE InterfaceSupportsErrorInfo(REFIID iid) = 0;
};

struct IErrorInfo : IUnknown {
    virtual HRESULT STDMETHODCALLTYPE GetGUID(GUID* guid) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetSource(BSTR* source) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetDescription(BSTR* description) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetHelpFile(BSTR* helpFile) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetHelpContext(DWORD* helpContext) = 0;
};

struct ICreateErrorInfo : IUnknown {
    virtual HRESULT STDMETHODCALLTYPE SetGUID(REFGUID guid) = 0;
    virtual HRESULT STDMETHODCALLTYPE SetSource(LPOLESTR source) = 0;
    virtual HRESULT STDMETHODCALLTYPE SetDescription(LPOLESTR description) = 0;
    virtual HRESULT STDMETHODCALLTYPE SetHelpFile(LPOLESTR helpFile) = 0;
    virtual HRESULT STDMETHODCALLTYPE SetHelpContext(DWORD helpContext) = 0;
};

struct IClassFactory : IUnknown {
    virtual HRESULT STDMETHODCALLTYPE CreateInstance(IUnknown* outer, REFIID iid, void** object) = 0;
    virtual HRESULT STDMETHODCALLTYPE LockServer(BOOL lock) = 0;
};

// ---- VARIANT ---------------------------------------------------------------------------
enum VARENUM : VARTYPE {
    VT_EMPTY = 0,
    VT_NULL = 1,
    VT_I2 = 2,
    VT_I4 = 3,
    VT_R4 = 4,
    VT_R8 = 5,
    VT_CY = 6,
    VT_DATE = 7,
    VT_BSTR = 8,
    VT_DISPATCH = 9,
    VT_ERROR = 10,
    VT_BOOL = 11,
    VT_VARIANT = 12,
    VT_UNKNOWN = 13,
    VT_I1 = 16,
    VT_UI1 = 17,
    VT_UI2 = 18,
    VT_UI4 = 19,
    VT_I8 = 20,
    VT_UI8 = 21,
    VT_INT = 22,
    VT_UINT = 23,
    VT_VOID = 24,
    VT_HRESULT = 25,
    VT_RECORD = 36,
    VT_VECTOR = 0x1000,
    VT_ARRAY = 0x2000,
    VT_BYREF = 0x4000,
    VT_RESERVED = 0x8000,
    VT_TYPEMASK = 0x0FFF,
};

struct tagVARIANT {
    VARTYPE vt;
    WORD wReserved1;
    WORD wReserved2;
    WORD wReserved3;
    union {
        LONGLONG llVal;
        LONG lVal;
        BYTE bVal;
        SHORT iVal;
        FLOAT fltVal;
        DOUBLE dblVal;
        VARIANT_BOOL boolVal;
        SCODE scode;
        DATE date;
        BSTR bstrVal;
        IUnknown* punkVal;
        IDispatch* pdispVal;
        INT intVal;
        UINT uintVal;
        void* byref;
        struct {
            void* pvRecord;
            void* pRecInfo;
        } brecord;
    };
};

#define V_VT(v) ((v)->vt)
#define V_ISBYREF(v) (V_VT(v) & VT_BYREF)
#define V_ISARRAY(v) (V_VT(v) & VT_ARRAY)
#define V_UI1(v) ((v)->bVal)
#define V_I2(v) ((v)->iVal)
#define V_I4(v) ((v)->lVal)
#define V_I8(v) ((v)->llVal)
#define V_R4(v) ((v)->fltVal)
#define V_R8(v) ((v)->dblVal)
#define V_DATE(v) ((v)->date)
#define V_UINT(v) ((v)->uintVal)
#define V_BYREF(v) ((v)->byref)
#define V_BOOL(v) ((v)->boolVal)
#define V_ERROR(v) ((v)->scode)
#define V_BSTR(v) ((v)->bstrVal)
#define V_DISPATCH(v) ((v)->pdispVal)
#define V_UNKNOWN(v) ((v)->punkVal)
#define V_INT(v) ((v)->intVal)

void VariantInit(VARIANT* v);
HRESULT VariantClear(VARIANT* v);
HRESULT VariantCopy(VARIANT* destination, const VARIANT* source);

// ---- BSTR: a length-prefixed, NUL-terminated string of 16-bit characters --------------------
BSTR SysAllocString(const OLECHAR* text);
BSTR SysAllocStringLen(const OLECHAR* text, UINT length);
BSTR SysAllocStringByteLen(LPCSTR bytes, UINT byteLength);
UINT SysStringLen(BSTR text);
UINT SysStringByteLen(BSTR text);
void SysFreeString(BSTR text);

// ---- Code pages: the ANSI code page of this layer is Windows-1252 -------------------------
#define CP_ACP 0
#define CP_1252 1252
// Code page 1252 has no best-fit mappings here: characters it lacks always become the
// default character, as on Windows when this flag is given.
#define WC_NO_BEST_FIT_CHARS 0x00000400

int WideCharToMultiByte(UINT codePage, DWORD flags, LPCWSTR wide, int wideLen, LPSTR narrow, int narrowLen,
                        LPCSTR defaultChar, BOOL* usedDefault);
int MultiByteToWideChar(UINT codePage, DWORD flags, LPCSTR narrow, int narrowLen, LPWSTR wide, int wideLen);

// ---- Error information, per thread ----------------------------------------------------------
HRESULT CreateErrorInfo(ICreateErrorInfo** result);
HRESULT SetErrorInfo(ULONG reserved, IErrorInfo* info);
HRESULT GetErrorInfo(ULONG reserved, IErrorInfo** info);

// ---- Memory, registry look-ups, type libraries -------------------------------------------------
LPVOID CoTaskMemAlloc(size_t size);
void CoTaskMemFree(LPVOID block);
// The registry form of a GUID, "{XXXXXXXX-XXXX-XXXX-XXXX-XXXXXXXXXXXX}" in upper case: 38
// characters and a terminator.
int StringFromGUID2(REFGUID guid, LPOLESTR buffer, int size);
// The same, as a new task-memory string that the caller frees with CoTaskMemFree.
HRESULT StringFromCLSID(REFCLSID clsid, LPOLESTR* text);
// The registered ProgID of a class (HKEY_CLASSES_ROOT\CLSID\{clsid}\ProgID);
// REGDB_E_CLASSNOTREG when the class is not registered.
HRESULT ProgIDFromCLSID(REFCLSID clsid, LPOLESTR* progId);

// ---- HKEY_CLASSES_ROOT, kept in memory for the process -----------------------------------
typedef struct HKEY__* HKEY;
typedef DWORD REGSAM;
#define HKEY_CLASSES_ROOT ((HKEY)(uintptr_t)0x80000000u)
#define ERROR_SUCCESS 0L
#define ERROR_FILE_NOT_FOUND 2L
#define ERROR_ACCESS_DENIED 5L
#define ERROR_INVALID_HANDLE 6L
#define ERROR_OUTOFMEMORY 14L
#define ERROR_INVALID_PARAMETER 87L
#define ERROR_INSUFFICIENT_BUFFER 122L
#define ERROR_MORE_DATA 234L
#define ERROR_KEY_DELETED 1018L
#define REG_NONE 0
#define REG_SZ 1
#define REG_EXPAND_SZ 2
#define REG_BINARY 3
#define REG_DWORD 4
#define REG_OPTION_NON_VOLATILE 0
#define REG_CREATED_NEW_KEY 1
#define REG_OPENED_EXISTING_KEY 2
#define KEY_READ 0x20019
#define KEY_WRITE 0x20006
#define KEY_ALL_ACCESS 0xF003F
LONG RegCreateKeyExW(HKEY parent, LPCWSTR subKey, DWORD reserved, LPWSTR keyClass, DWORD options, REGSAM access,
                     void* security, HKEY* result, DWORD* disposition);
LONG RegOpenKeyExW(HKEY parent, LPCWSTR subKey, DWORD options, REGSAM access, HKEY* result);
LONG RegCloseKey(HKEY key);
LONG RegSetValueExW(HKEY key, LPCWSTR name, DWORD reserved, DWORD type, const BYTE* data, DWORD size);
LONG RegQueryValueExW(HKEY key, LPCWSTR name, DWORD* reserved, DWORD* type, BYTE* data, DWORD* size);
LONG RegDeleteTreeW(HKEY key, LPCWSTR subKey);
LONG RegDeleteKeyW(HKEY key, LPCWSTR subKey);

// ---- Type libraries: natively none can be loaded -------------------------------------------
// The loaders fail with TYPE_E_LIBNOTREGISTERED (and set the result to null), so the
// component's IDispatch side fails with that code while calls through its interfaces work.
// RegisterTypeLib never gets a library to register; UnRegisterTypeLib finds none.
HRESULT LoadRegTypeLib(REFGUID libid, WORD major, WORD minor, LCID lcid, ITypeLib** library);
HRESULT LoadTypeLib(LPCOLESTR file, ITypeLib** library);
HRESULT RegisterTypeLib(ITypeLib* library, LPOLESTR fullPath, LPOLESTR helpDir);
HRESULT UnRegisterTypeLib(REFGUID libid, WORD major, WORD minor, LCID lcid, SYSKIND kind);

// ---- Modules and string tables ------------------------------------------------------------
// Natively a module's string table is registered by code generated from its resource
// script (scripts/rc_strings.py); FindResourceA and LoadStringA then find its entries.
typedef struct HRSRC__* HRSRC;
#define MAKEINTRESOURCEA(i) ((LPCSTR)(uintptr_t)(WORD)(i))
#define RT_STRING MAKEINTRESOURCEA(6)
struct StringTableEntry {
    UINT id;
    const char* text;
};
bool RegisterStringTable(HINSTANCE module, const StringTableEntry* entries, size_t count);
// Natively the program and the component linked into it are one module, whose handle
// GetModuleHandleW(nullptr) gives.
HMODULE GetModuleHandleW(LPCWSTR name);
HRSRC FindResourceA(HMODULE module, LPCSTR name, LPCSTR type);
int LoadStringA(HINSTANCE module, UINT id, LPSTR buffer, int size);

// The full path of the module's file (natively: the running program); the length copied,
// or the buffer size with a truncated, terminated path when the buffer is too small;
// 0 for a module this layer does not know.
#define MAX_PATH 260
DWORD GetModuleFileNameW(HMODULE module, LPWSTR buffer, DWORD size);
BOOL DisableThreadLibraryCalls(HMODULE module);

// The thread's preferred user-interface languages as names ("de-DE"), a list of strings
// each ending in a NUL and the list ending in one more. Natively there is one language,
// taken from LC_ALL, LC_MESSAGES or LANG ("de_DE.UTF-8" gives "de-DE"; none gives "en-US").
#define MUI_LANGUAGE_ID 0x4
#define MUI_LANGUAGE_NAME 0x8
#define MUI_MERGE_SYSTEM_FALLBACK 0x10
#define MUI_MERGE_USER_FALLBACK 0x20
BOOL GetThreadPreferredUILanguages(DWORD flags, ULONG* count, LPWSTR buffer, ULONG* size);

BOOL PathFileExistsW(LPCWSTR path);
// Natively no library can be loaded (there is no loader for Windows images): always null,
// so the component keeps its own resources.
#define LOAD_LIBRARY_AS_DATAFILE 0x00000002
#define LOAD_LIBRARY_AS_IMAGE_RESOURCE 0x00000020
#define LOAD_LIBRARY_AS_DATAFILE_EXCLUSIVE 0x00000040
HMODULE LoadLibraryExW(LPCWSTR file, void* reserved, DWORD flags);
BOOL FreeLibrary(HMODULE module);

// ---- Message boxes: natively the caption and text go to standard error ---------------------
#define MB_OK 0x00000000L
int MessageBoxA(HWND owner, LPCSTR text, LPCSTR caption, UINT type);

// ---- Messages --------------------------------------------------------------------------------
#define FORMAT_MESSAGE_ALLOCATE_BUFFER 0x00000100
#define FORMAT_MESSAGE_IGNORE_INSERTS 0x00000200
#define FORMAT_MESSAGE_FROM_SYSTEM 0x00001000
#define LANG_NEUTRAL 0x00
#define SUBLANG_DEFAULT 0x01
#define MAKELANGID(p, s) ((((WORD)(s)) << 10) | (WORD)(p))
// There is no system message table natively: always 0, so callers use their fallback text.
DWORD FormatMessageA(DWORD flags, const void* source, DWORD messageId, DWORD languageId, LPSTR buffer, DWORD size,
                     void* arguments);
HLOCAL LocalFree(HLOCAL memory);
