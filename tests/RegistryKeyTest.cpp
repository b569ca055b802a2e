// KLXRegistryKey and KLXSettingsVar on the registry store: values of any
// length read in full, string types other than REG_SZ, Windows' rules for
// names, roots and paths, when a setting writes, the list edits, copies of
// keys, and stores that cannot be used.
#include "KLXRegistryKey.h"
#include "KLXSettingsVar.h"

#include "Environment.h"
#include "TestFiles.h"
#include "platform/Platform.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <functional>
#include <memory>
#include <sqlite3.h>
#include <string>
#include <unistd.h>
#include <vector>

namespace fs = std::filesystem;

namespace {

struct KeyProbe final : KLXRegistryKey {
    using KLXRegistryKey::getValue;
    using KLXRegistryKey::KLXRegistryKey;
    using KLXRegistryKey::mKey;
};

struct VarProbe final : KLXSettingsVar {
    VarProbe(std::string name, HKEY root, std::string path, std::string separator)
        : KLXSettingsVar(name, root, path, separator) {}
    using KLXSettingsVar::update;
};

std::string read(HKEY root, std::string path, std::string name) {
    KLXRegistryKey key(root, path);
    return key.retValue(name);
}

void write(HKEY root, std::string path, std::string name, std::string value) {
    KLXRegistryKey key(root, path);
    key.setValue(name, value);
}

// The rows of a query on the database, each row's columns joined by "|".
std::vector<std::string> rows(const std::string& sql) {
    std::vector<std::string> result;
    sqlite3* db = nullptr;
    if (sqlite3_open((std::string(std::getenv("KLX_PREFIX")) + "/registry.db").c_str(), &db) ==
        SQLITE_OK)
        sqlite3_exec(
            db, sql.c_str(),
            [](void* out, int count, char** values, char**) {
                std::string row;
                for (int i = 0; i < count; ++i)
                    row += (i ? "|" : "") + std::string(values[i] ? values[i] : "");
                static_cast<std::vector<std::string>*>(out)->push_back(row);
                return 0;
            },
            &result, nullptr);
    sqlite3_close(db);
    return result;
}

// A value written with a type of the caller's choice, as other programs may.
void writeTyped(HKEY root, const std::string& path, const std::string& name, DWORD type,
                const std::string& data) {
    klx::platform::Result<HKEY> key = klx::platform::createRegistryKey(root, path);
    ASSERT_EQ(key.error, 0u);
    EXPECT_EQ(klx::platform::setRegistryValue(key.value, name, type, data.data(), data.size()), 0u);
    klx::platform::closeRegistryKey(key.value);
}

std::string pattern(std::size_t size, char seed) {
    std::string text(size, ' ');
    for (std::size_t i = 0; i < size; ++i)
        text[i] = static_cast<char>('!' + (seed + i * 7 + i / 251) % 90);
    return text;
}

// Runs `body` with KLX_PREFIX pointing elsewhere.
void withPrefix(const fs::path& prefix, const std::function<void()>& body) {
    std::string old = std::getenv("KLX_PREFIX");
    klxtest::setEnv("KLX_PREFIX", prefix.string());
    body();
    klxtest::setEnv("KLX_PREFIX", old);
}

const std::string kPath = "Software\\Keldmar\\KlxTest";

} // namespace

TEST(RegistryKey, ValuesOfAnyLengthAndType) {
    for (std::size_t size : {0, 1, 1023, 1024, 70000, 1 << 20}) {
        std::string value = pattern(size, static_cast<char>(size % 50));
        write(HKEY_CURRENT_USER, kPath, "long", value);
        EXPECT_EQ(read(HKEY_CURRENT_USER, kPath, "long"), value) << size;
    }
    // Stored with its NUL: length + 1 bytes. The text ends at the first NUL;
    // data without one reads in full.
    write(HKEY_CURRENT_USER, kPath, "short", "abc");
    EXPECT_EQ(rows("SELECT hex(data) FROM reg_values WHERE name = CAST('short' AS BLOB)"),
              std::vector<std::string>{"61626300"});
    write(HKEY_CURRENT_USER, kPath, "nul", std::string("ab\0cd", 5));
    EXPECT_EQ(read(HKEY_CURRENT_USER, kPath, "nul"), "ab");
    writeTyped(HKEY_CURRENT_USER, kPath, "unterminated", REG_SZ, "xyz");
    EXPECT_EQ(read(HKEY_CURRENT_USER, kPath, "unterminated"), "xyz");
    // The default value (the empty name) is a value of its own; a missing
    // one reads as "" and clears getValue's output.
    write(HKEY_CURRENT_USER, kPath, "", "default");
    EXPECT_EQ(read(HKEY_CURRENT_USER, kPath, ""), "default");
    std::string path = kPath, name = "absent", output = "stale";
    KeyProbe(HKEY_CURRENT_USER, path).getValue(name, output);
    EXPECT_EQ(output, "");

    // REG_EXPAND_SZ reads as text and is written back as REG_SZ; a list of
    // strings reads as its first one; another type by its bytes.
    writeTyped(HKEY_LOCAL_MACHINE, kPath, "Path", REG_EXPAND_SZ,
               std::string("%SystemRoot%\\bin;C:\\tools\0", 26));
    VarProbe var("Path", HKEY_LOCAL_MACHINE, kPath, ";");
    var.update();
    EXPECT_EQ(var.getValue(), "%SystemRoot%\\bin;C:\\tools");
    std::string item = "D:\\more";
    ASSERT_TRUE(var.addToList(item));
    var.setValue(var.getValue(), true);
    EXPECT_EQ(
        rows("SELECT type, CAST(data AS TEXT) FROM reg_values WHERE name = CAST('Path' AS BLOB)"),
        std::vector<std::string>{"1|%SystemRoot%\\bin;C:\\tools;D:\\more"});
    writeTyped(HKEY_LOCAL_MACHINE, kPath, "multi", REG_MULTI_SZ, std::string("one\0two\0\0", 9));
    EXPECT_EQ(read(HKEY_LOCAL_MACHINE, kPath, "multi"), "one");
    writeTyped(HKEY_LOCAL_MACHINE, kPath, "binary", REG_BINARY, "raw");
    EXPECT_EQ(read(HKEY_LOCAL_MACHINE, kPath, "binary"), "raw");
}

TEST(RegistryKey, NamesRootsAndPaths) {
    // Letter case is ignored and the first spelling kept.
    write(HKEY_CURRENT_USER, "Software\\Keldmar\\Mixed", "Value", "first");
    write(HKEY_CURRENT_USER, "SOFTWARE\\keldmar\\MIXED", "VALUE", "second");
    EXPECT_EQ(read(HKEY_CURRENT_USER, "software\\KELDMAR\\mixed", "vAlUe"), "second");
    EXPECT_EQ(rows("SELECT name FROM reg_keys WHERE name_folded = CAST('mixed' AS BLOB)"),
              std::vector<std::string>{"Mixed"});
    EXPECT_EQ(
        rows("SELECT name, hex(data) FROM reg_values WHERE name_folded = CAST('value' AS BLOB)"),
        std::vector<std::string>{"Value|7365636F6E6400"});
    // Only ASCII letters fold: bytes of the code page above 0x7F are exact.
    write(HKEY_CURRENT_USER, kPath, "\xC9t\xE9", "upper");
    write(HKEY_CURRENT_USER, kPath, "\xE9T\xE9", "lower");
    EXPECT_EQ(read(HKEY_CURRENT_USER, kPath, "\xC9T\xE9"), "upper");
    EXPECT_EQ(read(HKEY_CURRENT_USER, kPath, "\xE9t\xE9"), "lower");
    write(HKEY_CURRENT_USER, kPath + "\\\xC0\xFF\x80", "n", "high");
    EXPECT_EQ(read(HKEY_CURRENT_USER, kPath + "\\\xE0\xFF\x80", "N"), "");

    // Names are data, never statement text or patterns.
    const std::vector<std::string> names = {"x'); DROP TABLE reg_values; --",
                                            "\"; DELETE FROM reg_keys; --",
                                            "a%",
                                            "a_c",
                                            "abc",
                                            "?1",
                                            "\\"};
    for (const std::string& name : names)
        write(HKEY_CURRENT_USER, kPath + "\\" + name, name, "v:" + name);
    for (const std::string& name : names)
        EXPECT_EQ(read(HKEY_CURRENT_USER, kPath + "\\" + name, name), "v:" + name) << name;

    // Roots are separate trees; paths create their parents; doubled and
    // trailing backslashes name nothing; an empty path is the root.
    for (HKEY root : {HKEY_LOCAL_MACHINE, HKEY_CURRENT_USER, HKEY_CLASSES_ROOT})
        write(root, "Shared\\Key", "v", std::to_string(std::intptr_t(root)));
    for (HKEY root : {HKEY_LOCAL_MACHINE, HKEY_CURRENT_USER, HKEY_CLASSES_ROOT})
        EXPECT_EQ(read(root, "Shared\\Key", "v"), std::to_string(std::intptr_t(root)));
    write(HKEY_CURRENT_USER, "One\\Two\\Three", "deep", "3");
    EXPECT_EQ(rows("SELECT a.name, b.name, c.name FROM reg_keys a"
                   " JOIN reg_keys b ON b.parent = a.id JOIN reg_keys c ON c.parent = b.id"
                   " WHERE a.parent = 2 AND c.name = CAST('Three' AS BLOB)"),
              std::vector<std::string>{"One|Two|Three"});
    EXPECT_EQ(read(HKEY_CURRENT_USER, "One\\\\Two\\Three\\", "deep"), "3");
    write(HKEY_CURRENT_USER, "", "atRoot", "r");
    EXPECT_EQ(read(HKEY_CURRENT_USER, "", "ATROOT"), "r");
    EXPECT_EQ(read(HKEY_LOCAL_MACHINE, "", "atRoot") + read(HKEY_CURRENT_USER, "One", "atRoot"),
              "");

    // Refused: a leading backslash, a name over 255 characters, a path over
    // 512 levels, a root that is none of the three.
    std::string deep;
    for (int level = 0; level < 512; ++level)
        deep += "L\\";
    const std::pair<std::string, bool> paths[] = {{"\\Leading", false},
                                                  {std::string(255, 'k'), true},
                                                  {std::string(256, 'k'), false},
                                                  {deep, true},
                                                  {deep + "L", false}};
    for (auto [path, opens] : paths)
        EXPECT_EQ(KeyProbe(HKEY_CURRENT_USER, path).mKey != nullptr, opens) << path.size();
    std::string path = "X";
    EXPECT_EQ(KeyProbe(reinterpret_cast<HKEY>(std::intptr_t(0x12345)), path).mKey, nullptr);
}

TEST(SettingsVar, WritesOnlyWhatChangedUnlessForcedAndEditsLists) {
    // Nothing is read on construction, whatever the store holds.
    write(HKEY_CURRENT_USER, kPath, "Mode", "stored");
    VarProbe var("Mode", HKEY_CURRENT_USER, kPath, "");
    EXPECT_EQ(var.getValue() + var.getName(), "Mode");
    var.update();
    EXPECT_EQ(var.getValue(), "stored");

    std::string one = "one", upper = "ONE";
    var.setValue(one, false);
    EXPECT_EQ(read(HKEY_CURRENT_USER, kPath, "Mode"), "one");
    // Another writer changes the value behind the object's back: the same
    // value again writes nothing, unless forced; the comparison is exact.
    write(HKEY_CURRENT_USER, kPath, "Mode", "other");
    var.setValue(one, false);
    EXPECT_EQ(read(HKEY_CURRENT_USER, kPath, "Mode"), "other");
    var.setValue(one, true);
    EXPECT_EQ(read(HKEY_CURRENT_USER, kPath, "Mode"), "one");
    var.setValue(upper, false);
    // The object's own value, forced, as the environment variable does.
    write(HKEY_CURRENT_USER, kPath, "Mode", "other");
    var.setValue(var.getValue(), true);
    EXPECT_EQ(read(HKEY_CURRENT_USER, kPath, "mode"), "ONE");

    // List edits change only the value in memory.
    VarProbe list("List", HKEY_CURRENT_USER, kPath, ";");
    std::string a = "A", b = "B", empty;
    EXPECT_TRUE(list.addToList(a));
    EXPECT_TRUE(list.addToList(b));
    EXPECT_TRUE(list.addToList(a));
    EXPECT_FALSE(list.addToList(empty));
    EXPECT_EQ(list.getValue(), "A;B;A");
    EXPECT_TRUE(list.addToList(list.getValue()));
    EXPECT_EQ(list.getValue(), "A;B;A;A;B;A");
    EXPECT_EQ(read(HKEY_CURRENT_USER, kPath, "List"), "");
    // Without a separator there is no list.
    VarProbe plain("Plain", HKEY_CURRENT_USER, kPath, "");
    EXPECT_FALSE(plain.addToList(a));

    std::string value = "C:\\x;D:\\bin;E:\\y", bin = "D:\\bin", zzz = "zzz", repl = "F:\\new",
                y = "y";
    list.setValue(value, false);
    EXPECT_FALSE(list.removeTemplate(zzz));
    EXPECT_FALSE(list.replaceTemplate(zzz, repl));
    EXPECT_TRUE(list.replaceTemplate(bin, repl));
    EXPECT_TRUE(list.removeTemplate(y));
    EXPECT_EQ(list.getValue(), "C:\\x;F:\\new");
    EXPECT_EQ(read(HKEY_CURRENT_USER, kPath, "List"), value);
}

TEST(RegistryKey, ReadsAndCopies) {
    // Each retValue keeps its own result and sees later writes.
    std::string path = kPath, name = "Copied";
    auto original = std::make_unique<KeyProbe>(HKEY_CURRENT_USER, path);
    write(HKEY_CURRENT_USER, kPath, "Copied", "1");
    std::string& first = original->retValue(name);
    write(HKEY_CURRENT_USER, kPath, "copied", "text");
    EXPECT_EQ(first, "1");
    EXPECT_EQ(original->retValue(name), "text");

    // Copies own their own keys, and settings copy theirs with them.
    KeyProbe copy(*original);
    EXPECT_NE(copy.mKey, original->mKey);
    std::string otherPath = kPath + "\\Other";
    KeyProbe assigned(HKEY_CURRENT_USER, otherPath);
    assigned = *original;
    auto var = std::make_unique<VarProbe>("Copied", HKEY_CURRENT_USER, kPath, ";");
    VarProbe varCopy(*var);
    original.reset();
    var.reset();
    std::string changed = "changed";
    assigned.setValue(name, changed);
    EXPECT_EQ(copy.retValue(name), "changed");
    varCopy.update();
    EXPECT_EQ(varCopy.getValue(), "changed");

    // A copy of a key that could not be opened has none either.
    std::string bad = "\\bad";
    KeyProbe null(HKEY_CURRENT_USER, bad);
    copy = null;
    EXPECT_EQ(copy.mKey, nullptr);
    EXPECT_EQ(copy.retValue(name), "");
}

TEST(RegistryKey, UnusableStoreGivesNullKeys) {
    std::string path = kPath, name = "v", value = "lost";
    write(HKEY_CURRENT_USER, kPath, "v", "kept");
    auto expectNull = [&](const fs::path& prefix) {
        withPrefix(prefix, [&] {
            KeyProbe key(HKEY_CURRENT_USER, path);
            EXPECT_EQ(key.mKey, nullptr);
            key.setValue(name, value);
            EXPECT_EQ(key.retValue(name), "");
            VarProbe var("v", HKEY_LOCAL_MACHINE, kPath, ";");
            var.setValue(value, true);
            var.update();
            EXPECT_EQ(var.getValue(), "");
        });
    };
    // A prefix that cannot be made (its parent is a file), a registry.db that
    // is not a database (and is left alone), or not a file.
    fs::path dir = klxtest::freshDir("unusable");
    klxtest::writeBytes(dir / "file", "not a directory");
    expectNull(dir / "file" / "prefix");
    std::string garbage(8192, '\x5A');
    fs::create_directories(dir / "garbage");
    klxtest::writeBytes(dir / "garbage" / "registry.db", garbage);
    expectNull(dir / "garbage");
    EXPECT_EQ(klxtest::readBytes(dir / "garbage" / "registry.db"), garbage);
    fs::create_directories(dir / "folder" / "registry.db");
    expectNull(dir / "folder");
    // A prefix of another user is not used, even where it could be.
    fs::create_directories(dir / "foreign");
    if (::geteuid() == 0 && ::chown((dir / "foreign").c_str(), 65534, 65534) == 0) {
        expectNull(dir / "foreign");
        EXPECT_FALSE(fs::exists(dir / "foreign" / "registry.db"));
    }

    // The store is the user's alone, also where the prefix was not.
    fs::create_directories(dir / "open");
    fs::permissions(dir / "open", fs::perms::all);
    withPrefix(dir / "open", [&] { write(HKEY_CURRENT_USER, kPath, "v", "private"); });
    EXPECT_EQ(fs::status(dir / "open").permissions(), fs::perms::owner_all);
    for (const char* file : {"registry.db", "registry.db-wal", "registry.db-shm"})
        EXPECT_EQ(fs::status(dir / "open" / file).permissions(),
                  fs::perms::owner_read | fs::perms::owner_write)
            << file;

    // A key opened before KLX_PREFIX changes stays with its own store.
    KLXRegistryKey before(HKEY_CURRENT_USER, path);
    std::string again = "again";
    withPrefix(dir / "elsewhere", [&] {
        before.setValue(name, again);
        EXPECT_EQ(read(HKEY_CURRENT_USER, kPath, "v"), "");
    });
    EXPECT_EQ(read(HKEY_CURRENT_USER, kPath, "v"), "again");
}

TEST(RegistryKey, ValueCountsAndKeysThatAreGone) {
    using namespace klx::platform;
    auto open = [](const std::string& p) { return createRegistryKey(HKEY_CURRENT_USER, p).value; };
    auto set = [](HKEY key, const std::string& n) { setRegistryValue(key, n, REG_SZ, "x", 2); };
    auto countOf = [](HKEY key) {
        Result<DWORD> count = queryRegistryValueCount(key);
        return count.ok() ? count.value : 99999;
    };
    HKEY key = open(kPath + "\\values");
    EXPECT_EQ(countOf(key), 0u);
    // Rewriting a value, in any letter case, adds nothing; the default value
    // and a value of another type count like any other; subkeys' values do
    // not; another handle to the same key sees the same count.
    for (const char* name : {"count", "0", "1", "COUNT", "1", ""})
        set(key, name);
    EXPECT_EQ(setRegistryValue(key, "bytes", REG_BINARY, "ab", 2), 0u);
    HKEY child = open(kPath + "\\values\\child");
    set(child, "a");
    HKEY again = duplicateRegistryKey(key).value;
    EXPECT_EQ(countOf(key), 5u);
    EXPECT_EQ(countOf(again), 5u);
    EXPECT_EQ(countOf(child), 1u);
    for (HKEY each : {again, child, key})
        closeRegistryKey(each);

    // A key deleted behind the handle's back, and a closed handle, fail.
    key = open(kPath + "\\gone");
    set(key, "a");
    rows("PRAGMA foreign_keys = ON;"
         "DELETE FROM reg_keys WHERE name_folded = CAST('gone' AS BLOB);");
    EXPECT_EQ(queryRegistryValueCount(key).error, static_cast<DWORD>(ERROR_KEY_DELETED));
    closeRegistryKey(key);
    EXPECT_EQ(queryRegistryValueCount(key).error, static_cast<DWORD>(ERROR_INVALID_HANDLE));
}
