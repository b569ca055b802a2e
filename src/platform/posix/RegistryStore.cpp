// The registry database: opening, schema, and the statements behind each
// registry operation.
#include "platform/posix/RegistryStore.h"

#include "platform/common/AsciiText.h"
#include "platform/common/RetryAfterSignal.h"
#include "platform/posix/Errors.h"
#include "platform/posix/Handles.h"
#include "platform/posix/HostPaths.h"

#include <cerrno>
#include <fcntl.h>
#include <sqlite3.h>
#include <sys/stat.h>
#include <unistd.h>

namespace klx {
namespace platform {

namespace {

// How long a write waits for another process's write to finish.
const int kBusyTimeoutMs = 5000;
// The log is cut back to this size after a checkpoint, so that a burst of
// large values does not leave a large file behind.
const char* const kSetUp = "PRAGMA synchronous = NORMAL;"
                           "PRAGMA foreign_keys = ON;"
                           "PRAGMA journal_size_limit = 4194304;";

const int kSchemaVersion = 1;
const char* const kSchema =
    "CREATE TABLE IF NOT EXISTS reg_keys("
    " id INTEGER PRIMARY KEY AUTOINCREMENT,"
    " parent INTEGER REFERENCES reg_keys(id) ON DELETE CASCADE,"
    " name BLOB NOT NULL,"
    " name_folded BLOB NOT NULL,"
    " UNIQUE(parent, name_folded));"
    "CREATE TABLE IF NOT EXISTS reg_values("
    " key_id INTEGER NOT NULL REFERENCES reg_keys(id) ON DELETE CASCADE,"
    " name BLOB NOT NULL,"
    " name_folded BLOB NOT NULL,"
    " type INTEGER NOT NULL,"
    " data BLOB NOT NULL,"
    " UNIQUE(key_id, name_folded));"
    "INSERT OR IGNORE INTO reg_keys(id, parent, name, name_folded) VALUES"
    " (1, NULL, CAST('HKEY_CLASSES_ROOT' AS BLOB), CAST('hkey_classes_root' AS BLOB)),"
    " (2, NULL, CAST('HKEY_CURRENT_USER' AS BLOB), CAST('hkey_current_user' AS BLOB)),"
    " (3, NULL, CAST('HKEY_LOCAL_MACHINE' AS BLOB), CAST('hkey_local_machine' AS BLOB));"
    "PRAGMA user_version = 1;";

const char* const kStatementText[] = {
    "BEGIN IMMEDIATE",
    "COMMIT",
    "ROLLBACK",
    "SELECT 1 FROM reg_keys WHERE id = ?1",
    "SELECT id FROM reg_keys WHERE parent = ?1 AND name_folded = ?2",
    "INSERT INTO reg_keys(parent, name, name_folded) VALUES(?1, ?2, ?3)",
    "SELECT type, data FROM reg_values WHERE key_id = ?1 AND name_folded = ?2",
    ("INSERT INTO reg_values(key_id, name, name_folded, type, data) VALUES(?1, ?2, ?3, ?4, ?5)"
     " ON CONFLICT(key_id, name_folded) DO UPDATE SET type = excluded.type, data = excluded.data"),
    // One read, so that the count and the key's existence agree.
    ("SELECT (SELECT count(*) FROM reg_values WHERE key_id = ?1),"
     " EXISTS(SELECT 1 FROM reg_keys WHERE id = ?1)"),
    "SELECT name FROM reg_values WHERE key_id = ?1 ORDER BY rowid",
};

DWORD storeError(int code) {
    switch (code & 0xFF) {
    case SQLITE_OK:
    case SQLITE_ROW:
    case SQLITE_DONE:
        return ERROR_SUCCESS;
    case SQLITE_BUSY:
    case SQLITE_LOCKED:
        return ERROR_BUSY;
    case SQLITE_NOMEM:
        return ERROR_NOT_ENOUGH_MEMORY;
    case SQLITE_PERM:
    case SQLITE_READONLY:
    case SQLITE_AUTH:
        return ERROR_ACCESS_DENIED;
    case SQLITE_FULL:
        return ERROR_DISK_FULL;
    case SQLITE_CANTOPEN:
        return ERROR_CANTOPEN;
    case SQLITE_CORRUPT:
    case SQLITE_NOTADB:
    case SQLITE_SCHEMA:
        return ERROR_BADDB;
    case SQLITE_IOERR:
        return ERROR_IO_DEVICE;
    case SQLITE_TOOBIG:
        return ERROR_INVALID_PARAMETER;
    case SQLITE_CONSTRAINT:
        // The only constraint a write can break: its key was deleted.
        return ERROR_KEY_DELETED;
    default:
        return ERROR_REGISTRY_CORRUPT;
    }
}

// Resets a statement once its result has been taken, so that no read stays
// open: the next statement then sees everything committed until then.
class Use {
public:
    explicit Use(sqlite3_stmt* statement) : mStatement(statement) {}
    ~Use() {
        sqlite3_reset(mStatement);
        sqlite3_clear_bindings(mStatement);
    }
    Use(const Use&) = delete;
    Use& operator=(const Use&) = delete;

private:
    sqlite3_stmt* mStatement;
};

// Binds bytes as a BLOB (never NULL, also when empty), without copying:
// the bytes outlive the statement's use.
int bindBytes(sqlite3_stmt* statement, int index, const void* data, std::size_t size) {
    static const char empty = 0;
    return sqlite3_bind_blob64(statement, index, size == 0 ? &empty : data,
                               static_cast<sqlite3_uint64>(size), SQLITE_STATIC);
}

int bindText(sqlite3_stmt* statement, int index, const std::string& text) {
    return bindBytes(statement, index, text.data(), text.size());
}

int userVersion(sqlite3* db, int& version) {
    sqlite3_stmt* statement = nullptr;
    int rc = sqlite3_prepare_v2(db, "PRAGMA user_version", -1, &statement, nullptr);
    if (rc == SQLITE_OK) {
        rc = sqlite3_step(statement);
        if (rc == SQLITE_ROW) {
            version = sqlite3_column_int(statement, 0);
            rc = SQLITE_OK;
        }
    }
    sqlite3_finalize(statement);
    return rc;
}

// Switches a new database to the write-ahead log. The switch needs the
// database to itself, and SQLite does not wait for that (the busy handler is
// not called for it), so when several processes create the store at once the
// others retry until the first one is done.
int useWriteAheadLog(sqlite3* db) {
    int rc = SQLITE_BUSY;
    for (int waited = 0; waited < kBusyTimeoutMs; waited += 5) {
        rc = sqlite3_exec(db, "PRAGMA journal_mode = WAL", nullptr, nullptr, nullptr);
        if ((rc & 0xFF) != SQLITE_BUSY && (rc & 0xFF) != SQLITE_LOCKED)
            break;
        sqlite3_sleep(5);
    }
    return rc;
}

// Creates the tables of a new database; another process may be doing the
// same at the same moment, hence the check inside the write transaction.
int ensureSchema(sqlite3* db) {
    int version = 0;
    int rc = userVersion(db, version);
    if (rc != SQLITE_OK || version == kSchemaVersion)
        return rc;
    if (version != 0)
        return SQLITE_NOTADB;

    rc = sqlite3_exec(db, "BEGIN IMMEDIATE", nullptr, nullptr, nullptr);
    if (rc != SQLITE_OK)
        return rc;
    rc = userVersion(db, version);
    if (rc == SQLITE_OK && version == 0)
        rc = sqlite3_exec(db, kSchema, nullptr, nullptr, nullptr);
    else if (rc == SQLITE_OK && version != kSchemaVersion)
        rc = SQLITE_NOTADB;
    if (rc == SQLITE_OK)
        rc = sqlite3_exec(db, "COMMIT", nullptr, nullptr, nullptr);
    if (rc != SQLITE_OK)
        sqlite3_exec(db, "ROLLBACK", nullptr, nullptr, nullptr);
    return rc;
}

// Takes the bits of group and others from a file of the user's.
void makePrivateFile(int fd) {
    struct stat info;
    if (::fstat(fd, &info) == 0 && info.st_uid == ::geteuid() && (info.st_mode & 0777) != 0600)
        ::fchmod(fd, 0600);
}

// Creates the database file private to the user before SQLite opens it:
// SQLite gives its journal files the database's permissions. Files of an
// older, wider store are made private as well.
DWORD preparePrivateFiles(const std::string& path) {
    const std::string::size_type slash = path.rfind('/');
    const std::string directory = slash == std::string::npos ? "."
                                  : slash == 0               ? "/"
                                                             : path.substr(0, slash);
    if (DWORD error = makePrivateDirectory(directory))
        return error;
    ScopedFd database(
        retryAfterSignal(-1, ::open, path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, mode_t(0600)));
    if (!database)
        return win32PathError(errno, path);
    makePrivateFile(database.get());
    for (const char* suffix : {"-wal", "-shm"}) {
        ScopedFd journal(
            retryAfterSignal(-1, ::open, (path + suffix).c_str(), O_RDONLY | O_CLOEXEC));
        if (journal)
            makePrivateFile(journal.get());
    }
    return ERROR_SUCCESS;
}

} // namespace

void DatabaseTraits::close(sqlite3* db) {
    sqlite3_close(db);
}

std::string foldRegistryName(const char* name, std::size_t size) {
    std::string folded(name, size);
    for (char& c : folded)
        c = foldAscii(c);
    return folded;
}

std::unique_ptr<RegistryStore> RegistryStore::open(const std::string& path, DWORD& error) {
    error = preparePrivateFiles(path);
    if (error != ERROR_SUCCESS)
        return nullptr;
    sqlite3* opened = nullptr;
    int rc =
        sqlite3_open_v2(path.c_str(), &opened,
                        SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE | SQLITE_OPEN_NOMUTEX, nullptr);
    // Even a failed open gives a handle to close.
    ScopedDatabase db(opened);
    if (rc == SQLITE_OK)
        rc = sqlite3_busy_timeout(db.get(), kBusyTimeoutMs);
    // SQLite falls back to reading a file it may not write; keys are opened
    // for writing too, so such a store is no use.
    if (rc == SQLITE_OK && sqlite3_db_readonly(db.get(), "main") == 1)
        rc = SQLITE_READONLY;
    // Whether the file is a database at all shows on its first read, here.
    if (rc == SQLITE_OK)
        rc = useWriteAheadLog(db.get());
    if (rc == SQLITE_OK)
        rc = sqlite3_exec(db.get(), kSetUp, nullptr, nullptr, nullptr);
    if (rc == SQLITE_OK)
        rc = ensureSchema(db.get());

    std::unique_ptr<RegistryStore> store;
    if (rc == SQLITE_OK) {
        store.reset(new RegistryStore(std::move(db), path));
        rc = store->prepareAll();
        if (rc != SQLITE_OK)
            store.reset();
    }
    error = storeError(rc);
    if (!store && error == ERROR_SUCCESS)
        error = ERROR_CANTOPEN;
    return store;
}

RegistryStore::RegistryStore(ScopedDatabase db, const std::string& path)
    : mDb(std::move(db)), mStatements(), mPath(path), mOwner(::getpid()) {}

RegistryStore::~RegistryStore() {
    // Statements first: the connection closes only without them.
    for (sqlite3_stmt* statement : mStatements)
        sqlite3_finalize(statement);
}

int RegistryStore::prepareAll() {
    static_assert(sizeof(kStatementText) / sizeof(kStatementText[0]) == StatementCount,
                  "one text per statement");
    for (int i = 0; i < StatementCount; ++i) {
        int rc = sqlite3_prepare_v3(mDb.get(), kStatementText[i], -1, SQLITE_PREPARE_PERSISTENT,
                                    &mStatements[i], nullptr);
        if (rc != SQLITE_OK)
            return rc;
    }
    return SQLITE_OK;
}

std::int64_t RegistryStore::rootId(HKEY root) {
    if (root == HKEY_CLASSES_ROOT)
        return 1;
    if (root == HKEY_CURRENT_USER)
        return 2;
    if (root == HKEY_LOCAL_MACHINE)
        return 3;
    return 0;
}

int RegistryStore::step(Statement which) {
    int rc = sqlite3_step(mStatements[which]);
    sqlite3_reset(mStatements[which]);
    return rc == SQLITE_DONE ? SQLITE_OK : rc;
}

int RegistryStore::findChild(std::int64_t parent, const std::string& name, std::int64_t& id) {
    sqlite3_stmt* statement = mStatements[FindChild];
    Use use(statement);
    std::string folded = foldRegistryName(name.data(), name.size());
    sqlite3_bind_int64(statement, 1, parent);
    int rc = bindText(statement, 2, folded);
    if (rc != SQLITE_OK)
        return rc;
    rc = sqlite3_step(statement);
    id = 0;
    if (rc == SQLITE_ROW) {
        id = sqlite3_column_int64(statement, 0);
        return SQLITE_OK;
    }
    return rc == SQLITE_DONE ? SQLITE_OK : rc;
}

int RegistryStore::keyExists(std::int64_t id, bool& exists) {
    sqlite3_stmt* statement = mStatements[KeyExists];
    Use use(statement);
    sqlite3_bind_int64(statement, 1, id);
    int rc = sqlite3_step(statement);
    exists = rc == SQLITE_ROW;
    return (rc == SQLITE_ROW || rc == SQLITE_DONE) ? SQLITE_OK : rc;
}

DWORD RegistryStore::openKey(std::int64_t parent, const std::vector<std::string>& names,
                             bool create, std::int64_t& id) {
    id = 0;
    // Most keys exist already: look them up without taking the write lock.
    std::int64_t current = parent;
    std::size_t found = 0;
    bool exists = true;
    int rc = names.empty() ? keyExists(parent, exists) : SQLITE_OK;
    for (; rc == SQLITE_OK && found < names.size(); ++found) {
        std::int64_t child = 0;
        rc = findChild(current, names[found], child);
        if (child == 0)
            break;
        current = child;
    }
    if (rc != SQLITE_OK)
        return storeError(rc);
    if (found == names.size() && exists) {
        id = current;
        return ERROR_SUCCESS;
    }
    if (!create) {
        rc = keyExists(parent, exists);
        if (rc != SQLITE_OK)
            return storeError(rc);
        return exists ? ERROR_FILE_NOT_FOUND : ERROR_KEY_DELETED;
    }

    // Create what is missing in one transaction, looking again under the
    // write lock: another process may have created some of it meanwhile.
    if (!sqlite3_get_autocommit(mDb.get()))
        step(Rollback);
    rc = step(Begin);
    if (rc != SQLITE_OK)
        return storeError(rc);
    rc = keyExists(parent, exists);
    if (rc == SQLITE_OK && !exists) {
        step(Rollback);
        return ERROR_KEY_DELETED;
    }
    current = parent;
    for (std::size_t i = 0; rc == SQLITE_OK && i < names.size(); ++i) {
        std::int64_t child = 0;
        rc = findChild(current, names[i], child);
        if (rc == SQLITE_OK && child == 0) {
            sqlite3_stmt* insert = mStatements[InsertChild];
            Use use(insert);
            std::string folded = foldRegistryName(names[i].data(), names[i].size());
            sqlite3_bind_int64(insert, 1, current);
            rc = bindText(insert, 2, names[i]);
            if (rc == SQLITE_OK)
                rc = bindText(insert, 3, folded);
            if (rc == SQLITE_OK)
                rc = sqlite3_step(insert);
            if (rc == SQLITE_DONE) {
                rc = SQLITE_OK;
                child = sqlite3_last_insert_rowid(mDb.get());
            }
        }
        current = child;
    }
    if (rc == SQLITE_OK)
        rc = step(Commit);
    if (rc != SQLITE_OK) {
        step(Rollback);
        return storeError(rc);
    }
    id = current;
    return ERROR_SUCCESS;
}

DWORD RegistryStore::queryValue(std::int64_t key, const std::string& name, std::string& data,
                                DWORD& type) {
    data.clear();
    sqlite3_stmt* statement = mStatements[FindValue];
    Use use(statement);
    std::string folded = foldRegistryName(name.data(), name.size());
    sqlite3_bind_int64(statement, 1, key);
    int rc = bindText(statement, 2, folded);
    if (rc == SQLITE_OK)
        rc = sqlite3_step(statement);
    if (rc == SQLITE_DONE)
        return ERROR_FILE_NOT_FOUND;
    if (rc != SQLITE_ROW)
        return storeError(rc);

    type = static_cast<DWORD>(sqlite3_column_int64(statement, 0));
    const void* bytes = sqlite3_column_blob(statement, 1);
    int size = sqlite3_column_bytes(statement, 1);
    if (bytes == nullptr && size > 0)
        return ERROR_NOT_ENOUGH_MEMORY;
    if (size > 0)
        data.assign(static_cast<const char*>(bytes), static_cast<std::size_t>(size));
    return ERROR_SUCCESS;
}

DWORD RegistryStore::setValue(std::int64_t key, const std::string& name, DWORD type,
                              const void* data, std::size_t size) {
    if (!sqlite3_get_autocommit(mDb.get()))
        step(Rollback);
    int rc = step(Begin);
    if (rc != SQLITE_OK)
        return storeError(rc);
    {
        sqlite3_stmt* statement = mStatements[UpsertValue];
        Use use(statement);
        std::string folded = foldRegistryName(name.data(), name.size());
        sqlite3_bind_int64(statement, 1, key);
        rc = bindText(statement, 2, name);
        if (rc == SQLITE_OK)
            rc = bindText(statement, 3, folded);
        if (rc == SQLITE_OK)
            rc = sqlite3_bind_int64(statement, 4, type);
        if (rc == SQLITE_OK)
            rc = bindBytes(statement, 5, data, size);
        if (rc == SQLITE_OK)
            rc = sqlite3_step(statement);
        if (rc == SQLITE_DONE)
            rc = SQLITE_OK;
    }
    if (rc == SQLITE_OK)
        rc = step(Commit);
    if (rc != SQLITE_OK) {
        step(Rollback);
        return storeError(rc);
    }
    return ERROR_SUCCESS;
}

DWORD RegistryStore::valueNames(std::int64_t key, std::vector<std::string>& names) {
    names.clear();
    // A deleted key reports so, as every other call does.
    DWORD count = 0;
    if (DWORD error = countValues(key, count))
        return error;
    sqlite3_stmt* statement = mStatements[ValueNames];
    Use use(statement);
    sqlite3_bind_int64(statement, 1, key);
    int rc;
    while ((rc = sqlite3_step(statement)) == SQLITE_ROW) {
        const void* bytes = sqlite3_column_blob(statement, 0);
        int size = sqlite3_column_bytes(statement, 0);
        names.emplace_back(static_cast<const char*>(bytes),
                           bytes ? static_cast<std::size_t>(size) : 0);
    }
    if (rc != SQLITE_DONE) {
        names.clear();
        return storeError(rc);
    }
    return ERROR_SUCCESS;
}

DWORD RegistryStore::countValues(std::int64_t key, DWORD& count) {
    count = 0;
    sqlite3_stmt* statement = mStatements[CountValues];
    Use use(statement);
    sqlite3_bind_int64(statement, 1, key);
    int rc = sqlite3_step(statement);
    if (rc != SQLITE_ROW)
        return storeError(rc == SQLITE_DONE ? SQLITE_ERROR : rc);
    if (sqlite3_column_int(statement, 1) == 0)
        return ERROR_KEY_DELETED;
    sqlite3_int64 values = sqlite3_column_int64(statement, 0);
    // RegQueryInfoKeyA counts in a DWORD.
    count = values > 0xFFFFFFFF ? 0xFFFFFFFFu : static_cast<DWORD>(values);
    return ERROR_SUCCESS;
}

} // namespace platform
} // namespace klx
