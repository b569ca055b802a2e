// Registry keys and values, kept in $KLX_PREFIX/registry.db (see
// RegistryStore.h).
//
// A key handle is a number from this process's table of open keys, never a
// pointer: a handle that was closed, or never opened, is refused instead of
// being followed. Each open key remembers its database, so a key keeps
// working after KLX_PREFIX has changed, and its row id, the same in every
// process. Every read and write is one SQLite statement or transaction of its
// own, so each read sees what other processes have committed until then.
#include "platform/Platform.h"
#include "platform/common/NameRules.h"
#include "platform/posix/HostPaths.h"
#include "platform/posix/RegistryStore.h"

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <memory>
#include <mutex>
#include <string>
#include <unistd.h>
#include <unordered_map>
#include <vector>

namespace klx {
namespace platform {

namespace {

// Connections kept open at once; tests and tools use one or two prefixes.
const std::size_t kMaxStores = 4;

struct OpenKey {
    std::string database;
    std::int64_t id;
};

struct Registry {
    std::mutex guard;
    std::unordered_map<std::uintptr_t, OpenKey> keys;
    // Multiples of 4 from here on: far from null and from the predefined
    // roots, which are near the top of the address space.
    std::uintptr_t nextHandle = 0x10000;
    // This process's connections, the most recently used first.
    std::vector<std::unique_ptr<RegistryStore>> stores;
    // Connections inherited through fork: they belong to the parent, whose
    // locks and files they share, so the child never touches them.
    std::vector<RegistryStore*> inherited;
    bool closed = false;
};

// Never destroyed: keys may be closed by static objects of other modules
// after this one's statics are gone.
Registry& registry() {
    static Registry* instance = new Registry;
    return *instance;
}

// Closes this process's connections when the module is unloaded, which ends
// their log cleanly; later calls find the registry closed.
struct CloseAtExit {
    ~CloseAtExit() {
        Registry& state = registry();
        std::lock_guard<std::mutex> lock(state.guard);
        pid_t self = ::getpid();
        for (std::unique_ptr<RegistryStore>& store : state.stores) {
            if (store->owner() != self)
                state.inherited.push_back(store.release());
        }
        state.stores.clear();
        state.closed = true;
    }
} closeAtExit;

inline HKEY toHandle(std::uintptr_t value) {
    return reinterpret_cast<HKEY>(value);
}

// The connection to `database` for this process, opened when needed.
RegistryStore* storeFor(Registry& state, const std::string& database, DWORD& error) {
    if (state.closed) {
        error = ERROR_INVALID_HANDLE;
        return nullptr;
    }
    pid_t self = ::getpid();
    if (!state.stores.empty() && state.stores.front()->owner() != self) {
        for (std::unique_ptr<RegistryStore>& store : state.stores)
            state.inherited.push_back(store.release());
        state.stores.clear();
    }
    for (std::size_t i = 0; i < state.stores.size(); ++i) {
        if (state.stores[i]->path() != database)
            continue;
        if (i != 0)
            std::rotate(state.stores.begin(), state.stores.begin() + i,
                        state.stores.begin() + i + 1);
        error = ERROR_SUCCESS;
        return state.stores.front().get();
    }

    std::unique_ptr<RegistryStore> opened = RegistryStore::open(database, error);
    if (!opened)
        return nullptr;
    if (state.stores.size() >= kMaxStores)
        state.stores.pop_back();
    state.stores.insert(state.stores.begin(), std::move(opened));
    return state.stores.front().get();
}

// The text up to the first NUL, as the Win32 calls read their strings.
std::string cString(const std::string& text) {
    return std::string(text.data(), std::strlen(text.c_str()));
}

// Where `key` lives: a predefined root in the current prefix's database
// (filled into `root`), or an open key of the table. Null for a handle that
// is neither. Called with the guard held.
const OpenKey* resolveKey(Registry& state, HKEY key, OpenKey& root) {
    root.id = RegistryStore::rootId(key);
    if (root.id != 0) {
        root.database = prefixDirectory() + "/registry.db";
        return &root;
    }
    auto found = state.keys.find(reinterpret_cast<std::uintptr_t>(key));
    return found != state.keys.end() ? &found->second : nullptr;
}

// The connection and key id behind `key`, or null with the reason in `error`.
RegistryStore* storeOfKey(Registry& state, HKEY key, std::int64_t& id, DWORD& error) {
    OpenKey root;
    const OpenKey* where = resolveKey(state, key, root);
    if (where == nullptr) {
        error = ERROR_INVALID_HANDLE;
        return nullptr;
    }
    id = where->id;
    return storeFor(state, where->database, error);
}

Result<HKEY> openKey(HKEY parent, const std::string& path, bool create) {
    Result<HKEY> result = {nullptr, ERROR_SUCCESS};
    std::vector<std::string> names;
    result.error = registryKeyNames(path, names);
    if (result.error != ERROR_SUCCESS)
        return result;

    Registry& state = registry();
    std::lock_guard<std::mutex> lock(state.guard);
    OpenKey root;
    const OpenKey* where = resolveKey(state, parent, root);
    if (where == nullptr) {
        result.error = ERROR_INVALID_HANDLE;
        return result;
    }
    OpenKey key = *where;
    RegistryStore* store = storeFor(state, key.database, result.error);
    if (store == nullptr)
        return result;
    result.error = store->openKey(key.id, names, create, key.id);
    if (result.error != ERROR_SUCCESS)
        return result;

    std::uintptr_t handle = state.nextHandle;
    state.nextHandle += 4;
    state.keys.emplace(handle, std::move(key));
    result.value = toHandle(handle);
    return result;
}

// Runs `call(store, id)` on the store and key id behind an open handle, under
// the registry's lock; the handle's error when it names no open key.
template <typename Call> DWORD withKey(HKEY key, Call call) {
    Registry& state = registry();
    std::lock_guard<std::mutex> lock(state.guard);
    std::int64_t id = 0;
    DWORD error = ERROR_SUCCESS;
    RegistryStore* store = storeOfKey(state, key, id, error);
    if (store == nullptr)
        return error;
    return call(*store, id);
}

} // namespace

Result<HKEY> createRegistryKey(HKEY parent, const std::string& path) {
    return openKey(parent, path, true);
}

Result<HKEY> openRegistryKey(HKEY parent, const std::string& path) {
    return openKey(parent, path, false);
}

Result<HKEY> duplicateRegistryKey(HKEY key) {
    return openKey(key, std::string(), false);
}

void closeRegistryKey(HKEY key) {
    if (key == nullptr || RegistryStore::rootId(key) != 0)
        return;
    Registry& state = registry();
    std::lock_guard<std::mutex> lock(state.guard);
    state.keys.erase(reinterpret_cast<std::uintptr_t>(key));
}

Result<RegistryValue> queryRegistryValue(HKEY key, const std::string& name) {
    Result<RegistryValue> result{{std::string(), REG_NONE}, ERROR_FILE_NOT_FOUND};
    if (!fitsRegistryValueName(name))
        return result;
    std::string valueName = cString(name);

    result.error = withKey(key, [&](RegistryStore& store, std::int64_t id) {
        return store.queryValue(id, valueName, result.value.data, result.value.type);
    });
    if (result.error != ERROR_SUCCESS)
        result.value.data.clear();
    return result;
}

DWORD setRegistryValue(HKEY key, const std::string& name, DWORD type, const void* data,
                       std::size_t size) {
    if (!fitsRegistryValueName(name))
        return ERROR_INVALID_PARAMETER;
    std::string valueName = cString(name);
    // RegSetValueExW counts the data in a DWORD.
    if (size > 0xFFFFFFFFu || (data == nullptr && size != 0))
        return ERROR_INVALID_PARAMETER;

    return withKey(key, [&](RegistryStore& store, std::int64_t id) {
        return store.setValue(id, valueName, type, data, size);
    });
}

Result<std::vector<std::string>> enumerateRegistryValueNames(HKEY key) {
    Result<std::vector<std::string>> result{{}, 0};
    result.error = withKey(key, [&](RegistryStore& store, std::int64_t id) {
        return store.valueNames(id, result.value);
    });
    return result;
}

Result<DWORD> queryRegistryValueCount(HKEY key) {
    Result<DWORD> result{0, 0};
    result.error = withKey(key, [&](RegistryStore& store, std::int64_t id) {
        return store.countValues(id, result.value);
    });
    return result;
}

} // namespace platform
} // namespace klx
