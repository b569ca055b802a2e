// Fuzzes the Windows command-line splitting: the input is split as a command
// line and compared with a plain model of the Microsoft C runtime's rules,
// and, cut at NUL bytes, taken as arguments that quoteArgument must quote so
// that the split gives them back.
#include "FuzzSupport.h"

#include "platform/common/CommandLineSplit.h"

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

using klx::platform::quoteArgument;
using klx::platform::splitCommandLine;

namespace {

using Strings = std::vector<std::string>;

// The runtime's parser as it reads: one character at a time, a run of
// backslashes counted before the character that decides what they mean.
Strings modelSplit(const std::string& line) {
    Strings arguments;
    std::size_t at = 0;
    auto blank = [&](std::size_t i) { return line[i] == ' ' || line[i] == '\t'; };
    for (;;) {
        while (at < line.size() && blank(at))
            ++at;
        if (at == line.size())
            return arguments;
        std::string argument;
        bool inQuotes = false;
        for (;;) {
            std::size_t slashes = 0;
            while (at < line.size() && line[at] == '\\') {
                ++slashes;
                ++at;
            }
            bool copy = true;
            if (at < line.size() && line[at] == '"') {
                if (slashes % 2 == 0) {
                    if (inQuotes && at + 1 < line.size() && line[at + 1] == '"')
                        ++at; // "" in quotes: the second one is taken
                    else {
                        copy = false;
                        inQuotes = !inQuotes;
                    }
                }
                slashes /= 2;
            }
            argument.append(slashes, '\\');
            if (at == line.size() || (!inQuotes && blank(at)))
                break;
            if (copy)
                argument += line[at];
            ++at;
        }
        arguments.push_back(argument);
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string input(reinterpret_cast<const char*>(data), size);
    KLX_FUZZ_CHECK(splitCommandLine(input) == modelSplit(input));

    Strings arguments(1);
    for (char c : input) {
        if (c == '\0')
            arguments.emplace_back();
        else
            arguments.back() += c;
    }
    std::string line;
    for (const std::string& argument : arguments)
        line += quoteArgument(argument) + ' ';
    KLX_FUZZ_CHECK(splitCommandLine(line) == arguments);
    return 0;
}
