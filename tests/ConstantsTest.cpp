// Every exported constant has exactly its documented text, blanks included.
#include "KLXConstants.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <string>

TEST(Constants, EveryTextIsExact) {
    struct Expected {
        const char* name;
        const char* actual;
        const char* expected;
    };
    const Expected table[] = {
        {"KLX_STR_ENV_VAR_PATH", KLX_STR_ENV_VAR_PATH, "PATH"},
        {"KLX_STR_ENV_VAR_KLCOREHOME", KLX_STR_ENV_VAR_KLCOREHOME, "KLCOREHOME"},
        {"KLX_STR_ENV_VAR_KLATHOME", KLX_STR_ENV_VAR_KLATHOME, "KLATHOME"},
        {"KLX_STR_ENV_VAR_KLATHOME_DOS", KLX_STR_ENV_VAR_KLATHOME_DOS, "KLATHOME_DOS"},
        {"KLX_STR_ENV_VAR_KLGCCHOME", KLX_STR_ENV_VAR_KLGCCHOME, "KLGCCHOME"},
        {"KLX_STR_ENV_VAR_KLLIBHOME", KLX_STR_ENV_VAR_KLLIBHOME, "KLLIBHOME"},
        {"KLX_STR_ENV_VAR_KLTOOLS", KLX_STR_ENV_VAR_KLTOOLS, "KLTOOLS"},
        {"KLX_STR_ENV_VAR_SGT_DIR", KLX_STR_ENV_VAR_SGT_DIR, "SGT_DIR"},
        {"KLX_STR_ENV_VAR_SYSTEMROOT", KLX_STR_ENV_VAR_SYSTEMROOT, "SYSTEMROOT"},
        {"KLX_STR_WSYNC_NAME_MSVC6", KLX_STR_WSYNC_NAME_MSVC6, ".dsp"},
        {"KLX_STR_WSYNC_NAME_MSVC71", KLX_STR_WSYNC_NAME_MSVC71, " .vcproj"},
        {"KLX_STR_WSYNC_NAME_MSVC70", KLX_STR_WSYNC_NAME_MSVC70, "_2002.vcproj"},
        {"KLX_STR_COMP_NAME_ARM", KLX_STR_COMP_NAME_ARM, "arm"},
        {"KLX_STR_COMP_NAME_GCC", KLX_STR_COMP_NAME_GCC, "gcc"},
        {"KLX_STR_COMP_DISPLAY_NAME_ARM", KLX_STR_COMP_DISPLAY_NAME_ARM, "ARM Compiler"},
        {"KLX_STR_COMP_DISPLAY_NAME_GCC", KLX_STR_COMP_DISPLAY_NAME_GCC, "GCC Compiler"},
        {"KLX_STR_MEM_NAME_A", KLX_STR_MEM_NAME_A, "16"},
        {"KLX_STR_MEM_NAME_B", KLX_STR_MEM_NAME_B, "32"},
        {"KLX_STR_MEM_NAME_B_Z93", KLX_STR_MEM_NAME_B_Z93, "32W"},
        {"KLX_STR_MEM_DISPLAY_NAME_A", KLX_STR_MEM_DISPLAY_NAME_A, "A Memory"},
        {"KLX_STR_MEM_DISPLAY_NAME_B", KLX_STR_MEM_DISPLAY_NAME_B, "B Memory"},
        {"KLX_STR_MEM_DISPLAY_NAME_B_Z93", KLX_STR_MEM_DISPLAY_NAME_B_Z93, "B Memory (Z93)"},
        {"KLX_STR_REG_PATH_CVL_SETTINGS", KLX_STR_REG_PATH_CVL_SETTINGS,
         "Software\\Keldmar\\Corvale Settings"},
        {"KLX_STR_REG_PATH_CYGWIN_ROOT", KLX_STR_REG_PATH_CYGWIN_ROOT,
         "Software\\Cygnus Solutions\\Cygwin\\mounts v2\\/"},
        {"KLX_STR_REG_KEY_CYGWIN_NATIVE", KLX_STR_REG_KEY_CYGWIN_NATIVE, "native"},
        {"KLX_STR_REG_KEY_CVL_SETTINGS_COMPILER", KLX_STR_REG_KEY_CVL_SETTINGS_COMPILER,
         "compiler"},
        {"KLX_STR_REG_KEY_CVL_SETTINGS_MEMORY", KLX_STR_REG_KEY_CVL_SETTINGS_MEMORY, "memory"},
        {"KLX_STR_REG_KEY_CVL_SETTINGS_WRKSYNC", KLX_STR_REG_KEY_CVL_SETTINGS_WRKSYNC, "wrksync"},
        {"KLX_STR_REG_KEY_CVL_SETTINGS_ADDONS_BACKUP", KLX_STR_REG_KEY_CVL_SETTINGS_ADDONS_BACKUP,
         "addons_backup"},
        {"KLX_STR_REG_KEY_CVL_SETTINGS_CORESW", KLX_STR_REG_KEY_CVL_SETTINGS_CORESW, "coresw"},
        {"KLX_STR_FILE_NAME_AUTOEXEC", KLX_STR_FILE_NAME_AUTOEXEC, "autoexec.bat"},
        {"KLX_STR_FILE_NAME_KLENV", KLX_STR_FILE_NAME_KLENV, "klenv.bat"},
        {"KLX_STR_PATH_NAME_TGTGEN", KLX_STR_PATH_NAME_TGTGEN, "TgtGen"},
        {"KLX_STR_PATH_NAME_KLGEN", KLX_STR_PATH_NAME_KLGEN, "KlGen"},
        {"KLX_STR_PATH_NAME_ADDONS", KLX_STR_PATH_NAME_ADDONS, "Add-ons"},
        {"KLX_STR_PATH_NAME_CYGDRIVE", KLX_STR_PATH_NAME_CYGDRIVE, "/cygdrive/"},
        {"KLX_STR_BATCH_SET", KLX_STR_BATCH_SET, "SET "},
        {"KLX_STR_BATCH_REM", KLX_STR_BATCH_REM, "REM "},
        {"KLX_STR_BATCH_CALL", KLX_STR_BATCH_CALL, "CALL "},
        {"KLX_STR_EXT_EXE", KLX_STR_EXT_EXE, ".exe"},
        {"KLX_STR_CR", KLX_STR_CR, "\r"},
        {"KLX_STR_LF", KLX_STR_LF, "\n"},
        {"KLX_STR_BACKSLASH", KLX_STR_BACKSLASH, "\\"},
        {"KLX_STR_SLASH", KLX_STR_SLASH, "/"},
        {"KLX_STR_LESS", KLX_STR_LESS, "-"},
        {"KLX_STR_EQUAL", KLX_STR_EQUAL, "="},
        {"KLX_STR_SEMICOLON", KLX_STR_SEMICOLON, ";"},
        {"KLX_STR_SPACE", KLX_STR_SPACE, " "},
        {"KLX_STR_YES", KLX_STR_YES, "yes"},
        {"KLX_STR_NO", KLX_STR_NO, "no"},
        {"KLX_STR_EMPTY", KLX_STR_EMPTY, ""},
    };
    EXPECT_EQ(sizeof(table) / sizeof(table[0]), 51u);
    for (const Expected& e : table)
        EXPECT_STREQ(e.actual, e.expected) << e.name;
    // The blanks that are easy to lose.
    EXPECT_EQ(std::string(KLX_STR_WSYNC_NAME_MSVC71).front(), ' ');
    EXPECT_EQ(std::string(KLX_STR_BATCH_SET).back(), ' ');
    EXPECT_EQ(std::string(KLX_STR_BATCH_REM).back(), ' ');
    EXPECT_EQ(std::string(KLX_STR_BATCH_CALL).back(), ' ');
    EXPECT_EQ(std::strlen(KLX_STR_EMPTY), 0u);
}

TEST(Constants, Win32StandInsHaveWindowsValues) {
    // The registry roots, sign-extended as on 64-bit Windows.
    EXPECT_EQ(static_cast<std::uint32_t>(reinterpret_cast<std::uintptr_t>(HKEY_CLASSES_ROOT)),
              0x80000000u);
    EXPECT_EQ(static_cast<std::uint32_t>(reinterpret_cast<std::uintptr_t>(HKEY_CURRENT_USER)),
              0x80000001u);
    EXPECT_EQ(static_cast<std::uint32_t>(reinterpret_cast<std::uintptr_t>(HKEY_LOCAL_MACHINE)),
              0x80000002u);
    EXPECT_EQ(reinterpret_cast<std::intptr_t>(INVALID_HANDLE_VALUE), -1);
    EXPECT_EQ(sizeof(DWORD), 4u);
    EXPECT_EQ(ERROR_FILE_NOT_FOUND, 2);
    EXPECT_EQ(ERROR_PATH_NOT_FOUND, 3);
    EXPECT_EQ(ERROR_ACCESS_DENIED, 5);
    EXPECT_EQ(ERROR_SHARING_VIOLATION, 32);
    // The enumerations' values.
    EXPECT_EQ(KLX_APP_CMD, 24);
    EXPECT_EQ(KLX_APP_WIZARD, 9);
    EXPECT_EQ(KLX_OS_9X, 2);
    EXPECT_EQ(KLX_TEXT_FILE_MAC, 3);
    EXPECT_EQ(KLX_PATH_ENV_SLASHES_NO_NET_DRIVE, 5);
    EXPECT_EQ(CVL_ELEMENT_ECLIPSE, 6);
    EXPECT_EQ(sizeof(KLXAppType_e), sizeof(int));
}
