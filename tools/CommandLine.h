// The command line of the SDK's programs: one-letter flags and options
// written "-x" or "/x", an option's value in the argument after it, and
// operands, all read through the library's parser.
//
// Two additions to the parser's syntax: "--help" and "--version" stand for
// "-h" and "-v"; and an argument longer than two
// characters that begins with "/" is a host path, never an option, so that
// "-f /home/me/project.cvlrc" means what a user on a POSIX host expects.
#ifndef KLX_TOOLS_COMMAND_LINE_H
#define KLX_TOOLS_COMMAND_LINE_H

#include <string>
#include <vector>

class CommandLine {
public:
    // An option with its value, or an operand (option '\0').
    struct Item {
        char option;
        std::string value;
    };

    // `flagLetters` take no value, `valueLetters` take the next argument.
    CommandLine(int argc, char* argv[], const std::string& flagLetters,
                const std::string& valueLetters);

    // What is wrong with the command line, in one line; "" when nothing is.
    const std::string& error() const { return mError; }
    bool hasFlag(char letter) const;
    // Options with values and operands, in command-line order.
    const std::vector<Item>& items() const { return mItems; }

private:
    std::string mFlags;
    std::vector<Item> mItems;
    std::string mError;
};

#endif // KLX_TOOLS_COMMAND_LINE_H
