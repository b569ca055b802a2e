// Directory search with Windows wildcards over the host's directory listing.
#include "platform/Platform.h"

#include "platform/posix/Errors.h"
#include "platform/posix/HostPaths.h"

#include <algorithm>
#include <cerrno>
#include <dirent.h>
#include <memory>
#include <sys/stat.h>
#include <utility>
#include <vector>

namespace klx {
namespace platform {

namespace {

// A compiled last name: byte values 0..255 stand for themselves, the rest are
// the wildcards of the Windows file system's name matching.
enum Wildcard : int {
    kStar = 256,    // any run of characters
    kDosStar = 257, // "*" before ".": any run that does not take the last dot
    kDosQm = 258,   // "?": one character, or none before a dot or at the end
    kDosDot = 259,  // "." before a wildcard or at the end: a dot, or the end
};

inline int foldAscii(unsigned char c) {
    return (c >= 'A' && c <= 'Z') ? c + ('a' - 'A') : c;
}

bool hasWildcard(const std::string& name) {
    return name.find_first_of("*?") != std::string::npos;
}

// Win32 hands the file system a pattern rewritten this way, which is what
// makes "*.*" match "abc", "*." match names without a dot and "a?.txt" match
// "a.txt".
std::vector<int> compilePattern(const std::string& name) {
    std::vector<int> tokens;
    for (std::string::size_type i = 0; i < name.size(); ++i) {
        char c = name[i];
        char after = (i + 1 < name.size()) ? name[i + 1] : '\0';
        if (c == '?')
            tokens.push_back(kDosQm);
        else if (c == '*')
            tokens.push_back(after == '.' ? kDosStar : kStar);
        else if (c == '.' && (after == '?' || after == '*' || after == '\0'))
            tokens.push_back(kDosDot);
        else
            tokens.push_back(foldAscii(static_cast<unsigned char>(c)));
    }
    return tokens;
}

// Runs the pattern as a set of positions over the name, one character at a
// time: work in proportion to the two lengths multiplied, never more.
bool matchesPattern(const std::vector<int>& tokens, const char* name) {
    const std::size_t count = tokens.size();
    std::size_t length = 0;
    std::size_t lastDot = static_cast<std::size_t>(-1);
    for (; name[length] != '\0'; ++length) {
        if (name[length] == '.')
            lastDot = length;
    }

    std::vector<char> active(count + 1, 0);
    std::vector<char> following(count + 1, 0);
    active[0] = 1;
    for (std::size_t at = 0;; ++at) {
        const bool atEnd = at == length;
        const char c = atEnd ? '\0' : name[at];
        // Moves that take no character; they only lead forward, so one pass
        // reaches all of them.
        for (std::size_t p = 0; p < count; ++p) {
            if (!active[p])
                continue;
            int token = tokens[p];
            if (token == kStar || token == kDosStar || (token == kDosQm && (atEnd || c == '.')) ||
                (token == kDosDot && atEnd))
                active[p + 1] = 1;
        }
        if (atEnd)
            return active[count] != 0;

        std::fill(following.begin(), following.end(), 0);
        bool any = false;
        for (std::size_t p = 0; p < count; ++p) {
            if (!active[p])
                continue;
            int token = tokens[p];
            std::size_t to = count + 1; // none
            if (token == kStar || (token == kDosStar && at != lastDot))
                to = p;
            else if ((token == kDosQm && c != '.') || (token == kDosDot && c == '.'))
                to = p + 1;
            else if (token < 256 && token == foldAscii(static_cast<unsigned char>(c)))
                to = p + 1;
            if (to <= count) {
                following[to] = 1;
                any = true;
            }
        }
        if (!any)
            return false;
        active.swap(following);
    }
}

// Directories by what the listing says, or for links and file systems that do
// not say, by what the name leads to: a link to a directory is one, a dangling
// link is a file.
unsigned attributesOf(const std::string& hostDirectory, const struct dirent* entry) {
#if defined(_DIRENT_HAVE_D_TYPE)
    if (entry->d_type == DT_DIR)
        return kAttributeDirectory;
    if (entry->d_type != DT_LNK && entry->d_type != DT_UNKNOWN)
        return 0;
#endif
    struct stat info;
    std::string path = hostDirectory + entry->d_name;
    if (::stat(path.c_str(), &info) == 0 && S_ISDIR(info.st_mode))
        return kAttributeDirectory;
    return 0;
}

inline bool isAsciiLetter(char c) {
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z');
}

bool equalNoCase(const std::string& left, const std::string& right) {
    if (left.size() != right.size())
        return false;
    for (std::string::size_type i = 0; i < left.size(); ++i) {
        if (foldAscii(static_cast<unsigned char>(left[i])) !=
            foldAscii(static_cast<unsigned char>(right[i])))
            return false;
    }
    return true;
}

} // namespace

// The open listing of a search with wildcards.
struct DirectorySearch::State {
    DIR* directory = nullptr;
    std::string hostDirectory; // prefix of the listed names: empty, or ends in '/'
    std::vector<int> tokens;

    ~State() {
        if (directory != nullptr)
            ::closedir(directory);
    }

    // The next listed entry that matches, or false at the end.
    bool advance(DirectoryEntry& entry) {
        while (const struct dirent* listed = ::readdir(directory)) {
            if (!matchesPattern(tokens, listed->d_name))
                continue;
            entry.name = listed->d_name;
            entry.attributes = attributesOf(hostDirectory, listed);
            return true;
        }
        return false;
    }
};

DirectorySearch::DirectorySearch(const std::string& pattern)
    : mState(nullptr), mEntry{std::string(), 0}, mError(ERROR_FILE_NOT_FOUND) {
    // Only the C string counts, as in the C runtime.
    const std::string text(pattern.c_str());

    // The directory part keeps its separator, so that "C:\" and "/" stay
    // roots; "C:name" lies in the drive's directory.
    std::string::size_type cut = text.find_last_of("\\/");
    if (cut != std::string::npos)
        ++cut;
    else if (text.size() >= 2 && isAsciiLetter(text[0]) && text[1] == ':')
        cut = 2;
    else
        cut = 0;
    const std::string directoryPart = text.substr(0, cut);
    const std::string name = text.substr(cut);
    if (name.empty())
        return;

    if (!hasWildcard(name)) {
        std::string host = hostPath(text);
        struct stat info;
        if (::stat(host.c_str(), &info) == 0) {
            mEntry.attributes = S_ISDIR(info.st_mode) ? kAttributeDirectory : 0;
        } else {
            int error = errno;
            if (::lstat(host.c_str(), &info) != 0) {
                mError = win32PathError(error, host);
                return;
            }
            mEntry.attributes = 0;
        }
        // The name as the file system spells it, unless the name was a drive
        // ("/cygdrive/c") rather than an entry of a directory.
        std::string::size_type slash = host.find_last_of('/');
        std::string hostName = (slash == std::string::npos) ? host : host.substr(slash + 1);
        mEntry.name = equalNoCase(hostName, name) ? hostName : name;
        mError = 0;
        return;
    }

    // Held here until the first entry is taken, so that nothing leaks if an
    // allocation fails on the way.
    std::unique_ptr<State> state(new State);
    state->tokens = compilePattern(name);
    state->hostDirectory = directoryPart.empty() ? std::string() : hostPath(directoryPart);
    if (!state->hostDirectory.empty() && state->hostDirectory.back() != '/')
        state->hostDirectory += '/';
    state->directory = ::opendir(state->hostDirectory.empty() ? "." : state->hostDirectory.c_str());
    if (state->directory == nullptr) {
        int error = errno;
        mError = (error == ENOENT || error == ENOTDIR) ? ERROR_PATH_NOT_FOUND : win32Error(error);
        return;
    }
    if (state->advance(mEntry)) {
        mState = state.release();
        mError = 0;
    }
}

DirectorySearch::~DirectorySearch() {
    delete mState;
}

DirectorySearch::DirectorySearch(DirectorySearch&& other) noexcept
    : mState(other.mState), mEntry(std::move(other.mEntry)), mError(other.mError) {
    other.mState = nullptr;
    other.mError = ERROR_INVALID_HANDLE;
}

DirectorySearch& DirectorySearch::operator=(DirectorySearch&& other) noexcept {
    if (this != &other) {
        delete mState;
        mState = other.mState;
        mEntry = std::move(other.mEntry);
        mError = other.mError;
        other.mState = nullptr;
        other.mError = ERROR_INVALID_HANDLE;
    }
    return *this;
}

bool DirectorySearch::next() {
    if (mError != 0)
        return false;
    if (mState != nullptr && mState->advance(mEntry))
        return true;
    // The listing is done: close it now rather than with the object.
    delete mState;
    mState = nullptr;
    mEntry.name.clear();
    mEntry.attributes = 0;
    mError = ERROR_NO_MORE_FILES;
    return false;
}

} // namespace platform
} // namespace klx
