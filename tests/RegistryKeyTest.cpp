// The registry's rules through the platform calls, and KLXRegistryKey and
// KLXSettingsVar on it: values of any length and type, names, roots and
// paths, value counts, copies of keys, when a setting writes, and stores that
// cannot be used.
#include "KLXRegistryKey.h"
#include "KLXSettingsVar.h"

#include "Environment.h"
#include "TestFiles.h"
#include "platform/Platform.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <memory>
#include <string>
#include <unistd.h>
#include <vector>

namespace fs = std::filesystem;
using namespace klx::platform;

namespace {

std::string kPath = "Software\\Keldmar\\KlxTest";

std::string read(HKEY root, std::string path, std::string name) {
    return KLXRegistryKey(root, path).retValue(name);
}

void write(HKEY root, std::string path, std::string name, std::string value) {
    KLXRegistryKey(root, path).setValue(name, value);
}

// The value as stored, "type:bytes", after writing it with a type of the
// caller's choice when one is given, as other programs may.
std::string stored(const std::string& name, DWORD type = REG_NONE, const std::string& data = "") {
    HKEY key = createRegistryKey(HKEY_CURRENT_USER, kPath).value;
    if (type != REG_NONE)
        setRegistryValue(key, name, type, data.data(), data.size());
    Result<RegistryValue> value = queryRegistryValue(key, name);
    closeRegistryKey(key);
    return std::to_string(value.value.type) + ":" + value.value.data;
}

} // namespace

TEST(RegistryKey, ValuesOfAnyLengthAndType) {
    for (std::size_t size : {0, 1023, 1024, 70000, 1 << 20}) {
        std::string value(size, ' ');
        for (std::size_t i = 0; i < size; ++i)
            value[i] = static_cast<char>('!' + (i * 7 + i / 251) % 90);
        write(HKEY_CURRENT_USER, kPath, "long", value);
        EXPECT_EQ(read(HKEY_CURRENT_USER, kPath, "long"), value) << size;
    }
    // Each reads as "%A%": the text ends at the first NUL, whatever the type,
    // and data without one reads in full; REG_EXPAND_SZ stays unexpanded.
    const std::pair<DWORD, std::string> values[] = {{REG_SZ, std::string("%A%\0cd", 6)},
                                                    {REG_EXPAND_SZ, "%A%"},
                                                    {REG_MULTI_SZ, std::string("%A%\0B\0\0", 7)},
                                                    {REG_BINARY, "%A%"}};
    for (const auto& [type, data] : values) {
        stored("typed", type, data);
        EXPECT_EQ(read(HKEY_CURRENT_USER, kPath, "typed"), "%A%") << type;
    }
    // Written back as REG_SZ with its NUL; the default value is one of its own.
    write(HKEY_CURRENT_USER, kPath, "typed", "abc");
    EXPECT_EQ(stored("typed"), std::to_string(REG_SZ) + ":" + std::string("abc\0", 4));
    write(HKEY_CURRENT_USER, kPath, "", "default");
    EXPECT_EQ(read(HKEY_CURRENT_USER, kPath, "") + read(HKEY_CURRENT_USER, kPath, "absent"),
              "default");
}

TEST(RegistryKey, NamesRootsAndPaths) {
    // ASCII letter case is ignored; bytes above 0x7F are exact.
    write(HKEY_CURRENT_USER, "Software\\Keldmar\\Mixed", "Value\xC9", "first");
    write(HKEY_CURRENT_USER, "SOFTWARE\\keldmar\\MIXED", "VALUE\xE9", "second");
    EXPECT_EQ(read(HKEY_CURRENT_USER, "software\\KELDMAR\\mixed", "vAlUe\xC9"), "first");

    // Roots are separate trees; doubled and trailing backslashes name
    // nothing; an empty path is the root.
    for (HKEY root : {HKEY_LOCAL_MACHINE, HKEY_CURRENT_USER, HKEY_CLASSES_ROOT})
        write(root, "One\\Two", "v", std::to_string(std::intptr_t(root)));
    for (HKEY root : {HKEY_LOCAL_MACHINE, HKEY_CURRENT_USER, HKEY_CLASSES_ROOT})
        EXPECT_EQ(read(root, "One\\\\Two\\", "v"), std::to_string(std::intptr_t(root)));
    write(HKEY_CURRENT_USER, "", "atRoot", "r");
    EXPECT_EQ(read(HKEY_CURRENT_USER, "", "ATROOT") + read(HKEY_CURRENT_USER, "One", "atRoot"),
              "r");

    // Refused: a leading backslash, a name over 255 characters, a path over
    // 512 levels, a root that is none of the three.
    std::string deep;
    for (int level = 0; level < 512; ++level)
        deep += "L\\";
    const std::pair<std::string, DWORD> paths[] = {{"\\Leading", ERROR_BAD_PATHNAME},
                                                   {std::string(255, 'k'), 0},
                                                   {std::string(256, 'k'), ERROR_INVALID_PARAMETER},
                                                   {deep, 0},
                                                   {deep + "L", ERROR_INVALID_PARAMETER}};
    for (const auto& [path, error] : paths) {
        Result<HKEY> key = createRegistryKey(HKEY_CURRENT_USER, path);
        EXPECT_EQ(key.error, error) << path.size();
        closeRegistryKey(key.value);
    }
    HKEY none = reinterpret_cast<HKEY>(std::intptr_t(0x12345));
    EXPECT_EQ(createRegistryKey(none, "X").error, DWORD(ERROR_INVALID_HANDLE));
}

TEST(RegistryKey, ValueCountsCopiesAndClosedKeys) {
    // Rewriting a value, in any letter case, adds nothing; the default value
    // and other types count, empty data too; subkeys' values do not.
    HKEY key = createRegistryKey(HKEY_CURRENT_USER, kPath + "\\values").value;
    for (const char* name : {"count", "0", "COUNT", ""})
        setRegistryValue(key, name, REG_SZ, "x", 2);
    EXPECT_EQ(setRegistryValue(key, "bytes", REG_BINARY, nullptr, 0), 0u);
    write(HKEY_CURRENT_USER, kPath + "\\values\\child", "a", "x");
    HKEY again = duplicateRegistryKey(key).value;
    EXPECT_EQ(queryRegistryValueCount(again).value, 4u);
    closeRegistryKey(again);
    EXPECT_EQ(queryRegistryValueCount(again).error, DWORD(ERROR_INVALID_HANDLE));
    EXPECT_EQ(queryRegistryValueCount(key).value, 4u);
    closeRegistryKey(key);

    // Copies own their keys and work on after the original is gone; a copy
    // of a key that could not be opened has none either.
    std::string name = "Copied", text = "text", bad = "\\bad", other = kPath + "\\Other";
    auto original = std::make_unique<KLXRegistryKey>(HKEY_CURRENT_USER, kPath);
    KLXRegistryKey copy(*original), assigned(HKEY_CURRENT_USER, other);
    assigned = *original;
    original.reset();
    assigned.setValue(name, text);
    EXPECT_EQ(copy.retValue(name), "text");
    copy = KLXRegistryKey(HKEY_CURRENT_USER, bad);
    copy.setValue(name, bad);
    EXPECT_EQ(copy.retValue(name), "");
}

TEST(SettingsVar, WritesOnlyWhatChangedUnlessForced) {
    // Nothing is read on construction. Before each call another writer puts
    // "other" under the name; the comparison is exact.
    write(HKEY_CURRENT_USER, kPath, "Mode", "stored");
    std::string name = "Mode", separator = ";";
    KLXSettingsVar var(name, HKEY_CURRENT_USER, kPath, separator);
    EXPECT_EQ(var.getValue(), "");
    const std::pair<std::string, bool> calls[] = {
        {"", false}, {"one", false}, {"one", false}, {"one", true}, {"ONE", false}};
    const char* const expected[] = {"other", "one", "other", "one", "ONE"};
    for (int i = 0; i < 5; ++i) {
        write(HKEY_CURRENT_USER, kPath, "Mode", "other");
        std::string value = calls[i].first;
        var.setValue(value, calls[i].second);
        EXPECT_EQ(read(HKEY_CURRENT_USER, kPath, "mode"), expected[i]) << i;
    }
    // List edits change only the value in memory, also one appended to itself.
    EXPECT_TRUE(var.addToList(var.getValue()));
    EXPECT_EQ(var.getValue(), "ONE;ONE");
    EXPECT_EQ(read(HKEY_CURRENT_USER, kPath, "mode"), "ONE");
}

TEST(RegistryKey, UnusableStoreGivesNullKeys) {
    const std::string prefix = std::getenv("KLX_PREFIX");
    auto readIn = [&](const fs::path& elsewhere) {
        klxtest::setEnv("KLX_PREFIX", elsewhere.string());
        write(HKEY_CURRENT_USER, kPath, "v", "lost");
        std::string value = read(HKEY_CURRENT_USER, kPath, "v");
        klxtest::setEnv("KLX_PREFIX", prefix);
        return value;
    };
    // A prefix that cannot be made (its parent is a file), a registry.db that
    // is not a database (and is left alone), or not a file, a prefix of
    // another user.
    fs::path dir = klxtest::freshDir("unusable");
    klxtest::writeBytes(dir / "file", "not a directory");
    EXPECT_EQ(readIn(dir / "file" / "prefix"), "");
    const std::string garbage(8192, '\x5A');
    fs::create_directories(dir / "garbage");
    klxtest::writeBytes(dir / "garbage" / "registry.db", garbage);
    EXPECT_EQ(readIn(dir / "garbage"), "");
    EXPECT_EQ(klxtest::readBytes(dir / "garbage" / "registry.db"), garbage);
    fs::create_directories(dir / "folder" / "registry.db");
    EXPECT_EQ(readIn(dir / "folder"), "");
    fs::create_directories(dir / "foreign");
    if (::geteuid() == 0 && ::chown((dir / "foreign").c_str(), 65534, 65534) == 0) {
        EXPECT_EQ(readIn(dir / "foreign"), "");
    }

    // The store is the user's alone, also where an empty store was not.
    fs::create_directories(dir / "open");
    klxtest::writeBytes(dir / "open" / "registry.db", "");
    fs::permissions(dir / "open" / "registry.db", fs::perms::all);
    EXPECT_EQ(readIn(dir / "open"), "lost");
    for (const char* file : {"registry.db", "registry.db-wal", "registry.db-shm"})
        EXPECT_EQ(fs::status(dir / "open" / file).permissions(),
                  fs::perms::owner_read | fs::perms::owner_write)
            << file;

    // A key opened before KLX_PREFIX changes stays with its own store.
    std::string name = "v", again = "again";
    KLXRegistryKey before(HKEY_CURRENT_USER, kPath);
    klxtest::setEnv("KLX_PREFIX", (dir / "elsewhere").string());
    before.setValue(name, again);
    klxtest::setEnv("KLX_PREFIX", prefix);
    EXPECT_EQ(read(HKEY_CURRENT_USER, kPath, "v"), "again");
}
