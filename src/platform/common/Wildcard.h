// The wildcard matching of Windows' file systems ("*" and "?" in the last
// name of a search pattern), without regard to ASCII letter case.
#ifndef KLX_PLATFORM_COMMON_WILDCARD_H
#define KLX_PLATFORM_COMMON_WILDCARD_H

#include <string_view>
#include <vector>

namespace klx {
namespace platform {

// The last name holds "*" or "?".
bool hasWildcard(std::string_view lastName);

// A last name as Windows matches it against the names of a directory: "*.*"
// matches every name (dot or not), a trailing "." after a wildcard may match
// the end of a name ("*." finds names without an extension), and "?" before
// a dot or the end may match nothing. Takes O(pattern * name) time.
class WildcardPattern {
public:
    explicit WildcardPattern(std::string_view lastName);
    bool matches(std::string_view name) const;

private:
    // Byte values 0..255 stand for themselves (letters folded); the rest are
    // the wildcards that Win32 hands the file system.
    std::vector<int> mTokens;
};

} // namespace platform
} // namespace klx

#endif // KLX_PLATFORM_COMMON_WILDCARD_H
