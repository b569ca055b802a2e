// Every exported constant and enumerator has exactly its documented value.
#include "KLXConstants.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

TEST(Constants, EveryTextIsExact) {
    // The texts that the library writes or parses with (batch and rc file
    // words, line breaks, path separators, "PATH", the batch file names) are
    // checked where they are used.
    const std::pair<const char*, std::string> table[] = {
        {KLX_STR_ENV_VAR_KLCOREHOME, "KLCOREHOME"},
        {KLX_STR_ENV_VAR_KLATHOME, "KLATHOME"},
        {KLX_STR_ENV_VAR_KLATHOME_DOS, "KLATHOME_DOS"},
        {KLX_STR_ENV_VAR_KLGCCHOME, "KLGCCHOME"},
        {KLX_STR_ENV_VAR_KLLIBHOME, "KLLIBHOME"},
        {KLX_STR_ENV_VAR_KLTOOLS, "KLTOOLS"},
        {KLX_STR_ENV_VAR_SGT_DIR, "SGT_DIR"},
        {KLX_STR_ENV_VAR_SYSTEMROOT, "SYSTEMROOT"},
        {KLX_STR_WSYNC_NAME_MSVC6, ".dsp"},
        {KLX_STR_WSYNC_NAME_MSVC71, " .vcproj"},
        {KLX_STR_WSYNC_NAME_MSVC70, "_2002.vcproj"},
        {KLX_STR_COMP_NAME_ARM, "arm"},
        {KLX_STR_COMP_NAME_GCC, "gcc"},
        {KLX_STR_COMP_DISPLAY_NAME_ARM, "ARM Compiler"},
        {KLX_STR_COMP_DISPLAY_NAME_GCC, "GCC Compiler"},
        {KLX_STR_MEM_NAME_A, "16"},
        {KLX_STR_MEM_NAME_B, "32"},
        {KLX_STR_MEM_NAME_B_Z93, "32W"},
        {KLX_STR_MEM_DISPLAY_NAME_A, "A Memory"},
        {KLX_STR_MEM_DISPLAY_NAME_B, "B Memory"},
        {KLX_STR_MEM_DISPLAY_NAME_B_Z93, "B Memory (Z93)"},
        {KLX_STR_REG_PATH_CVL_SETTINGS, "Software\\Keldmar\\Corvale Settings"},
        {KLX_STR_REG_KEY_CVL_SETTINGS_COMPILER, "compiler"},
        {KLX_STR_REG_KEY_CVL_SETTINGS_MEMORY, "memory"},
        {KLX_STR_REG_KEY_CVL_SETTINGS_WRKSYNC, "wrksync"},
        {KLX_STR_REG_KEY_CVL_SETTINGS_ADDONS_BACKUP, "addons_backup"},
        {KLX_STR_REG_KEY_CVL_SETTINGS_CORESW, "coresw"},
        {KLX_STR_PATH_NAME_TGTGEN, "TgtGen"},
        {KLX_STR_PATH_NAME_KLGEN, "KlGen"},
        {KLX_STR_PATH_NAME_ADDONS, "Add-ons"},
        {KLX_STR_EXT_EXE, ".exe"},
        {KLX_STR_SEMICOLON, ";"},
        {KLX_STR_YES, "yes"},
        {KLX_STR_NO, "no"},
        {KLX_STR_EMPTY, ""},
    };
    for (const auto& [actual, expected] : table)
        EXPECT_EQ(actual, expected);
}

TEST(Constants, EnumeratorsAndErrorCodesHaveTheirNumbers) {
    // The number of a row's first member, then the members in order: a
    // client compiled against these numbers must name the same member.
    const std::vector<int> enumerations[] = {
        {0, KLX_APP_MSVC6_DIR, KLX_APP_MSVC6_BIN_DIR, KLX_APP_MSVC6_EXE, KLX_APP_MSVC71_DIR,
         KLX_APP_MSVC71_EXE, KLX_APP_MSVC70_DIR, KLX_APP_MSVC70_EXE, KLX_APP_EXE_DIR,
         KLX_APP_IDE_DIR, KLX_APP_WIZARD, KLX_APP_CVL_SETTINGS, KLX_APP_CYGWIN_ROOT},
        {12, KLX_APP_CYGWIN_BIN_DIR, KLX_APP_CYGWIN_DLL, KLX_APP_BASH, KLX_APP_GCC_HOME,
         KLX_APP_GCC_BIN_DIR, KLX_APP_ARM_ELF_GCC, KLX_APP_SGT_DIR, KLX_APP_LIB_HOME,
         KLX_APP_TCPIP_DIR, KLX_APP_M2M_DIR, KLX_APP_ECLIPSE_DIR, KLX_APP_ECLIPSE_EXE, KLX_APP_CMD},
        {0, KLX_OS_UNKNOWN, KLX_OS_NT, KLX_OS_9X},
        {0, KLX_TEXT_FILE_WIN, KLX_TEXT_FILE_BATCH, KLX_TEXT_FILE_UNX, KLX_TEXT_FILE_MAC},
        {0, KLX_PATH_ENV_AUTO, KLX_PATH_ENV_WIN, KLX_PATH_ENV_SLASHES, KLX_PATH_ENV_CYGWIN,
         KLX_PATH_ENV_CYGWIN_DOS, KLX_PATH_ENV_SLASHES_NO_NET_DRIVE},
        {0, CVL_ELEMENT_OS_DEFAULT, CVL_ELEMENT_FW_DEFAULT, CVL_ELEMENT_PLUGINS,
         CVL_ELEMENT_GTS_GCC, CVL_ELEMENT_GTS_ARM, CVL_ELEMENT_GTS_MINGW, CVL_ELEMENT_ECLIPSE},
    };
    for (const std::vector<int>& row : enumerations)
        for (std::size_t i = 1; i < row.size(); ++i)
            EXPECT_EQ(row[i], row[0] + static_cast<int>(i) - 1) << i << " of " << row.size();
    EXPECT_EQ(sizeof(KLXAppType_e), sizeof(int));
    const std::pair<long, long> errors[] = {
        {ERROR_FILE_NOT_FOUND, 2},
        {ERROR_PATH_NOT_FOUND, 3},
        {ERROR_ACCESS_DENIED, 5},
        {ERROR_SHARING_VIOLATION, 32},
    };
    for (auto [actual, expected] : errors)
        EXPECT_EQ(actual, expected);
}
