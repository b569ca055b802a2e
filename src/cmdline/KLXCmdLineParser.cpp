// KlxCore: one-letter flags and options ('-x' or '/x') of a command line.
#include "KLXCmdLineParser.h"

#include <cstddef>
#include <utility>

namespace {

// True when the argument starts like an option: "/" or "-" first.
bool startsAsOption(const std::string& argument) {
    if (argument.empty())
        return false;
    return argument[0] == KLX_STR_SLASH[0] || argument[0] == KLX_STR_LESS[0];
}

// A flag is exactly a marker and its letter: "-x" or "/x".
bool isFlagArgument(const std::string& argument) {
    return argument.size() == 2 && startsAsOption(argument);
}

// A string option only needs the marker and a letter; "-long" is option 'l'.
bool isStringOptionArgument(const std::string& argument) {
    return argument.size() >= 2 && startsAsOption(argument);
}

} // namespace

KLXCmdLineParser::KLXCmdLineParser(int argc, char* argv[]) {
    // argv[0] is the program name. A caller that hands over no vector, or a
    // vector with holes, gets the arguments that are there: null entries are
    // skipped rather than turned into empty arguments, since an empty string
    // would later read as a value of a string option.
    if (argc <= 1 || argv == nullptr)
        return;
    mParsedStrings.reserve(static_cast<std::size_t>(argc - 1));
    for (int i = 1; i < argc; ++i) {
        if (argv[i] != nullptr)
            mParsedStrings.emplace_back(argv[i]);
    }
}

KLXCmdLineParser::KLXCmdLineParser(std::string& commandLine) {
    // Blanks are the only separator: no quoting, no escapes, no tabs. A run of
    // blanks separates two words once, but a blank at the very end still
    // yields an empty last argument.
    const std::string separator = KLX_STR_SPACE;
    std::size_t p = 0;
    for (;;) {
        const std::size_t q = commandLine.find(separator, p);
        if (q == std::string::npos)
            break;
        if (q > p)
            mParsedStrings.push_back(commandLine.substr(p, q - p));
        p = q + separator.size();
    }
    if (!commandLine.empty())
        mParsedStrings.push_back(commandLine.substr(p));
}

bool KLXCmdLineParser::getOptionFlag(char letter, bool remove) {
    for (std::string& argument : mParsedStrings) {
        if (!isFlagArgument(argument) || argument[1] != letter)
            continue;
        // Only the first occurrence goes; a repeated flag stays for later.
        if (remove)
            argument.clear();
        return true;
    }
    return false;
}

std::vector<std::string>& KLXCmdLineParser::registerStringOption(char letter) {
    std::vector<std::string> values(1, std::string(1, letter));
    // The marker is on right after the wanted option; the next argument that
    // is not an option is its value, and each occurrence takes one value.
    bool afterOption = false;
    for (const std::string& argument : mParsedStrings) {
        if (isStringOptionArgument(argument)) {
            afterOption = argument[1] == letter;
        } else if (afterOption) {
            values.push_back(argument);
            afterOption = false;
        }
    }
    mStringOptions.push_back(std::move(values));
    return mStringOptions.back();
}

std::vector<std::string>& KLXCmdLineParser::getParsedString() {
    return mParsedStrings;
}
