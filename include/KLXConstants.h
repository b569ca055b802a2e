// KlxCore: shared vocabulary of the library and its client tools.
//
// The exported string constants, the five enumerations, the export macro and,
// on hosts without <windows.h>, the handful of Win32 types and codes that the
// public interface speaks in.
#ifndef KLX_CONSTANTS_H
#define KLX_CONSTANTS_H

#if defined(_WIN32)
// The Win32 types, roots and codes come from <windows.h>, included lean and
// without its min and max macros (which would break std::min and std::max)
// unless the includer has already chosen otherwise. The two switches are
// dropped again afterwards so that they do not reach the includer's later
// headers; <windows.h> itself is included only once either way, so an
// includer that needs a part the lean form leaves out (shellapi.h, ole2.h,
// ...) includes that header itself.
#if !defined(NOMINMAX)
#define NOMINMAX
#define KLX_DEFINED_NOMINMAX
#endif
#if !defined(WIN32_LEAN_AND_MEAN)
#define WIN32_LEAN_AND_MEAN
#define KLX_DEFINED_WIN32_LEAN_AND_MEAN
#endif
#include <windows.h>
#if defined(KLX_DEFINED_NOMINMAX)
#undef NOMINMAX
#undef KLX_DEFINED_NOMINMAX
#endif
#if defined(KLX_DEFINED_WIN32_LEAN_AND_MEAN)
#undef WIN32_LEAN_AND_MEAN
#undef KLX_DEFINED_WIN32_LEAN_AND_MEAN
#endif
#else
#include <cstdint>
#endif

// KLX_API marks what the module exports; everything else stays hidden.
#if defined(_WIN32)
#if defined(KLXCORE_BUILDING)
#define KLX_API __declspec(dllexport)
#else
#define KLX_API __declspec(dllimport)
#endif
#else
#define KLX_API __attribute__((visibility("default")))
#endif

#if !defined(_WIN32)
// The Win32 types and values that the public headers use, with the values
// Windows gives them, so that callers compare against the same numbers on
// every host.
typedef unsigned int DWORD;
typedef void* HANDLE;
struct HKEY__;
typedef HKEY__* HKEY;

#define INVALID_HANDLE_VALUE ((HANDLE)(std::intptr_t)(-1))

// Predefined registry roots; sign-extended as on 64-bit Windows.
#define HKEY_CLASSES_ROOT ((HKEY)(std::intptr_t)(std::int32_t)0x80000000u)
#define HKEY_CURRENT_USER ((HKEY)(std::intptr_t)(std::int32_t)0x80000001u)
#define HKEY_LOCAL_MACHINE ((HKEY)(std::intptr_t)(std::int32_t)0x80000002u)

#define ERROR_SUCCESS 0L
#define ERROR_INVALID_FUNCTION 1L
#define ERROR_FILE_NOT_FOUND 2L
#define ERROR_PATH_NOT_FOUND 3L
#define ERROR_TOO_MANY_OPEN_FILES 4L
#define ERROR_ACCESS_DENIED 5L
#define ERROR_INVALID_HANDLE 6L
#define ERROR_NOT_ENOUGH_MEMORY 8L
#define ERROR_INVALID_DRIVE 15L
#define ERROR_NOT_SAME_DEVICE 17L
#define ERROR_NO_MORE_FILES 18L
#define ERROR_WRITE_PROTECT 19L
#define ERROR_GEN_FAILURE 31L
#define ERROR_SHARING_VIOLATION 32L
#define ERROR_LOCK_VIOLATION 33L
#define ERROR_HANDLE_EOF 38L
#define ERROR_NOT_SUPPORTED 50L
#define ERROR_FILE_EXISTS 80L
#define ERROR_INVALID_PARAMETER 87L
#define ERROR_BROKEN_PIPE 109L
#define ERROR_DISK_FULL 112L
#define ERROR_INSUFFICIENT_BUFFER 122L
#define ERROR_INVALID_NAME 123L
#define ERROR_NEGATIVE_SEEK 131L
#define ERROR_DIR_NOT_EMPTY 145L
#define ERROR_BAD_PATHNAME 161L
#define ERROR_BUSY 170L
#define ERROR_ALREADY_EXISTS 183L
#define ERROR_BAD_EXE_FORMAT 193L
#define ERROR_ENVVAR_NOT_FOUND 203L
#define ERROR_FILENAME_EXCED_RANGE 206L
#define ERROR_FILE_TOO_LARGE 223L
#define ERROR_MORE_DATA 234L
#define ERROR_NO_MORE_ITEMS 259L
#define ERROR_DIRECTORY 267L
#define ERROR_BADDB 1009L
#define ERROR_BADKEY 1010L
#define ERROR_CANTOPEN 1011L
#define ERROR_CANTREAD 1012L
#define ERROR_CANTWRITE 1013L
#define ERROR_REGISTRY_CORRUPT 1015L
#define ERROR_KEY_DELETED 1018L
#define ERROR_IO_DEVICE 1117L
#define ERROR_TIMEOUT 1460L
#define ERROR_CANT_RESOLVE_FILENAME 1921L

// Registry value types.
#define REG_NONE 0
#define REG_SZ 1
#define REG_EXPAND_SZ 2
#define REG_BINARY 3
#define REG_DWORD 4
#define REG_MULTI_SZ 7
#endif

// String constants shared by the library and its client tools.
extern KLX_API const char* const KLX_STR_ENV_VAR_PATH;
extern KLX_API const char* const KLX_STR_ENV_VAR_KLCOREHOME;
extern KLX_API const char* const KLX_STR_ENV_VAR_KLATHOME;
extern KLX_API const char* const KLX_STR_ENV_VAR_KLATHOME_DOS;
extern KLX_API const char* const KLX_STR_ENV_VAR_KLGCCHOME;
extern KLX_API const char* const KLX_STR_ENV_VAR_KLLIBHOME;
extern KLX_API const char* const KLX_STR_ENV_VAR_KLTOOLS;
extern KLX_API const char* const KLX_STR_ENV_VAR_SGT_DIR;
extern KLX_API const char* const KLX_STR_ENV_VAR_SYSTEMROOT;
extern KLX_API const char* const KLX_STR_WSYNC_NAME_MSVC6;
extern KLX_API const char* const KLX_STR_WSYNC_NAME_MSVC71;
extern KLX_API const char* const KLX_STR_WSYNC_NAME_MSVC70;
extern KLX_API const char* const KLX_STR_COMP_NAME_ARM;
extern KLX_API const char* const KLX_STR_COMP_NAME_GCC;
extern KLX_API const char* const KLX_STR_COMP_DISPLAY_NAME_ARM;
extern KLX_API const char* const KLX_STR_COMP_DISPLAY_NAME_GCC;
extern KLX_API const char* const KLX_STR_MEM_NAME_A;
extern KLX_API const char* const KLX_STR_MEM_NAME_B;
extern KLX_API const char* const KLX_STR_MEM_NAME_B_Z93;
extern KLX_API const char* const KLX_STR_MEM_DISPLAY_NAME_A;
extern KLX_API const char* const KLX_STR_MEM_DISPLAY_NAME_B;
extern KLX_API const char* const KLX_STR_MEM_DISPLAY_NAME_B_Z93;
extern KLX_API const char* const KLX_STR_REG_PATH_CVL_SETTINGS;
extern KLX_API const char* const KLX_STR_REG_PATH_CYGWIN_ROOT;
extern KLX_API const char* const KLX_STR_REG_KEY_CYGWIN_NATIVE;
extern KLX_API const char* const KLX_STR_REG_KEY_CVL_SETTINGS_COMPILER;
extern KLX_API const char* const KLX_STR_REG_KEY_CVL_SETTINGS_MEMORY;
extern KLX_API const char* const KLX_STR_REG_KEY_CVL_SETTINGS_WRKSYNC;
extern KLX_API const char* const KLX_STR_REG_KEY_CVL_SETTINGS_ADDONS_BACKUP;
extern KLX_API const char* const KLX_STR_REG_KEY_CVL_SETTINGS_CORESW;
extern KLX_API const char* const KLX_STR_FILE_NAME_AUTOEXEC;
extern KLX_API const char* const KLX_STR_FILE_NAME_KLENV;
extern KLX_API const char* const KLX_STR_PATH_NAME_TGTGEN;
extern KLX_API const char* const KLX_STR_PATH_NAME_KLGEN;
extern KLX_API const char* const KLX_STR_PATH_NAME_ADDONS;
extern KLX_API const char* const KLX_STR_PATH_NAME_CYGDRIVE;
extern KLX_API const char* const KLX_STR_BATCH_SET;
extern KLX_API const char* const KLX_STR_BATCH_REM;
extern KLX_API const char* const KLX_STR_BATCH_CALL;
extern KLX_API const char* const KLX_STR_EXT_EXE;
extern KLX_API const char* const KLX_STR_CR;
extern KLX_API const char* const KLX_STR_LF;
extern KLX_API const char* const KLX_STR_BACKSLASH;
extern KLX_API const char* const KLX_STR_SLASH;
extern KLX_API const char* const KLX_STR_LESS;
extern KLX_API const char* const KLX_STR_EQUAL;
extern KLX_API const char* const KLX_STR_SEMICOLON;
extern KLX_API const char* const KLX_STR_SPACE;
extern KLX_API const char* const KLX_STR_YES;
extern KLX_API const char* const KLX_STR_NO;
extern KLX_API const char* const KLX_STR_EMPTY;

// The enumerations have the width of an int, and every int value is a valid
// value of them: a value outside the members names nothing.

// The tool and directory paths that the system services resolve and cache.
// A value of 25 or more names no path.
enum KLXAppType_e : int {
    KLX_APP_MSVC6_DIR = 0,
    KLX_APP_MSVC6_BIN_DIR,
    KLX_APP_MSVC6_EXE,
    KLX_APP_MSVC71_DIR,
    KLX_APP_MSVC71_EXE,
    KLX_APP_MSVC70_DIR,
    KLX_APP_MSVC70_EXE,
    KLX_APP_EXE_DIR,
    KLX_APP_IDE_DIR,
    KLX_APP_WIZARD,
    KLX_APP_CVL_SETTINGS,
    KLX_APP_CYGWIN_ROOT,
    KLX_APP_CYGWIN_BIN_DIR,
    KLX_APP_CYGWIN_DLL,
    KLX_APP_BASH,
    KLX_APP_GCC_HOME,
    KLX_APP_GCC_BIN_DIR,
    KLX_APP_ARM_ELF_GCC,
    KLX_APP_SGT_DIR,
    KLX_APP_LIB_HOME,
    KLX_APP_TCPIP_DIR,
    KLX_APP_M2M_DIR,
    KLX_APP_ECLIPSE_DIR,
    KLX_APP_ECLIPSE_EXE,
    KLX_APP_CMD
};

// The Windows family the system services report.
enum KLXOsType_e : int { KLX_OS_UNKNOWN = 0, KLX_OS_NT = 1, KLX_OS_9X = 2 };

// Line break written and comment prefix of a text file.
enum KLXTextFileType_e : int {
    KLX_TEXT_FILE_WIN = 0,
    KLX_TEXT_FILE_BATCH = 1,
    KLX_TEXT_FILE_UNX = 2,
    KLX_TEXT_FILE_MAC = 3
};

// The form in which a path element writes its value.
enum KLXPathEnvFormat_e : int {
    KLX_PATH_ENV_AUTO = 0,
    KLX_PATH_ENV_WIN = 1,
    KLX_PATH_ENV_SLASHES = 2,
    KLX_PATH_ENV_CYGWIN = 3,
    KLX_PATH_ENV_CYGWIN_DOS = 4,
    KLX_PATH_ENV_SLASHES_NO_NET_DRIVE = 5
};

// The seven selectable path elements of the SDK settings object, in the
// order in which it keeps them.
enum CvlSelectElement_e : int {
    CVL_ELEMENT_OS_DEFAULT = 0,
    CVL_ELEMENT_FW_DEFAULT = 1,
    CVL_ELEMENT_PLUGINS = 2,
    CVL_ELEMENT_GTS_GCC = 3,
    CVL_ELEMENT_GTS_ARM = 4,
    CVL_ELEMENT_GTS_MINGW = 5,
    CVL_ELEMENT_ECLIPSE = 6
};

// The module-wide state (the caches of the system services, the list of
// modified environment variables, the SDK's baseband family and the text
// files' line breaks) lives in static members of the classes that own it:
// KLXSystem, KLXEnvVar, KLXCorvaleSettings and KLXTextFile.

#endif // KLX_CONSTANTS_H
