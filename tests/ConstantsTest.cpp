// Every exported enumerator and error code has exactly its documented number:
// a client compiled against these numbers must name the same member. The
// exported texts are not restated here; those the library uses are checked
// where it uses them.
#include "KLXConstants.h"

#include <gtest/gtest.h>

#include <utility>
#include <vector>

TEST(Constants, EnumeratorsAndErrorCodesHaveTheirNumbers) {
    // The number of a row's first member, then the members in order.
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
