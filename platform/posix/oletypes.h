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
typedef intptr_t INT_PTR;
typedef uintptr_t UINT_PTR;
typedef intptr_t LONG_PTR;
typedef uintptr_t ULONG_PTR;
typedef const void* LPCVOID;
typedef void* HANDLE;
typedef void* HINSTANCE;
typedef void* HMODULE;
typedef void* HLOCAL;
typedef void* HGLOBAL;
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
#define TYPE_E_INVDATAREAD ((HRESULT)0x80028018L)
#define TYPE_E_UNSUPFORMAT ((HRESULT)0x80028019L)
#define TYPE_E_REGISTRYACCESS ((HRESULT)0x8002801CL)
#define TYPE_E_LIBNOTREGISTERED ((HRESULT)0x8002801DL)
#define TYPE_E_INVALIDSTATE ((HRESULT)0x80028029L)
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

// Type information. Natively a type library can be loaded for its attributes (LoadTypeLib),
// but there is no type information: no ITypeInfo object ever exists. The interfaces are
// declared slot for slot as on Windows so that code that holds or calls them compiles
// unchanged; the descriptions they return are opaque here, except the library attributes.
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
enum LIBFLAGS {
    LIBFLAG_FRESTRICTED = 0x1,
    LIBFLAG_FCONTROL = 0x2,
    LIBFLAG_FHIDDEN = 0x4,
    LIBFLAG_FHASDISKIMAGE = 0x8
};
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

// ---- Creating objects of in-process servers ------------------------------------------------
#define CLSCTX_INPROC_SERVER 0x1
#define CLSCTX_INPROC_HANDLER 0x2
#define CLSCTX_LOCAL_SERVER 0x4
#define CLSCTX_ALL (CLSCTX_INPROC_SERVER | CLSCTX_INPROC_HANDLER | CLSCTX_LOCAL_SERVER)
#define COINIT_APARTMENTTHREADED 0x2
#define COINIT_MULTITHREADED 0x0
#define CO_E_ERRORINDLL ((HRESULT)0x800401F9L)
// Nothing to set up natively: both succeed, and CoUninitialize does nothing.
HRESULT CoInitialize(LPVOID reserved);
HRESULT CoInitializeEx(LPVOID reserved, DWORD flags);
void CoUninitialize();
// In-process servers only. The library registered as the class's InprocServer32 (the
// user's classes first, then the machine's) is loaded (and stays loaded) and asked for the
// class; a class registered nowhere is asked of the DllGetClassObject the program was linked
// with, if any.
// REGDB_E_CLASSNOTREG when no server has the class.
HRESULT CoGetClassObject(REFCLSID clsid, DWORD context, LPVOID reserved, REFIID iid, LPVOID* object);
HRESULT CoCreateInstance(REFCLSID clsid, LPUNKNOWN outer, DWORD context, REFIID iid, LPVOID* object);

// ---- HKEY_CLASSES_ROOT and HKEY_CURRENT_USER, kept in memory for the process ----------------
// The two are separate trees. The lookups of COM (ProgIDFromCLSID, QueryPathOfRegTypeLib,
// LoadRegTypeLib) read HKEY_CURRENT_USER\Software\Classes before HKEY_CLASSES_ROOT, as
// Windows merges the user's classes into its view of HKEY_CLASSES_ROOT; the Reg* functions
// on HKEY_CLASSES_ROOT see the machine's classes alone.
typedef struct HKEY__* HKEY;
typedef DWORD REGSAM;
#define HKEY_CLASSES_ROOT ((HKEY)(uintptr_t)0x80000000u)
#define HKEY_CURRENT_USER ((HKEY)(uintptr_t)0x80000001u)
#define ERROR_SUCCESS 0L
#define ERROR_FILE_NOT_FOUND 2L
#define ERROR_ACCESS_DENIED 5L
#define ERROR_INVALID_HANDLE 6L
#define ERROR_OUTOFMEMORY 14L
#define ERROR_INVALID_PARAMETER 87L
#define ERROR_INSUFFICIENT_BUFFER 122L
#define ERROR_MORE_DATA 234L
#define ERROR_NO_MORE_ITEMS 259L
#define ERROR_KEY_DELETED 1018L
#define ERROR_CHILD_MUST_BE_VOLATILE 1021L
#define REG_NONE 0
#define REG_SZ 1
#define REG_EXPAND_SZ 2
#define REG_BINARY 3
#define REG_DWORD 4
#define REG_OPTION_NON_VOLATILE 0
#define REG_OPTION_VOLATILE 1 // kept here as any other key, but only volatile keys go below it
#define REG_CREATED_NEW_KEY 1
#define REG_OPENED_EXISTING_KEY 2
#define KEY_READ 0x20019
#define KEY_WRITE 0x20006
#define KEY_ALL_ACCESS 0xF003F
// The 64-bit and the 32-bit registry view: natively there is one, and these change nothing.
#define KEY_WOW64_64KEY 0x0100
#define KEY_WOW64_32KEY 0x0200
LONG RegCreateKeyExW(HKEY parent, LPCWSTR subKey, DWORD reserved, LPWSTR keyClass, DWORD options, REGSAM access,
                     void* security, HKEY* result, DWORD* disposition);
LONG RegOpenKeyExW(HKEY parent, LPCWSTR subKey, DWORD options, REGSAM access, HKEY* result);
LONG RegCloseKey(HKEY key);
LONG RegSetValueExW(HKEY key, LPCWSTR name, DWORD reserved, DWORD type, const BYTE* data, DWORD size);
LONG RegQueryValueExW(HKEY key, LPCWSTR name, DWORD* reserved, DWORD* type, BYTE* data, DWORD* size);
LONG RegDeleteTreeW(HKEY key, LPCWSTR subKey);
LONG RegDeleteKeyW(HKEY key, LPCWSTR subKey);
LONG RegDeleteValueW(HKEY key, LPCWSTR name);
// The value at an index (in no promised order) with its name in the case it was first
// written with; lengths as for RegEnumKeyExW, the data as for RegQueryValueExW.
LONG RegEnumValueW(HKEY key, DWORD index, LPWSTR name, DWORD* nameLength, DWORD* reserved, DWORD* type, BYTE* data,
                   DWORD* dataSize);
// Not a Windows function: makes a registry write fail, as a full disk or a denied key makes
// it fail on Windows, for tests of what a failed registration leaves behind. After `after`
// more writes succeed (a key created, a value set or deleted, a key or tree deleted), the
// next one fails with `error` and changes nothing; then writes succeed again.
// ERROR_SUCCESS disarms it.
void TarvolinFailRegistryWrite(unsigned long after, LONG error);
struct FILETIME {
    DWORD dwLowDateTime;
    DWORD dwHighDateTime;
};
// The subkey at an index (Windows promises no order; here the names compare without regard to
// case) in the case it was created with. The length is in characters: the buffer's size on
// the way in, the name's without the terminator on the way out; ERROR_MORE_DATA when the
// buffer is too small, ERROR_NO_MORE_ITEMS past the last subkey.
LONG RegEnumKeyExW(HKEY key, DWORD index, LPWSTR name, DWORD* nameLength, DWORD* reserved, LPWSTR keyClass,
                   DWORD* classLength, FILETIME* lastWriteTime);

// ---- Type libraries: attributes only, natively -----------------------------------------------
// LoadTypeLibEx reads the header of a type library ("MSFT" format) from a .tlb file or from
// the TYPELIB resource 1 of a loaded module (given by its file name), and gives an ITypeLib
// whose GetLibAttr, GetDocumentation(-1, ...) and ReleaseTLibAttr work; it offers no type
// information (GetTypeInfoCount is 0, the other methods give E_NOTIMPL). Anything that is not
// such a library, or is damaged, gives TYPE_E_CANTLOADLIBRARY. As on Windows, REGKIND_DEFAULT
// (and LoadTypeLib) register a library given by a relative path.
// RegisterTypeLib and UnRegisterTypeLib write and remove HKEY_CLASSES_ROOT\TypeLib\{libid}
// (no Interface keys: natively there is no marshaling). LoadRegTypeLib finds a registered
// library as Windows does, but fails with TYPE_E_CANTLOADLIBRARY even then, since there is no
// type information to serve IDispatch with; TYPE_E_LIBNOTREGISTERED when none is registered.
enum REGKIND { REGKIND_DEFAULT, REGKIND_REGISTER, REGKIND_NONE };
HRESULT LoadTypeLibEx(LPCOLESTR file, REGKIND kind, ITypeLib** library);
HRESULT LoadTypeLib(LPCOLESTR file, ITypeLib** library);
HRESULT RegisterTypeLib(ITypeLib* library, LPOLESTR fullPath, LPOLESTR helpDir);
HRESULT UnRegisterTypeLib(REFGUID libid, WORD major, WORD minor, LCID lcid, SYSKIND kind);
// The same below HKEY_CURRENT_USER\Software\Classes, for the current user alone.
HRESULT RegisterTypeLibForUser(ITypeLib* library, OLECHAR* fullPath, OLECHAR* helpDir);
HRESULT UnRegisterTypeLibForUser(REFGUID libid, WORD major, WORD minor, LCID lcid, SYSKIND kind);
HRESULT QueryPathOfRegTypeLib(REFGUID libid, WORD major, WORD minor, LCID lcid, BSTR* path);
HRESULT LoadRegTypeLib(REFGUID libid, WORD major, WORD minor, LCID lcid, ITypeLib** library);

// ---- Last error, per thread ----------------------------------------------------------------
#define ERROR_NOT_SUPPORTED 50L
#define ERROR_MOD_NOT_FOUND 126L
#define ERROR_PROC_NOT_FOUND 127L
#define ERROR_BAD_EXE_FORMAT 193L
#define ERROR_DLL_INIT_FAILED 1114L
#define ERROR_RESOURCE_DATA_NOT_FOUND 1812L
#define ERROR_RESOURCE_TYPE_NOT_FOUND 1813L
#define ERROR_RESOURCE_NAME_NOT_FOUND 1814L
DWORD GetLastError();
void SetLastError(DWORD error);

// ---- Virtual memory -----------------------------------------------------------------------
// Regions of whole pages straight from the system (mmap), aligned to 64 KB as Windows aligns
// them. VirtualAlloc with a null address reserves (MEM_RESERVE, no access) or reserves and
// commits (MEM_RESERVE | MEM_COMMIT) a new region of size bytes rounded up to pages;
// MEM_COMMIT with an address commits pages of a reserved region. Committed pages read as
// zeros until written. VirtualFree with MEM_RELEASE, a region's base and size 0 gives the
// whole region back; MEM_DECOMMIT gives pages back and leaves them reserved. Failures return
// null or FALSE with ERROR_INVALID_PARAMETER, ERROR_INVALID_ADDRESS (not inside a region of
// VirtualAlloc) or ERROR_NOT_ENOUGH_MEMORY.
typedef size_t SIZE_T;
#define MEM_COMMIT 0x00001000
#define MEM_RESERVE 0x00002000
#define MEM_DECOMMIT 0x00004000
#define MEM_RELEASE 0x00008000
#define PAGE_NOACCESS 0x01
#define PAGE_READONLY 0x02
#define PAGE_READWRITE 0x04
#define ERROR_NOT_ENOUGH_MEMORY 8L
#define ERROR_INVALID_ADDRESS 487L
LPVOID VirtualAlloc(LPVOID address, SIZE_T size, DWORD type, DWORD protect);
BOOL VirtualFree(LPVOID address, SIZE_T size, DWORD type);

// ---- Modules ------------------------------------------------------------------------------
// A module handle is the address at which the module's image starts, as on Windows: natively
// the start of the ELF object's first mapping (dladdr's dli_fbase), for the program and for
// every shared library. A library loaded with LoadLibraryW is opened with dlopen (RTLD_NOW,
// RTLD_LOCAL); FreeLibrary closes it once. File names are UTF-8 paths with '/' natively.
typedef INT_PTR(WINAPI* FARPROC)();
#define GET_MODULE_HANDLE_EX_FLAG_PIN 0x00000001
#define GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT 0x00000002
#define GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS 0x00000004
#define DONT_RESOLVE_DLL_REFERENCES 0x00000001
#define LOAD_LIBRARY_AS_DATAFILE 0x00000002
#define LOAD_WITH_ALTERED_SEARCH_PATH 0x00000008
#define LOAD_LIBRARY_AS_IMAGE_RESOURCE 0x00000020
#define LOAD_LIBRARY_AS_DATAFILE_EXCLUSIVE 0x00000040
#define MAX_PATH 260

// The program with a null name; otherwise a loaded module by its path or, without a '/', by
// the last part of its path. Null with ERROR_MOD_NOT_FOUND when none is loaded.
HMODULE GetModuleHandleW(LPCWSTR name);
// The same, or with GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS the module whose image holds the
// address given as the name. Without GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT the module
// gains a reference that FreeLibrary drops; GET_MODULE_HANDLE_EX_FLAG_PIN keeps it loaded.
BOOL GetModuleHandleExW(DWORD flags, LPCWSTR name, HMODULE* module);
// The full path of a loaded module's file (the program's with a null module); the length
// copied, or the buffer size with a truncated, terminated path and ERROR_INSUFFICIENT_BUFFER
// when the buffer is too small; 0 with ERROR_MOD_NOT_FOUND for a module that is not loaded.
DWORD GetModuleFileNameW(HMODULE module, LPWSTR buffer, DWORD size);
// Flags 0 or LOAD_WITH_ALTERED_SEARCH_PATH load the library and run its DllMain; null with
// ERROR_MOD_NOT_FOUND (no such file), ERROR_BAD_EXE_FORMAT (not a loadable library) or
// ERROR_DLL_INIT_FAILED (its DllMain failed). There is no loader for Windows resource images,
// so LOAD_LIBRARY_AS_DATAFILE, _AS_DATAFILE_EXCLUSIVE and _AS_IMAGE_RESOURCE give null with
// ERROR_FILE_NOT_FOUND or ERROR_NOT_SUPPORTED; the caller then keeps its own resources.
HMODULE LoadLibraryW(LPCWSTR file);
HMODULE LoadLibraryExW(LPCWSTR file, HANDLE reserved, DWORD flags);
// An exported function or variable of the module itself (not of the libraries it uses), by
// name; ordinals do not exist natively. Null with ERROR_PROC_NOT_FOUND.
FARPROC GetProcAddress(HMODULE module, LPCSTR name);
BOOL FreeLibrary(HMODULE module);
// Natively no thread notifications are ever sent.
BOOL DisableThreadLibraryCalls(HMODULE module);

// The entry point of a shared library, which the library defines (with C linkage). Natively
// the target tarvolin_dllmain calls it with DLL_PROCESS_ATTACH when the library is loaded
// (reserved null) and with DLL_PROCESS_DETACH when it is unloaded (reserved null) or when the
// process ends (reserved not null), before the library's static objects are destroyed. Loaded
// by LoadLibraryW, the library attaches once it and the libraries it needs are loaded and
// their static objects constructed; when DllMain then fails DLL_PROCESS_ATTACH, it gets
// DLL_PROCESS_DETACH at once and LoadLibraryW fails with ERROR_DLL_INIT_FAILED. Loaded
// otherwise (with the program, or by dlopen), it attaches from its constructor, after the
// static objects of its own object files and of the static libraries linked before
// tarvolin_dllmain; a failure there cannot fail the load.
#define DLL_PROCESS_DETACH 0
#define DLL_PROCESS_ATTACH 1
#define DLL_THREAD_ATTACH 2
#define DLL_THREAD_DETACH 3
EXTERN_C BOOL WINAPI DllMain(HINSTANCE module, DWORD reason, LPVOID reserved);

// ---- Resources -------------------------------------------------------------------------------
// Natively a module's resources are registered by code generated from its resource script
// (scripts/rc_resources.py, through the CMake function tarvolin_resources), under the module
// that holds that code, and removed when the module is unloaded. Names and types are integer
// ids (MAKEINTRESOURCE) or strings, which compare without regard to case; "#123" is id 123.
// A string table is stored in blocks of 16 ids, as on Windows: block n + 1 holds ids 16n to
// 16n + 15, each entry a 16-bit length and that many UTF-16 characters.
typedef struct HRSRC__* HRSRC;
#define IS_INTRESOURCE(r) ((((ULONG_PTR)(r)) >> 16) == 0)
#define MAKEINTRESOURCEA(i) ((LPSTR)(ULONG_PTR)(WORD)(i))
#define MAKEINTRESOURCEW(i) ((LPWSTR)(ULONG_PTR)(WORD)(i))
#define RT_STRING MAKEINTRESOURCEA(6)
#define RT_RCDATA MAKEINTRESOURCEA(10)
#define RT_HTML MAKEINTRESOURCEA(23)
#define RT_MANIFEST MAKEINTRESOURCEA(24)
// A null module is the program. Null with ERROR_RESOURCE_DATA_NOT_FOUND (the module has no
// resources), ERROR_RESOURCE_TYPE_NOT_FOUND or ERROR_RESOURCE_NAME_NOT_FOUND.
HRSRC FindResourceW(HMODULE module, LPCWSTR name, LPCWSTR type);
HRSRC FindResourceA(HMODULE module, LPCSTR name, LPCSTR type);
HGLOBAL LoadResource(HMODULE module, HRSRC resource);
LPVOID LockResource(HGLOBAL data);
DWORD SizeofResource(HMODULE module, HRSRC resource);
BOOL FreeResource(HGLOBAL data);
// A string table entry, cut to the buffer and terminated; the length copied (0 for a missing
// entry). LoadStringW with a size of 0 stores a pointer to the read-only, unterminated text in
// the buffer instead and gives its length.
int LoadStringW(HINSTANCE module, UINT id, LPWSTR buffer, int size);
int LoadStringA(HINSTANCE module, UINT id, LPSTR buffer, int size);

// What the generated code registers (not Windows functions).
struct StringTableEntry {
    UINT id;
    const WCHAR* text;
};
struct ResourceEntry {
    LPCWSTR type; // MAKEINTRESOURCEW(id) or an upper-case name
    LPCWSTR name;
    const void* data;
    DWORD size;
};
struct ResourceTable {
    const StringTableEntry* strings;
    size_t stringCount;
    const ResourceEntry* resources;
    size_t resourceCount;
};
bool RegisterResources(HMODULE module, const ResourceTable* table);
void UnregisterResources(HMODULE module, const ResourceTable* table);

// ---- Languages and files -----------------------------------------------------------------------
// The thread's preferred user-interface languages as names ("de-DE"), a list of strings
// each ending in a NUL and the list ending in one more. Natively there is one language,
// taken from LC_ALL, LC_MESSAGES or LANG ("de_DE.UTF-8" gives "de-DE"; none gives "en-US").
#define MUI_LANGUAGE_ID 0x4
#define MUI_LANGUAGE_NAME 0x8
#define MUI_MERGE_SYSTEM_FALLBACK 0x10
#define MUI_MERGE_USER_FALLBACK 0x20
BOOL GetThreadPreferredUILanguages(DWORD flags, ULONG* count, LPWSTR buffer, ULONG* size);

BOOL PathFileExistsW(LPCWSTR path);

// ---- Message boxes: natively the caption and text go to standard error ---------------------
#define MB_OK 0x00000000L
int MessageBoxA(HWND owner, LPCSTR text, LPCSTR caption, UINT type);

// ---- Messages --------------------------------------------------------------------------------
#define FORMAT_MESSAGE_ALLOCATE_BUFFER 0x00000100
#define FORMAT_MESSAGE_IGNORE_INSERTS 0x00000200
#define FORMAT_MESSAGE_FROM_SYSTEM 0x00001000
#define LANG_NEUTRAL 0x00
#define SUBLANG_NEUTRAL 0x00
#define SUBLANG_DEFAULT 0x01
#define MAKELANGID(p, s) ((((WORD)(s)) << 10) | (WORD)(p))
#define PRIMARYLANGID(l) ((WORD)((WORD)(l) & 0x3FF))
#define LANGIDFROMLCID(l) ((WORD)(l))
// There is no system message table natively: always 0, so callers use their fallback text.
DWORD FormatMessageA(DWORD flags, const void* source, DWORD messageId, DWORD languageId, LPSTR buffer, DWORD size,
                     void* arguments);
HLOCAL LocalFree(HLOCAL memory);
