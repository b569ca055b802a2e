// KlxCore: one-letter flags and options ('-x' or '/x') of a command line.
#ifndef KLX_CMD_LINE_PARSER_H
#define KLX_CMD_LINE_PARSER_H

#include "KLXConstants.h"

#include <string>
#include <vector>

class KLX_API KLXCmdLineParser {
public:
    // Takes argv[1] to argv[argc - 1].
    KLXCmdLineParser(int argc, char* argv[]);
    // Takes the blank-separated words of the string.
    KLXCmdLineParser(std::string& commandLine);
    ~KLXCmdLineParser() {}

    // True if the flag '-letter' or '/letter' is present; with `remove`, the
    // first one found is cleared so that later calls do not see it.
    bool getOptionFlag(char letter, bool remove);
    // The letter followed by each value given to the option. The reference is
    // valid until the next registerStringOption call on this parser.
    std::vector<std::string>& registerStringOption(char letter);
    // The arguments in order; removed flags are empty strings.
    std::vector<std::string>& getParsedString();

protected:
    std::vector<std::string> mParsedStrings;
    std::vector<std::vector<std::string>> mStringOptions;
};

#endif // KLX_CMD_LINE_PARSER_H
