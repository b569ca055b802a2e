// Windows command lines as the Microsoft C runtime reads them.
#include "platform/common/CommandLineSplit.h"

#include <utility>

namespace klx {
namespace platform {

namespace {

inline bool isBlank(char c) {
    return c == ' ' || c == '\t';
}

} // namespace

std::vector<std::string> splitCommandLine(const std::string& line) {
    std::vector<std::string> arguments;
    const std::size_t end = line.size();
    std::size_t at = 0;
    for (;;) {
        while (at < end && isBlank(line[at]))
            ++at;
        if (at == end)
            break;

        std::string argument;
        bool quoted = false;
        while (at < end) {
            std::size_t backslashes = 0;
            while (at < end && line[at] == '\\') {
                ++backslashes;
                ++at;
            }
            if (at < end && line[at] == '"') {
                argument.append(backslashes / 2, '\\');
                if (backslashes % 2 != 0) {
                    // An escaped quote is an ordinary character.
                    argument += '"';
                    ++at;
                } else if (quoted && at + 1 < end && line[at + 1] == '"') {
                    // "" inside quotes: a literal quote, still quoted (the
                    // rule of the 2008 and later runtimes).
                    argument += '"';
                    at += 2;
                } else {
                    quoted = !quoted;
                    ++at;
                }
                continue;
            }
            argument.append(backslashes, '\\');
            if (at == end || (!quoted && isBlank(line[at])))
                break;
            argument += line[at];
            ++at;
        }
        arguments.push_back(std::move(argument));
    }
    return arguments;
}

std::string quoteArgument(const std::string& argument) {
    if (!argument.empty() && argument.find_first_of(" \t\"") == std::string::npos)
        return argument;
    std::string quoted = "\"";
    std::size_t backslashes = 0;
    for (char c : argument) {
        if (c == '\\') {
            ++backslashes;
            continue;
        }
        // Backslashes count double only before a quote, the argument's own
        // or the closing one.
        quoted.append(c == '"' ? 2 * backslashes + 1 : backslashes, '\\');
        quoted += c;
        backslashes = 0;
    }
    quoted.append(2 * backslashes, '\\');
    quoted += '"';
    return quoted;
}

} // namespace platform
} // namespace klx
