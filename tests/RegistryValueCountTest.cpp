// The number of values a registry key holds, as RegQueryInfoKeyA counts them.
#include "platform/Platform.h"

#include "TestFiles.h"

#include <gtest/gtest.h>

#include <sqlite3.h>
#include <string>

namespace {

using namespace klx::platform;

HKEY openKey(const std::string& path) {
    RegistryKeyResult result = createRegistryKey(HKEY_CURRENT_USER, path);
    EXPECT_EQ(result.error, 0u) << path;
    return result.key;
}

void set(HKEY key, const std::string& name, const std::string& text) {
    EXPECT_EQ(setRegistryValue(key, name, REG_SZ, text.c_str(), text.size() + 1), 0u);
}

DWORD countOf(HKEY key) {
    DWORD count = 12345;
    EXPECT_EQ(queryRegistryValueCount(key, count), 0u);
    return count;
}

} // namespace

TEST(RegistryValueCount, CountsEachValueOnce) {
    HKEY key = openKey("Software\\KlxCount\\values");
    EXPECT_EQ(countOf(key), 0u);
    set(key, "count", "2");
    set(key, "0", "");
    set(key, "1", "x");
    EXPECT_EQ(countOf(key), 3u);
    // Rewriting a value, in any letter case, adds nothing; the default value
    // and a value of another type count like any other.
    set(key, "COUNT", "3");
    set(key, "1", "y");
    EXPECT_EQ(countOf(key), 3u);
    set(key, "", "default");
    EXPECT_EQ(setRegistryValue(key, "bytes", REG_BINARY, "ab", 2), 0u);
    EXPECT_EQ(countOf(key), 5u);

    // Subkeys and their values are not the key's values; another handle to
    // the same key sees the same count.
    HKEY child = openKey("Software\\KlxCount\\values\\child");
    set(child, "a", "b");
    EXPECT_EQ(countOf(key), 5u);
    EXPECT_EQ(countOf(child), 1u);
    HKEY again = duplicateRegistryKey(key).key;
    ASSERT_NE(again, nullptr);
    EXPECT_EQ(countOf(again), 5u);
    closeRegistryKey(again);
    closeRegistryKey(child);
    closeRegistryKey(key);
}

TEST(RegistryValueCount, FailsForKeysThatAreGone) {
    HKEY key = openKey("Software\\KlxCount\\gone");
    set(key, "a", "b");
    std::string database = (klxtest::testRoot() / "prefix" / "registry.db").string();
    sqlite3* db = nullptr;
    ASSERT_EQ(sqlite3_open(database.c_str(), &db), SQLITE_OK);
    EXPECT_EQ(sqlite3_exec(db,
                           "PRAGMA foreign_keys = ON;"
                           "DELETE FROM reg_keys WHERE name_folded = CAST('gone' AS BLOB);",
                           nullptr, nullptr, nullptr),
              SQLITE_OK);
    sqlite3_close(db);
    DWORD count = 7;
    EXPECT_EQ(queryRegistryValueCount(key, count), static_cast<DWORD>(ERROR_KEY_DELETED));
    EXPECT_EQ(count, 0u);
    closeRegistryKey(key);

    // A closed handle is refused.
    count = 7;
    EXPECT_EQ(queryRegistryValueCount(key, count), static_cast<DWORD>(ERROR_INVALID_HANDLE));
    EXPECT_EQ(count, 0u);
}
