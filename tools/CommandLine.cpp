#include "CommandLine.h"

#include "KLXCmdLineParser.h"

#ifdef _WIN32
#include <windows.h>

#include <shellapi.h>
#endif

namespace {

// The program's arguments as the library takes texts: in UTF-8. On Windows
// `argv` is in the ANSI code page, which loses what it cannot hold, so the
// arguments are split again from the wide command line.
std::vector<std::string> utf8Arguments(int argc, char* argv[]) {
#ifdef _WIN32
    int count = 0;
    LPWSTR* wide = ::CommandLineToArgvW(::GetCommandLineW(), &count);
    if (wide != nullptr) {
        std::vector<std::string> arguments;
        for (int i = 0; i < count; ++i) {
            const int size =
                ::WideCharToMultiByte(CP_UTF8, 0, wide[i], -1, nullptr, 0, nullptr, nullptr);
            std::string text(size > 0 ? static_cast<std::size_t>(size) : 1, '\0');
            ::WideCharToMultiByte(CP_UTF8, 0, wide[i], -1, &text[0], size, nullptr, nullptr);
            text.resize(text.size() - 1);
            arguments.push_back(text);
        }
        ::LocalFree(wide);
        return arguments;
    }
#endif
    return std::vector<std::string>(argv, argv + (argc > 0 ? argc : 0));
}

// The parser's option test ("-" or "/" and a letter), except that a longer
// argument beginning with "/" is a path.
bool isOption(const std::string& argument) {
    if (argument.size() < 2)
        return false;
    return argument[0] == '-' || (argument[0] == '/' && argument.size() == 2);
}

// The two long options every program understands, as their letters.
const char* shortForm(const std::string& argument) {
    if (argument == "--help")
        return "-h";
    if (argument == "--version")
        return "-v";
    return nullptr;
}

} // namespace

CommandLine::CommandLine(int argc, char* argv[], const std::string& flagLetters,
                         const std::string& valueLetters) {
    // The parser knows one-letter options only: the long ones reach it as
    // their letters.
    std::vector<std::string> texts = utf8Arguments(argc, argv);
    for (size_t i = 1; i < texts.size(); ++i)
        if (const char* letter = shortForm(texts[i]))
            texts[i] = letter;
    std::vector<char*> pointers;
    for (std::string& text : texts)
        pointers.push_back(&text[0]);
    pointers.push_back(nullptr);

    KLXCmdLineParser parser(static_cast<int>(texts.size()), pointers.data());
    for (char letter : flagLetters)
        if (parser.getOptionFlag(letter, false))
            mFlags += letter;

    std::vector<std::string>& arguments = parser.getParsedString();
    for (size_t i = 0; i < arguments.size(); ++i) {
        const std::string& argument = arguments[i];
        if (!isOption(argument)) {
            mItems.push_back({'\0', argument});
            continue;
        }
        char letter = argument[1];
        bool exact = argument.size() == 2;
        if (exact && flagLetters.find(letter) != std::string::npos)
            continue;
        if (exact && valueLetters.find(letter) != std::string::npos) {
            if (i + 1 < arguments.size() && !isOption(arguments[i + 1])) {
                mItems.push_back({letter, arguments[++i]});
                continue;
            }
            mError = "option " + argument + " needs a value";
        } else {
            mError = "unknown option " + argument;
        }
        return;
    }
}

bool CommandLine::hasFlag(char letter) const {
    return mFlags.find(letter) != std::string::npos;
}
