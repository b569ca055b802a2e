// String and path processing: separator swaps, Windows and Cygwin path forms,
// directory and file name parts, character filters, and the template search
// that the text files, environment lists and settings values are built on.
#include "KLXStrProcess.h"

#include "platform/common/AsciiText.h"

#include <cstring>

const unsigned int KLXStrProcess::npos;

namespace {

// Swaps every occurrence of `from` for `to`. Equivalent to replacing the first
// occurrence from index 0 until none is left, as `to` never holds `from`, but
// linear instead of quadratic.
void replaceAll(std::string& text, const char* from, const char* to) {
    const std::size_t fromLength = std::strlen(from);
    const std::size_t toLength = std::strlen(to);
    std::size_t at = text.find(from, 0, fromLength);
    while (at != std::string::npos) {
        text.replace(at, fromLength, to, toLength);
        at = text.find(from, at + toLength, fromLength);
    }
}

// Index of the last occurrence of a one-character separator constant, exact
// case, or npos; the file name operations search with anywhere, exact case,
// backward.
unsigned int findLast(std::string& path, const char* separator) {
    std::string pattern(separator);
    return KLXStrProcess::findTemplate(path, pattern, 0x112);
}

} // namespace

void KLXStrProcess::swapSlashes(std::string& path) {
    replaceAll(path, KLX_STR_SLASH, KLX_STR_BACKSLASH);
}

void KLXStrProcess::swapBackslashes(std::string& path) {
    replaceAll(path, KLX_STR_BACKSLASH, KLX_STR_SLASH);
}

void KLXStrProcess::convertPath2Cygwin(std::string& path) {
    swapBackslashes(path);
    // Drops the drive colon; on an empty path the string's own range check
    // throws std::out_of_range, which callers are told to expect.
    path.erase(1, 1);
    path.insert(0, KLX_STR_PATH_NAME_CYGDRIVE);
}

void KLXStrProcess::convertPath2Windows(std::string& path) {
    const std::size_t prefixLength = std::strlen(KLX_STR_PATH_NAME_CYGDRIVE);
    if (path.compare(0, prefixLength, KLX_STR_PATH_NAME_CYGDRIVE) == 0)
        path.erase(0, prefixLength);
    swapSlashes(path);
    // Unconditional, as callers only pass Cygwin drive paths; an empty rest
    // makes the string throw std::out_of_range.
    path.insert(1, ":");
}

void KLXStrProcess::removeFileName(std::string& path) {
    unsigned int at = findLast(path, KLX_STR_BACKSLASH);
    if (at == npos)
        at = findLast(path, KLX_STR_SLASH);
    if (at != npos)
        path.erase(at);
}

void KLXStrProcess::extractFileName(std::string& path, bool removeExtension) {
    unsigned int at = findLast(path, KLX_STR_BACKSLASH);
    if (at == npos)
        at = findLast(path, KLX_STR_SLASH);
    if (at != npos)
        path.erase(0, static_cast<std::size_t>(at) + 1);
    if (removeExtension) {
        at = findLast(path, ".");
        if (at != npos)
            path.erase(at);
    }
}

void KLXStrProcess::keepChars(std::string& text, int mode) {
    // One pass that keeps the survivors in order; the same as erasing each
    // other character and staying at its index.
    std::size_t kept = 0;
    for (char c : text) {
        bool keep =
            ((mode & KLX_KEEP_DIGITS) && c >= '0' && c <= '9') ||
            ((mode & KLX_KEEP_DOT) && c == '.') ||
            ((mode & KLX_KEEP_LOWER) && c >= 'a' && c <= 'z') ||
            ((mode & KLX_KEEP_UPPER) && c >= 'A' && c <= 'Z') ||
            ((mode & KLX_KEEP_HEX_LETTERS) && ((c >= 'a' && c <= 'f') || (c >= 'A' && c <= 'F'))) ||
            ((mode & KLX_KEEP_UNDERSCORE) && c == '_');
        if (keep)
            text[kept++] = c;
    }
    text.resize(kept);
}

int KLXStrProcess::convert2Int(std::string& text) {
    return klx::platform::parseInt(text.c_str());
}

bool KLXStrProcess::isAWordLetter(char c) {
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '_';
}
