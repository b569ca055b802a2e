#include "ShellText.h"

#include <cctype>

#ifdef _WIN32
#include <windows.h>
#endif

namespace {

// Whether the code page of klenv.bat holds every character of `value`: the
// library writes batch files in the code page cmd reads them in, the OEM one
// on Windows, and in UTF-8 elsewhere.
bool batchCodePageHolds(const std::string& value) {
#ifdef _WIN32
    const UINT codePage = ::GetOEMCP();
    if (value.empty() || codePage == CP_UTF8)
        return true;
    const int size = static_cast<int>(value.size());
    std::wstring wide(value.size(), L'\0');
    const int length =
        ::MultiByteToWideChar(CP_UTF8, MB_ERR_INVALID_CHARS, value.data(), size, &wide[0], size);
    BOOL lost = FALSE;
    return length > 0 &&
           ::WideCharToMultiByte(codePage, WC_NO_BEST_FIT_CHARS, wide.data(), length, nullptr, 0,
                                 nullptr, &lost) > 0 &&
           !lost;
#else
    (void)value;
    return true;
#endif
}

bool isNameStart(char c) {
    return c == '_' || std::isalpha(static_cast<unsigned char>(c));
}

bool isNameChar(char c) {
    return c == '_' || std::isalnum(static_cast<unsigned char>(c));
}

// Length of the reference "$NAME" or "${NAME}" at `at`, or 0.
size_t referenceLength(const std::string& value, size_t at) {
    size_t i = at + 1;
    bool braced = i < value.size() && value[i] == '{';
    if (braced)
        ++i;
    if (i >= value.size() || !isNameStart(value[i]))
        return 0;
    while (i < value.size() && isNameChar(value[i]))
        ++i;
    if (braced) {
        if (i >= value.size() || value[i] != '}')
            return 0;
        ++i;
    }
    return i - at;
}

} // namespace

std::string rcValueProblem(const std::string& value) {
    if (value.find_first_of("\r\n") != std::string::npos)
        return "it holds a line break, which would end the line in the configuration file";
    if (value.find('"') != std::string::npos)
        return "it holds a double quote, which would end the quoted value in the "
               "configuration file";
    if (value.find('`') != std::string::npos)
        return "it holds a backquote, which bash would run as a command when it reads the "
               "configuration file";
    // Only a value that begins with "$" is written as it is, and there a
    // variable reference is what the user means.
    bool reference = !value.empty() && value[0] == '$';
    for (size_t at = value.find('$'); at != std::string::npos; at = value.find('$', at + 1)) {
        size_t length = reference ? referenceLength(value, at) : 0;
        if (length == 0)
            return reference ? "it holds a \"$\" that is not a variable reference such as "
                               "$NAME, which bash would expand when it reads the configuration "
                               "file"
                             : "it holds a \"$\", which bash would expand when it reads the "
                               "configuration file";
        at += length - 1;
    }
    if (!value.empty() && value.back() == '\\')
        return "it ends with a backslash, which would escape the closing quote in the "
               "configuration file";
    return "";
}

std::string batchValueProblem(const std::string& value) {
    if (value.find_first_of("\r\n") != std::string::npos)
        return "it holds a line break, which would end the line in klenv.bat";
    size_t at = value.find_first_of("&|<>^");
    if (at != std::string::npos)
        return std::string("it holds \"") + value[at] +
               "\", which cmd would read as a command operator in klenv.bat";
    if (value.find('%') != std::string::npos)
        return "it holds \"%\", which cmd would expand as a variable in klenv.bat";
    if (!batchCodePageHolds(value))
        return "it holds a character that klenv.bat cannot hold: cmd reads it in the console's "
               "code page";
    return "";
}

std::string oneLine(const std::string& text) {
    std::string result;
    for (char c : text)
        result += c == '\n'   ? std::string("\\n")
                  : c == '\r' ? std::string("\\r")
                              : std::string(1, c);
    return result;
}
