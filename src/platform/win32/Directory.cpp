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

// "C:\": a drive's root, which keeps its backslash.
bool isDriveRoot(const std::wstring& path) {
    return path.size() == 3 && path[1] == L':' && path[2] == L'\\';
}

// Whether `path` names something that is not a directory.
bool isNonDirectory(const std::wstring& path) {
    const DWORD attributes = ::GetFileAttributesW(path.c_str());
    return attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_DIRECTORY) == 0;
}

// ERROR_PATH_NOT_FOUND when a file stands where `path` needs a directory, as
// the POSIX host says; Windows versions and file systems give other codes
// for it (Wine gives ERROR_INVALID_NAME).
DWORD pathError(DWORD error, const std::wstring& path) {
    if (error != ERROR_INVALID_NAME && error != ERROR_DIRECTORY && error != ERROR_FILE_NOT_FOUND)
        return error;
    for (std::size_t end = path.find(L'\\'); end != std::wstring::npos;
         end = path.find(L'\\', end + 1)) {
        if (end != 0 && path[end - 1] != L'\\' && path[end - 1] != L':' &&
            isNonDirectory(path.substr(0, end)))
            return ERROR_PATH_NOT_FOUND;
    }
    return error;
}

} // namespace

Result<std::vector<DirectoryEntry>> listDirectory(const std::string& path) {
    std::wstring pattern = widePath(path);
    if (hasOverlongName(pattern))
        return {std::vector<DirectoryEntry>(), ERROR_FILENAME_EXCED_RANGE};
    // "C:" and "C:\" list the drive's directory as they stand; "" the
    // current directory.
    if (!pattern.empty() && pattern.back() != L'\\' && pattern.back() != L':')
        pattern += L'\\';
    pattern += L'*';

    std::vector<DirectoryEntry> entries;
    WIN32_FIND_DATAW data;
    ScopedFindHandle search(findFirst(pattern, data));
    if (!search) {
        const DWORD error = pathError(::GetLastError(), pattern);
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
    std::wstring wide = widePath(path);
    if (wide.empty())
        return {DirectoryEntry{std::string(), 0}, ERROR_PATH_NOT_FOUND};
    if (hasOverlongName(wide))
        return {DirectoryEntry{std::string(), 0}, ERROR_FILENAME_EXCED_RANGE};
    // "dir\" names the directory "dir", as "C:\" names the drive's root.
    bool directoryOnly = false;
    while (wide.size() > 1 && wide.back() == L'\\' && !isDriveRoot(wide)) {
        wide.pop_back();
        directoryOnly = true;
    }

    WIN32_FIND_DATAW data;
    ScopedFindHandle search(findFirst(wide, data));
    if (search) {
        DirectoryEntry entry = entryOf(data);
        if (directoryOnly && entry.attributes != kAttributeDirectory)
            return {DirectoryEntry{std::string(), 0}, ERROR_PATH_NOT_FOUND};
        return {std::move(entry), 0};
    }
    // A root is no entry of a directory, so FindFirstFileExW does not find
    // it; it is a directory all the same.
    const DWORD error = pathError(::GetLastError(), wide);
    const DWORD attributes = ::GetFileAttributesW(wide.c_str());
    if (attributes == INVALID_FILE_ATTRIBUTES || (attributes & FILE_ATTRIBUTE_DIRECTORY) == 0)
        return {DirectoryEntry{std::string(), 0}, error};
    while (!wide.empty() && wide.back() == L'\\')
        wide.pop_back();
    const std::size_t nameStart = wide.find_last_of(L'\\');
    const std::wstring name = nameStart == std::wstring::npos ? wide : wide.substr(nameStart + 1);
    return {DirectoryEntry{toUtf8(name), kAttributeDirectory}, 0};
}

} // namespace platform
} // namespace klx
