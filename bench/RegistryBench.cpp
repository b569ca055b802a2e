// Writing and reading one registry value with KLXRegistryKey, against the same
// writes and reads done directly with SQLite in the same run: one connection
// opened once, prepared statements, the same journal settings and one
// transaction per write.
#include "KLXRegistryKey.h"

#include "BenchHome.h"

#include <benchmark/benchmark.h>

#include <sqlite3.h>
#include <stdlib.h>

#include <cstdio>
#include <filesystem>
#include <memory>
#include <string>

namespace {

std::string makeValue(std::size_t size) {
    std::string value;
    for (std::size_t i = 0; i < size; ++i)
        value += static_cast<char>('a' + i % 26);
    return value;
}

// The direct counterpart: a table of values with the same layout and the same
// settings as the library's store.
class DirectStore {
public:
    DirectStore() {
        std::string path = (benchDir() / "direct.db").string();
        if (sqlite3_open_v2(path.c_str(), &mDb, SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE,
                            nullptr) != SQLITE_OK)
            std::abort();
        sqlite3_busy_timeout(mDb, 5000);
        exec("PRAGMA journal_mode = WAL; PRAGMA synchronous = NORMAL;"
             "CREATE TABLE IF NOT EXISTS reg_values(key_id INTEGER NOT NULL, name BLOB NOT NULL,"
             " name_folded BLOB NOT NULL, type INTEGER NOT NULL, data BLOB NOT NULL,"
             " UNIQUE(key_id, name_folded));");
        mBegin = prepare("BEGIN IMMEDIATE");
        mCommit = prepare("COMMIT");
        mUpsert = prepare("INSERT INTO reg_values(key_id, name, name_folded, type, data)"
                          " VALUES(?1, ?2, ?3, ?4, ?5) ON CONFLICT(key_id, name_folded)"
                          " DO UPDATE SET type = excluded.type, data = excluded.data");
        mSelect =
            prepare("SELECT type, data FROM reg_values WHERE key_id = ?1 AND name_folded = ?2");
    }
    ~DirectStore() {
        for (sqlite3_stmt* statement : {mBegin, mCommit, mUpsert, mSelect})
            sqlite3_finalize(statement);
        sqlite3_close(mDb);
    }

    bool write(const std::string& name, const std::string& value) {
        if (run(mBegin) != SQLITE_DONE)
            return false;
        sqlite3_bind_int64(mUpsert, 1, 7);
        sqlite3_bind_blob(mUpsert, 2, name.data(), static_cast<int>(name.size()), SQLITE_STATIC);
        sqlite3_bind_blob(mUpsert, 3, name.data(), static_cast<int>(name.size()), SQLITE_STATIC);
        sqlite3_bind_int(mUpsert, 4, 1);
        sqlite3_bind_blob(mUpsert, 5, value.c_str(), static_cast<int>(value.size() + 1),
                          SQLITE_STATIC);
        bool done = run(mUpsert) == SQLITE_DONE;
        return run(mCommit) == SQLITE_DONE && done;
    }

    std::string read(const std::string& name) {
        std::string text;
        sqlite3_bind_int64(mSelect, 1, 7);
        sqlite3_bind_blob(mSelect, 2, name.data(), static_cast<int>(name.size()), SQLITE_STATIC);
        if (sqlite3_step(mSelect) == SQLITE_ROW) {
            const char* data = static_cast<const char*>(sqlite3_column_blob(mSelect, 1));
            int size = sqlite3_column_bytes(mSelect, 1);
            if (data != nullptr)
                text.assign(data, static_cast<std::size_t>(size));
            std::string::size_type end = text.find('\0');
            if (end != std::string::npos)
                text.resize(end);
        }
        sqlite3_reset(mSelect);
        return text;
    }

private:
    void exec(const char* sql) {
        if (sqlite3_exec(mDb, sql, nullptr, nullptr, nullptr) != SQLITE_OK)
            std::abort();
    }
    sqlite3_stmt* prepare(const char* sql) {
        sqlite3_stmt* statement = nullptr;
        if (sqlite3_prepare_v3(mDb, sql, -1, SQLITE_PREPARE_PERSISTENT, &statement, nullptr) !=
            SQLITE_OK)
            std::abort();
        return statement;
    }
    static int run(sqlite3_stmt* statement) {
        int rc = sqlite3_step(statement);
        sqlite3_reset(statement);
        return rc;
    }

    sqlite3* mDb = nullptr;
    sqlite3_stmt* mBegin = nullptr;
    sqlite3_stmt* mCommit = nullptr;
    sqlite3_stmt* mUpsert = nullptr;
    sqlite3_stmt* mSelect = nullptr;
};

std::unique_ptr<DirectStore> gDirect;

DirectStore& direct() {
    if (!gDirect)
        gDirect.reset(new DirectStore);
    return *gDirect;
}

void DirectSetValue(benchmark::State& state) {
    std::string name = "value", value = makeValue(static_cast<std::size_t>(state.range(0)));
    for (auto _ : state) {
        if (!direct().write(name, value))
            state.SkipWithError("write failed");
    }
}

void DirectReadValue(benchmark::State& state) {
    std::string name = "value", value = makeValue(static_cast<std::size_t>(state.range(0)));
    direct().write(name, value);
    for (auto _ : state) {
        std::string text = direct().read(name);
        benchmark::DoNotOptimize(text.data());
    }
}

void LibrarySetValue(benchmark::State& state) {
    std::string path = "Software\\Keldmar\\Bench", name = "value";
    std::string value = makeValue(static_cast<std::size_t>(state.range(0)));
    KLXRegistryKey key(HKEY_CURRENT_USER, path);
    for (auto _ : state)
        key.setValue(name, value);
    if (key.retValue(name) != value)
        state.SkipWithError("the value did not arrive");
}

void LibraryRetValue(benchmark::State& state) {
    std::string path = "Software\\Keldmar\\Bench", name = "value";
    std::string value = makeValue(static_cast<std::size_t>(state.range(0)));
    KLXRegistryKey key(HKEY_CURRENT_USER, path);
    key.setValue(name, value);
    for (auto _ : state) {
        std::string& text = key.retValue(name);
        benchmark::DoNotOptimize(text.data());
    }
}

} // namespace

// A short setting, and a long "PATH"-sized one.
BENCHMARK(DirectSetValue)->Arg(40)->Arg(4096)->UseRealTime();
BENCHMARK(LibrarySetValue)->Arg(40)->Arg(4096)->UseRealTime();
BENCHMARK(DirectReadValue)->Arg(40)->Arg(4096)->UseRealTime();
BENCHMARK(LibraryRetValue)->Arg(40)->Arg(4096)->UseRealTime();

int main(int argc, char** argv) {
    return runBenchmarksAtHome(argc, argv, nullptr, [] { gDirect.reset(); });
}
