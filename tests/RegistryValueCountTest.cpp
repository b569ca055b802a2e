// The number of values a registry key holds, as RegQueryInfoKeyW counts them.
#include "platform/Platform.h"

#include "TestFiles.h"

#include <gtest/gtest.h>

#include <sqlite3.h>
#include <string>

using namespace klx::platform;

class RegistryValueCount : public ::testing::Test {
protected:
    static HKEY open(const std::string& p) { return createRegistryKey(HKEY_CURRENT_USER, p).value; }
    static void set(HKEY key, const std::string& n) { setRegistryValue(key, n, REG_SZ, "x", 2); }
    static DWORD countOf(HKEY key) {
        Result<DWORD> count = queryRegistryValueCount(key);
        return count.ok() ? count.value : 99999;
    }
};

TEST_F(RegistryValueCount, CountsEachValueOnceAndFailsForKeysThatAreGone) {
    HKEY key = open("Software\\KlxCount\\values");
    EXPECT_EQ(countOf(key), 0u);
    // Rewriting a value, in any letter case, adds nothing; the default value
    // and a value of another type count like any other.
    for (const char* name : {"count", "0", "1", "COUNT", "1", ""})
        set(key, name);
    EXPECT_EQ(countOf(key), 4u);
    EXPECT_EQ(setRegistryValue(key, "bytes", REG_BINARY, "ab", 2), 0u);

    // Subkeys and their values are not the key's values; another handle to
    // the same key sees the same count.
    HKEY child = open("Software\\KlxCount\\values\\child");
    set(child, "a");
    EXPECT_EQ(countOf(key), 5u);
    EXPECT_EQ(countOf(child), 1u);
    HKEY again = duplicateRegistryKey(key).value;
    EXPECT_EQ(countOf(again), 5u);
    closeRegistryKey(again);
    closeRegistryKey(child);
    closeRegistryKey(key);

    // A key deleted behind the handle's back, and a closed handle, fail.
    key = open("Software\\KlxCount\\gone");
    set(key, "a");
    sqlite3* db = nullptr;
    ASSERT_EQ(sqlite3_open((klxtest::testRoot() / "prefix/registry.db").c_str(), &db), SQLITE_OK);
    const char* sql = "PRAGMA foreign_keys = ON;"
                      "DELETE FROM reg_keys WHERE name_folded = CAST('gone' AS BLOB);";
    EXPECT_EQ(sqlite3_exec(db, sql, nullptr, nullptr, nullptr), SQLITE_OK);
    sqlite3_close(db);
    EXPECT_EQ(queryRegistryValueCount(key).error, static_cast<DWORD>(ERROR_KEY_DELETED));
    closeRegistryKey(key);
    EXPECT_EQ(queryRegistryValueCount(key).error, static_cast<DWORD>(ERROR_INVALID_HANDLE));
}
