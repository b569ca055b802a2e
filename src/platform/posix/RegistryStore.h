// The registry's keys and values in one SQLite database, shared by every
// process of the user.
//
// Schema (user_version 1):
//   reg_keys(id, parent, name, name_folded)
//       one row per key; the three roots have the fixed ids 1, 2 and 3 and no
//       parent; UNIQUE(parent, name_folded) makes names unique per parent
//       without regard to ASCII letter case.
//   reg_values(key_id, name, name_folded, type, data)
//       one row per value; UNIQUE(key_id, name_folded).
// Names are BLOBs: their bytes are kept exactly, whatever the code page.
// Deleting a key (which the library never does, but another tool may) takes
// its subkeys and values with it.
//
// The journal is a write-ahead log with synchronous=NORMAL: a transaction is
// in the log, in the operating system's hands, before its COMMIT returns, so
// it survives the death of any process; only a crash of the machine itself
// can lose the last ones, never the database's consistency. That is the
// guarantee the Windows registry gives too, which flushes lazily.
#ifndef KLX_PLATFORM_POSIX_REGISTRY_STORE_H
#define KLX_PLATFORM_POSIX_REGISTRY_STORE_H

#include "KLXConstants.h"
#include "platform/common/ScopedHandle.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <sys/types.h>
#include <vector>

struct sqlite3;
struct sqlite3_stmt;

namespace klx {
namespace platform {

struct DatabaseTraits {
    using handle_type = sqlite3*;
    static sqlite3* invalid() { return nullptr; }
    static void close(sqlite3* db);
};
using ScopedDatabase = ScopedHandle<DatabaseTraits>;

// One process's connection to one registry database, with its statements
// prepared once. Not for use by two threads at a time.
class RegistryStore {
public:
    // Opens the database at `path`, creating it and its tables when missing.
    // The database, its journal files and the directory that holds them are
    // made private to the user. Null, with the reason in `error`, when the
    // file cannot be opened or is not a registry database, and when the
    // directory belongs to someone else (ERROR_ACCESS_DENIED).
    static std::unique_ptr<RegistryStore> open(const std::string& path, DWORD& error);
    ~RegistryStore();
    RegistryStore(const RegistryStore&) = delete;
    RegistryStore& operator=(const RegistryStore&) = delete;

    // The row id of a predefined root, or 0 for a handle that is none.
    static std::int64_t rootId(HKEY root);

    // The key reached from `parent` through `names` (each a key name), created
    // with its missing ancestors in one transaction when `create` is true.
    // ERROR_FILE_NOT_FOUND when it does not exist and `create` is false,
    // ERROR_KEY_DELETED when `parent` no longer exists.
    DWORD openKey(std::int64_t parent, const std::vector<std::string>& names, bool create,
                  std::int64_t& id);
    DWORD queryValue(std::int64_t key, const std::string& name, std::string& data, DWORD& type);
    DWORD setValue(std::int64_t key, const std::string& name, DWORD type, const void* data,
                   std::size_t size);
    // The number of values of `key`; ERROR_KEY_DELETED when it is gone.
    DWORD countValues(std::int64_t key, DWORD& count);
    DWORD valueNames(std::int64_t key, std::vector<std::string>& names);

    const std::string& path() const { return mPath; }
    // The process that opened the connection; a child made by fork must open
    // its own.
    pid_t owner() const { return mOwner; }

private:
    enum Statement {
        Begin,
        Commit,
        Rollback,
        KeyExists,
        FindChild,
        InsertChild,
        FindValue,
        UpsertValue,
        CountValues,
        ValueNames,
        StatementCount
    };

    RegistryStore(ScopedDatabase db, const std::string& path);
    int prepareAll();
    // Looks `name` up below `parent`; `id` is 0 when there is no such key.
    int findChild(std::int64_t parent, const std::string& name, std::int64_t& id);
    int keyExists(std::int64_t id, bool& exists);
    int step(Statement which);

    ScopedDatabase mDb;
    sqlite3_stmt* mStatements[StatementCount];
    std::string mPath;
    pid_t mOwner;
};

// Only ASCII letters are folded: the other bytes of the code page compare
// exactly.
std::string foldRegistryName(const char* name, std::size_t size);

} // namespace platform
} // namespace klx

#endif // KLX_PLATFORM_POSIX_REGISTRY_STORE_H
