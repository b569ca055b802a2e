// The process environment as GetEnvironmentVariableW and
// SetEnvironmentVariableW keep it: names that name no variable, and Windows'
// limit on a value's length in UTF-16 units.
#include "platform/Platform.h"

#include <gtest/gtest.h>

#include <string>

using namespace klx::platform;

TEST(PlatformSystem, EnvironmentNamesAndValueLimit) {
    EXPECT_EQ(setEnvironmentVariable("KLX_SYSTEM_TEST", "v\xc3\xa9"), 0u);
    EXPECT_EQ(getEnvironmentVariable("KLX_SYSTEM_TEST").value, "v\xc3\xa9");
    EXPECT_EQ(getEnvironmentVariable("KLX_SYSTEM_UNSET").error, DWORD(ERROR_ENVVAR_NOT_FOUND));
    for (const char* name : {"", "KLX=SYSTEM"}) {
        EXPECT_EQ(setEnvironmentVariable(name, "x"), DWORD(ERROR_INVALID_PARAMETER)) << name;
        EXPECT_EQ(getEnvironmentVariable(name).error, DWORD(ERROR_ENVVAR_NOT_FOUND)) << name;
    }
    // 32,767 UTF-16 units at most; a character beyond U+FFFF takes two.
    const std::string clef = "\xf0\x9d\x84\x9e";
    std::string longest(32767 - 2, 'x');
    EXPECT_EQ(setEnvironmentVariable("KLX_SYSTEM_TEST", longest + clef), 0u);
    for (const std::string& value : {longest + "xx" + "x", longest + "x" + clef})
        EXPECT_EQ(setEnvironmentVariable("KLX_SYSTEM_TEST", value), DWORD(ERROR_INVALID_PARAMETER));
}
