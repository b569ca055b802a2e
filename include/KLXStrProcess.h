// KlxCore: string and path processing.
#ifndef KLX_STR_PROCESS_H
#define KLX_STR_PROCESS_H

#include "KLXConstants.h"

#include <string>

// Template flags: one int made of five fields.
// Position (mask 0xF): where the match must lie; 3 to 15 never match.
constexpr int KLX_TEMPLATE_AT_START = 0x0;
constexpr int KLX_TEMPLATE_AT_END = 0x1;
constexpr int KLX_TEMPLATE_ANYWHERE = 0x2;
constexpr int KLX_TEMPLATE_POSITION_MASK = 0xF;
// Case (mask 0xF0): exactly 0x10 compares bytes as they are; anything else
// ignores ASCII letter case.
constexpr int KLX_TEMPLATE_CASE_SENSITIVE = 0x10;
constexpr int KLX_TEMPLATE_CASE_MASK = 0xF0;
// Direction (mask 0xF00): any nonzero value searches from the end.
constexpr int KLX_TEMPLATE_BACKWARD = 0x100;
constexpr int KLX_TEMPLATE_DIRECTION_MASK = 0xF00;
// Word (mask 0xF000): exactly 0x1000 demands that the match touch no word
// letter on either side.
constexpr int KLX_TEMPLATE_WHOLE_WORD = 0x1000;
constexpr int KLX_TEMPLATE_WORD_MASK = 0xF000;
// Count (mask 0xF0000): n * 0x10000 stops the remove and replace operations
// after n replacements; 0 means no limit.
constexpr int KLX_TEMPLATE_MAX_COUNT_MASK = 0xF0000;
constexpr int KLX_TEMPLATE_MAX_COUNT_UNIT = 0x10000;

// Character classes of keepChars; a character survives when it belongs to at
// least one selected class.
constexpr int KLX_KEEP_DIGITS = 1;
constexpr int KLX_KEEP_DOT = 2;
constexpr int KLX_KEEP_LOWER = 4;
constexpr int KLX_KEEP_UPPER = 8;
constexpr int KLX_KEEP_HEX_LETTERS = 16;
constexpr int KLX_KEEP_UNDERSCORE = 32;

class KLX_API KLXStrProcess {
public:
    // What findTemplate returns when nothing matches: the string type's
    // no-position value in the width of the result. Defined in the library
    // (not inline), so that a program that takes its address finds it in the
    // DLL as well.
    static const unsigned int npos = static_cast<unsigned int>(std::string::npos);

    KLXStrProcess() {}
    ~KLXStrProcess() {}
    KLXStrProcess(const KLXStrProcess&) {}
    KLXStrProcess& operator=(const KLXStrProcess&) { return *this; }

    // Every '/' becomes '\'.
    static void swapSlashes(std::string& path);
    // Every '\' becomes '/'.
    static void swapBackslashes(std::string& path);
    // 'C:\tools\bin' becomes '/cygdrive/C/tools/bin'. Throws std::out_of_range
    // for an empty path.
    static void convertPath2Cygwin(std::string& path);
    // '/cygdrive/c/tools' becomes 'c:\tools'. Throws std::out_of_range for a
    // path that is empty once its "/cygdrive/" prefix is removed.
    static void convertPath2Windows(std::string& path);
    // Cuts the last separator and what follows it.
    static void removeFileName(std::string& path);
    // Keeps what follows the last separator, without its extension on request.
    static void extractFileName(std::string& path, bool removeExtension);

    // Index of the match of the pattern in the text under the template flags,
    // or npos.
    static unsigned int findTemplate(std::string& text, std::string& pattern, int flags);
    // Number of non-overlapping occurrences, ignoring case.
    static int countTemplate(std::string& text, std::string& pattern);
    // Replaces every occurrence of the pattern after `start` characters.
    static bool replaceTemplate(std::string& text, std::string& pattern, std::string& separator,
                                std::string& replacement, int start);
    // Removes every separator-delimited item that contains the pattern.
    static bool removeTemplate(std::string& text, std::string& pattern, std::string& separator,
                               int start);
    static bool removeTemplate(std::string& text, std::string& pattern, std::string& separator,
                               int start, int flags);

    // Erases every character outside the classes selected by `mode`.
    static void keepChars(std::string& text, int mode);
    // The C library's atoi of the text, clamped to the range of int.
    static int convert2Int(std::string& text);
    // ASCII letters, digits and the underscore.
    static bool isAWordLetter(char c);

protected:
    static bool processTemplate(std::string& text, std::string& pattern, std::string& separator,
                                std::string& replacement, int start, bool wholeItem, int flags);
};

#endif // KLX_STR_PROCESS_H
