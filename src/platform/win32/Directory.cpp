// Directory listings through FindFirstFileExW. A listing asks for every
// entry ("dir\*") and leaves the matching to the shared wildcard matcher, so
// that a pattern matches the same names here as on a POSIX host (Wine's own
// matching differs from Windows' in places).
#include "platform/Platform.h"
#include "platform/win32/Handles.h"
#include "platform/win32/WideText.h"

namespace klx {
namespace platform {

namespace {

DirectoryEntry entryOf(const WIN32_FIND_DATAW& data) {
    const unsigned directory =
        (data.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) != 0 ? kAttributeDirectory : 0;
    return DirectoryEntry{toUtf8(data.cFileName), directory};
}

// FindFirstFileExW without short names, which the entries never use.
HANDLE findFirst(const std::wstring& pattern, WIN32_FIND_DATAW& data) {
    return ::FindFirstFileExW(pattern.c_str(), FindExInfoBasic, &data, FindExSearchNameMatch,
                              nullptr, FIND_FIRST_EX_LARGE_FETCH);
}

// Whether `path` names something that is not a directory.
bool isNonDirectory(const std::wstring& path) {
    const DWORD attributes = ::GetFileAttributesW(path.c_str());
    return attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_DIRECTORY) == 0;
}

} // namespace

Result<std::vector<DirectoryEntry>> listDirectory(const std::string& path) {
    const std::wstring directory = widePath(path);
    std::wstring pattern = directory;
    // "C:" and "C:\" list the drive's directory as they stand; "" the
    // current directory.
    if (!pattern.empty() && pattern.back() != L'\\' && pattern.back() != L':')
        pattern += L'\\';
    pattern += L'*';

    std::vector<DirectoryEntry> entries;
    WIN32_FIND_DATAW data;
    ScopedFindHandle search(findFirst(pattern, data));
    if (!search) {
        DWORD error = ::GetLastError();
        // A file is no directory, whatever code the file system gives.
        if (isNonDirectory(directory))
            return {std::move(entries), ERROR_PATH_NOT_FOUND};
        // A drive's root holds no "." and "..": an empty one holds nothing.
        if (error == ERROR_FILE_NOT_FOUND || error == ERROR_NO_MORE_FILES)
            return {std::move(entries), 0};
        return {std::move(entries), error};
    }
    do {
        entries.push_back(entryOf(data));
    } while (::FindNextFileW(search.get(), &data));
    DWORD error = ::GetLastError();
    if (error != ERROR_NO_MORE_FILES)
        return {std::vector<DirectoryEntry>(), error};
    return {std::move(entries), 0};
}

Result<DirectoryEntry> findEntry(const std::string& path) {
    WIN32_FIND_DATAW data;
    std::wstring wide = widePath(path);
    if (wide.empty())
        return {DirectoryEntry{std::string(), 0}, ERROR_PATH_NOT_FOUND};
    ScopedFindHandle search(findFirst(wide, data));
    if (!search)
        return {DirectoryEntry{std::string(), 0}, ::GetLastError()};
    return {entryOf(data), 0};
}

} // namespace platform
} // namespace klx
