// KLXRegistryKey and KLXSettingsVar on the registry store: values of any
// length read in full, string types other than REG_SZ, Windows' rules for
// names, roots and paths, when a setting writes, the list edits, copies of
// keys, and stores that cannot be used.
#include "KLXRegistryKey.h"
#include "KLXSettingsVar.h"

#include "TestFiles.h"
#include "platform/Platform.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <memory>
#include <sqlite3.h>
#include <string>
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
    using KLXSettingsVar::mRegKey;
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

fs::path databasePath() {
    return fs::path(std::getenv("KLX_PREFIX")) / "registry.db";
}

// The rows of a query on the database, each row's columns joined by "|".
std::vector<std::string> rows(const std::string& sql) {
    std::vector<std::string> result;
    sqlite3* db = nullptr;
    if (sqlite3_open(databasePath().c_str(), &db) == SQLITE_OK) {
        sqlite3_stmt* statement = nullptr;
        if (sqlite3_prepare_v2(db, sql.c_str(), -1, &statement, nullptr) == SQLITE_OK) {
            while (sqlite3_step(statement) == SQLITE_ROW) {
                std::string row;
                for (int i = 0; i < sqlite3_column_count(statement); ++i) {
                    const char* text =
                        reinterpret_cast<const char*>(sqlite3_column_blob(statement, i));
                    row += (i ? "|" : "") +
                           std::string(text ? text : "", sqlite3_column_bytes(statement, i));
                }
                result.push_back(row);
            }
        }
        sqlite3_finalize(statement);
    }
    sqlite3_close(db);
    return result;
}

// A value written with a type of the caller's choice, as other programs may.
void writeTyped(HKEY root, const std::string& path, const std::string& name, DWORD type,
                const std::string& data) {
    klx::platform::RegistryKeyResult key = klx::platform::createRegistryKey(root, path);
    ASSERT_EQ(key.error, 0u);
    EXPECT_EQ(klx::platform::setRegistryValue(key.key, name, type, data.data(), data.size()), 0u);
    klx::platform::closeRegistryKey(key.key);
}

DWORD typeOf(HKEY root, const std::string& path, const std::string& name) {
    klx::platform::RegistryKeyResult key = klx::platform::createRegistryKey(root, path);
    std::string data;
    DWORD type = 0xFFFF;
    klx::platform::queryRegistryValue(key.key, name, data, type);
    klx::platform::closeRegistryKey(key.key);
    return type;
}

std::string pattern(std::size_t size, char seed) {
    std::string text(size, ' ');
    for (std::size_t i = 0; i < size; ++i)
        text[i] = static_cast<char>('!' + (seed + i * 7 + i / 251) % 90);
    return text;
}

// Points KLX_PREFIX elsewhere for one block.
class PrefixOverride {
public:
    explicit PrefixOverride(const fs::path& prefix) : mOld(std::getenv("KLX_PREFIX")) {
        setenv("KLX_PREFIX", prefix.c_str(), 1);
    }
    ~PrefixOverride() { setenv("KLX_PREFIX", mOld.c_str(), 1); }

private:
    std::string mOld;
};

const std::string kPath = "Software\\Keldmar\\KlxTest";

} // namespace

TEST(RegistryKey, ValuesOfAnyLengthReadInFull) {
    for (std::size_t size : {std::size_t(0), std::size_t(1), std::size_t(1023), std::size_t(1024),
                             std::size_t(70000), std::size_t(1) << 20}) {
        SCOPED_TRACE(size);
        std::string value = pattern(size, static_cast<char>(size % 50));
        write(HKEY_CURRENT_USER, kPath, "long", value);
        EXPECT_EQ(read(HKEY_CURRENT_USER, kPath, "long"), value);
    }
    // Stored with its NUL: length + 1 bytes.
    write(HKEY_CURRENT_USER, kPath, "short", "abc");
    EXPECT_EQ(rows("SELECT hex(data) FROM reg_values WHERE name = CAST('short' AS BLOB)"),
              std::vector<std::string>{"61626300"});

    // A missing value and a missing name read as "", and the default value
    // (the empty name) is a value of its own.
    EXPECT_EQ(read(HKEY_CURRENT_USER, kPath, "absent"), "");
    write(HKEY_CURRENT_USER, kPath, "", "default");
    EXPECT_EQ(read(HKEY_CURRENT_USER, kPath, ""), "default");
    EXPECT_EQ(read(HKEY_CURRENT_USER, kPath, "absent"), "");

    // The text ends at the first NUL; data without one reads in full.
    write(HKEY_CURRENT_USER, kPath, "nul", std::string("ab\0cd", 5));
    EXPECT_EQ(read(HKEY_CURRENT_USER, kPath, "nul"), "ab");
    writeTyped(HKEY_CURRENT_USER, kPath, "unterminated", REG_SZ, "xyz");
    EXPECT_EQ(read(HKEY_CURRENT_USER, kPath, "unterminated"), "xyz");

    // getValue clears its output when there is nothing to read.
    std::string path = kPath, name = "absent", output = "stale";
    KeyProbe key(HKEY_CURRENT_USER, path);
    key.getValue(name, output);
    EXPECT_EQ(output, "");
}

TEST(RegistryKey, OtherStringTypesReadAsTextAndAreWrittenBackAsRegSz) {
    writeTyped(HKEY_LOCAL_MACHINE, kPath, "Path", REG_EXPAND_SZ,
               std::string("%SystemRoot%\\bin;C:\\tools\0", 26));
    VarProbe path("Path", HKEY_LOCAL_MACHINE, kPath, ";");
    path.update();
    EXPECT_EQ(path.getValue(), "%SystemRoot%\\bin;C:\\tools");
    std::string item = "D:\\more";
    ASSERT_TRUE(path.addToList(item));
    std::string value = path.getValue();
    path.setValue(value, true);
    EXPECT_EQ(typeOf(HKEY_LOCAL_MACHINE, kPath, "Path"), DWORD(REG_SZ));
    EXPECT_EQ(read(HKEY_LOCAL_MACHINE, kPath, "PATH"), "%SystemRoot%\\bin;C:\\tools;D:\\more");

    // A list of strings reads as its first one; another type by its bytes.
    writeTyped(HKEY_LOCAL_MACHINE, kPath, "multi", REG_MULTI_SZ, std::string("one\0two\0\0", 9));
    EXPECT_EQ(read(HKEY_LOCAL_MACHINE, kPath, "multi"), "one");
    writeTyped(HKEY_LOCAL_MACHINE, kPath, "binary", REG_BINARY, "raw");
    EXPECT_EQ(read(HKEY_LOCAL_MACHINE, kPath, "binary"), "raw");
}

TEST(RegistryKey, NamesIgnoreLetterCaseAndKeepTheirFirstSpelling) {
    write(HKEY_CURRENT_USER, "Software\\Keldmar\\Mixed", "Value", "first");
    write(HKEY_CURRENT_USER, "SOFTWARE\\keldmar\\MIXED", "VALUE", "second");
    EXPECT_EQ(read(HKEY_CURRENT_USER, "software\\KELDMAR\\mixed", "vAlUe"), "second");
    EXPECT_EQ(rows("SELECT name FROM reg_keys WHERE name_folded = CAST('mixed' AS BLOB)"),
              std::vector<std::string>{"Mixed"});
    EXPECT_EQ(rows("SELECT name, data FROM reg_values WHERE name_folded = CAST('value' AS BLOB)"),
              std::vector<std::string>{std::string("Value|second\0", 13)});

    // Only ASCII letters fold: bytes of the code page above 0x7F are exact.
    write(HKEY_CURRENT_USER, kPath, "\xC9t\xE9", "upper");
    write(HKEY_CURRENT_USER, kPath, "\xE9T\xE9", "lower");
    EXPECT_EQ(read(HKEY_CURRENT_USER, kPath, "\xC9T\xE9"), "upper");
    EXPECT_EQ(read(HKEY_CURRENT_USER, kPath, "\xE9t\xE9"), "lower");
    write(HKEY_CURRENT_USER, kPath + "\\\xC0\xFF\x80", "n", "high");
    EXPECT_EQ(read(HKEY_CURRENT_USER, kPath + "\\\xC0\xFF\x80", "N"), "high");
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
    EXPECT_EQ(read(HKEY_CURRENT_USER, kPath + "\\a%", "abc"), "");
    EXPECT_EQ(read(HKEY_CURRENT_USER, kPath, "\\"), "v:\\");
}

TEST(RegistryKey, RootsAreSeparateTreesAndPathsCreateTheirParents) {
    write(HKEY_LOCAL_MACHINE, "Shared\\Key", "v", "machine");
    write(HKEY_CURRENT_USER, "Shared\\Key", "v", "user");
    write(HKEY_CLASSES_ROOT, "Shared\\Key", "v", "classes");
    EXPECT_EQ(read(HKEY_LOCAL_MACHINE, "Shared\\Key", "v"), "machine");
    EXPECT_EQ(read(HKEY_CURRENT_USER, "Shared\\Key", "v"), "user");
    EXPECT_EQ(read(HKEY_CLASSES_ROOT, "Shared\\Key", "v"), "classes");

    write(HKEY_CURRENT_USER, "One\\Two\\Three", "deep", "3");
    EXPECT_EQ(rows("SELECT a.name, b.name, c.name FROM reg_keys a"
                   " JOIN reg_keys b ON b.parent = a.id JOIN reg_keys c ON c.parent = b.id"
                   " WHERE a.parent = 2 AND c.name = CAST('Three' AS BLOB)"),
              std::vector<std::string>{"One|Two|Three"});

    // Doubled and trailing backslashes name nothing; an empty path is the root.
    EXPECT_EQ(read(HKEY_CURRENT_USER, "One\\\\Two\\Three\\", "deep"), "3");
    write(HKEY_CURRENT_USER, "", "atRoot", "r");
    EXPECT_EQ(read(HKEY_CURRENT_USER, "", "ATROOT"), "r");
    EXPECT_EQ(read(HKEY_LOCAL_MACHINE, "", "atRoot"), "");
    EXPECT_EQ(read(HKEY_CURRENT_USER, "One", "atRoot"), "");

    // Windows refuses a path that begins with a backslash, and names longer
    // than 255 characters.
    std::string leadingPath = "\\Leading";
    KeyProbe leading(HKEY_CURRENT_USER, leadingPath);
    EXPECT_EQ(leading.mKey, nullptr);
    std::string longest(255, 'k'), tooLong(256, 'k');
    KeyProbe fits(HKEY_CURRENT_USER, longest);
    KeyProbe refused(HKEY_CURRENT_USER, tooLong);
    EXPECT_NE(fits.mKey, nullptr);
    EXPECT_EQ(refused.mKey, nullptr);
    std::string deep, tooDeep;
    for (int level = 0; level < 512; ++level)
        deep += "L\\";
    tooDeep = deep + "L";
    KeyProbe deepest(HKEY_CURRENT_USER, deep);
    KeyProbe refusedDeep(HKEY_CURRENT_USER, tooDeep);
    EXPECT_NE(deepest.mKey, nullptr);
    EXPECT_EQ(refusedDeep.mKey, nullptr);
    // A root that is none of the three opens nothing.
    std::string path = "X";
    KeyProbe other(reinterpret_cast<HKEY>(std::intptr_t(0x12345)), path);
    EXPECT_EQ(other.mKey, nullptr);
}

TEST(SettingsVar, WritesOnlyWhatChangedUnlessForced) {
    VarProbe var("Mode", HKEY_CURRENT_USER, kPath, "");
    // Nothing is read on construction, whatever the store holds.
    write(HKEY_CURRENT_USER, kPath, "Mode", "stored");
    VarProbe fresh("Mode", HKEY_CURRENT_USER, kPath, "");
    EXPECT_EQ(fresh.getValue(), "");
    EXPECT_EQ(fresh.getName(), "Mode");
    fresh.update();
    EXPECT_EQ(fresh.getValue(), "stored");
    VarProbe missing("Absent", HKEY_CURRENT_USER, kPath, "");
    missing.update();
    EXPECT_EQ(missing.getValue(), "");

    std::string one = "one";
    var.setValue(one, false);
    EXPECT_EQ(read(HKEY_CURRENT_USER, kPath, "Mode"), "one");
    // Another writer changes the value behind the object's back: the same
    // value again writes nothing, unless forced.
    write(HKEY_CURRENT_USER, kPath, "Mode", "other");
    var.setValue(one, false);
    EXPECT_EQ(read(HKEY_CURRENT_USER, kPath, "Mode"), "other");
    var.setValue(one, true);
    EXPECT_EQ(read(HKEY_CURRENT_USER, kPath, "Mode"), "one");
    // The comparison is exact.
    std::string upper = "ONE";
    var.setValue(upper, false);
    EXPECT_EQ(read(HKEY_CURRENT_USER, kPath, "mode"), "ONE");
    // The object's own value, forced, as the environment variable does.
    var.setValue(var.getValue(), true);
    EXPECT_EQ(var.getValue(), "ONE");
    EXPECT_EQ(read(HKEY_CURRENT_USER, kPath, "mode"), "ONE");
    // update brings the stored text back.
    write(HKEY_CURRENT_USER, kPath, "Mode", "again");
    var.update();
    EXPECT_EQ(var.getValue(), "again");
}

TEST(SettingsVar, ListEditsChangeOnlyTheValueInMemory) {
    VarProbe list("List", HKEY_CURRENT_USER, kPath, ";");
    std::string a = "A", b = "B", empty;
    EXPECT_TRUE(list.addToList(a));
    EXPECT_EQ(list.getValue(), "A");
    EXPECT_TRUE(list.addToList(b));
    EXPECT_TRUE(list.addToList(a));
    EXPECT_EQ(list.getValue(), "A;B;A");
    EXPECT_FALSE(list.addToList(empty));
    EXPECT_EQ(list.getValue(), "A;B;A");
    EXPECT_TRUE(list.addToList(list.getValue()));
    EXPECT_EQ(list.getValue(), "A;B;A;A;B;A");
    EXPECT_EQ(read(HKEY_CURRENT_USER, kPath, "List"), "");

    std::string c = "C";
    VarProbe plain("Plain", HKEY_CURRENT_USER, kPath, "");
    EXPECT_FALSE(plain.addToList(c));
    EXPECT_EQ(plain.getValue(), "");

    std::string value = "C:\\x;D:\\bin;E:\\y", bin = "D:\\bin", zzz = "zzz", repl = "F:\\new";
    list.setValue(value, false);
    EXPECT_FALSE(list.removeTemplate(zzz));
    EXPECT_FALSE(list.replaceTemplate(zzz, repl));
    EXPECT_TRUE(list.replaceTemplate(bin, repl));
    EXPECT_EQ(list.getValue(), "C:\\x;F:\\new;E:\\y");
    std::string y = "y";
    EXPECT_TRUE(list.removeTemplate(y));
    EXPECT_EQ(list.getValue(), "C:\\x;F:\\new");
    EXPECT_EQ(read(HKEY_CURRENT_USER, kPath, "List"), value);
}

TEST(RegistryKey, RetValueKeepsEachReadAndSeesLaterWrites) {
    std::string path = kPath, name = "Counter";
    KLXRegistryKey key(HKEY_CURRENT_USER, path);
    write(HKEY_CURRENT_USER, kPath, "Counter", "1");
    std::string& first = key.retValue(name);
    EXPECT_EQ(first, "1");
    write(HKEY_CURRENT_USER, kPath, "counter", "2");
    std::string& second = key.retValue(name);
    EXPECT_NE(&first, &second);
    EXPECT_EQ(second, "2");
    // Many reads on one key: the latest reference is always good.
    for (int i = 0; i < 100; ++i) {
        std::string& again = key.retValue(name);
        EXPECT_NE(&again, &second);
        ASSERT_EQ(again, "2");
    }
}

TEST(RegistryKey, CopiesOwnTheirOwnKeys) {
    std::string path = kPath, name = "Copied", text = "text";
    auto original = std::make_unique<KeyProbe>(HKEY_CURRENT_USER, path);
    original->setValue(name, text);
    KeyProbe copy(*original);
    EXPECT_NE(copy.mKey, nullptr);
    EXPECT_NE(copy.mKey, original->mKey);

    std::string otherPath = kPath + "\\Other";
    KeyProbe assigned(HKEY_CURRENT_USER, otherPath);
    assigned = *original;
    KeyProbe& self = assigned;
    assigned = self;
    original.reset();
    EXPECT_EQ(copy.retValue(name), "text");
    EXPECT_EQ(assigned.retValue(name), "text");
    std::string changed = "changed";
    assigned.setValue(name, changed);
    EXPECT_EQ(copy.retValue(name), "changed");
    EXPECT_EQ(read(HKEY_CURRENT_USER, otherPath, "Copied"), "");

    // Settings copy their key with them.
    auto var = std::make_unique<VarProbe>("Copied", HKEY_CURRENT_USER, kPath, ";");
    VarProbe varCopy(*var);
    var.reset();
    varCopy.update();
    EXPECT_EQ(varCopy.getValue(), "changed");

    // A copy of a key that could not be opened has none either.
    std::string bad = "\\bad";
    KeyProbe null(HKEY_CURRENT_USER, bad);
    KeyProbe nullCopy(null);
    EXPECT_EQ(nullCopy.mKey, nullptr);
    copy = null;
    EXPECT_EQ(copy.mKey, nullptr);
    EXPECT_EQ(copy.retValue(name), "");
}

TEST(RegistryKey, UnusableStoreGivesNullKeys) {
    std::string path = kPath, name = "v", value = "lost";
    write(HKEY_CURRENT_USER, kPath, "v", "kept");

    auto expectNull = [&](const fs::path& prefix) {
        PrefixOverride use(prefix);
        KeyProbe key(HKEY_CURRENT_USER, path);
        EXPECT_EQ(key.mKey, nullptr);
        key.setValue(name, value);
        EXPECT_EQ(key.retValue(name), "");
        VarProbe var("v", HKEY_LOCAL_MACHINE, kPath, ";");
        var.setValue(value, true);
        var.update();
        EXPECT_EQ(var.getValue(), "");
    };

    // A prefix that cannot be made: its parent is a file.
    fs::path dir = klxtest::freshDir("unusable");
    klxtest::writeBytes(dir / "file", "not a directory");
    expectNull(dir / "file" / "prefix");

    // A registry.db that is not a database, or not a file.
    fs::create_directories(dir / "garbage");
    std::string garbage(8192, '\x5A');
    klxtest::writeBytes(dir / "garbage" / "registry.db", garbage);
    expectNull(dir / "garbage");
    EXPECT_EQ(klxtest::readBytes(dir / "garbage" / "registry.db"), garbage);
    fs::create_directories(dir / "folder" / "registry.db");
    expectNull(dir / "folder");

    // A key opened before KLX_PREFIX changes stays with its own store.
    KLXRegistryKey before(HKEY_CURRENT_USER, path);
    {
        PrefixOverride use(dir / "elsewhere");
        write(HKEY_CURRENT_USER, kPath, "v", "elsewhere");
        std::string again = "again";
        before.setValue(name, again);
        EXPECT_EQ(read(HKEY_CURRENT_USER, kPath, "v"), "elsewhere");
    }
    EXPECT_EQ(read(HKEY_CURRENT_USER, kPath, "v"), "again");
}
