// Fuzzes KLXCmdLineParser: the input is parsed once as a command-line string
// and once as an argument vector split at NUL bytes; then flags and string
// options are queried for letters taken from the input, and every answer is
// compared with a plain model of the option syntax.
#include "FuzzSupport.h"

#include "KLXCmdLineParser.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace {

using Strings = std::vector<std::string>;

bool isMarker(char c) {
    return c == '-' || c == '/';
}

bool isFlag(const std::string& arg, char letter) {
    return arg.size() == 2 && isMarker(arg[0]) && arg[1] == letter;
}

bool isOption(const std::string& arg) {
    return arg.size() >= 2 && isMarker(arg[0]);
}

// Expected split of a command-line string.
Strings splitAtBlanks(const std::string& line) {
    Strings words;
    std::size_t start = 0;
    for (std::size_t i = 0; i < line.size(); ++i) {
        if (line[i] != ' ')
            continue;
        if (i > start)
            words.push_back(line.substr(start, i - start));
        start = i + 1;
    }
    if (!line.empty())
        words.push_back(line.substr(start));
    return words;
}

Strings expectedValues(const Strings& args, char letter) {
    Strings values(1, std::string(1, letter));
    bool afterOption = false;
    for (const std::string& arg : args) {
        if (isOption(arg)) {
            afterOption = arg[1] == letter;
        } else if (afterOption) {
            values.push_back(arg);
            afterOption = false;
        }
    }
    return values;
}

// Runs the queries that the input drives on one parser whose arguments should
// be `model`, keeping the model in step.
void exerciseParser(KLXCmdLineParser& parser, Strings model, const std::uint8_t* data,
                    std::size_t size) {
    KLX_FUZZ_CHECK(parser.getParsedString() == model);
    const std::size_t argCount = model.size();

    // Each pair of input bytes is one query: an operation and a letter.
    const std::size_t queries = std::min<std::size_t>(size / 2, 64);
    for (std::size_t i = 0; i < queries; ++i) {
        const unsigned op = data[2 * i] % 3;
        const char letter = static_cast<char>(data[2 * i + 1]);
        if (op == 2) {
            const Strings expected = expectedValues(model, letter);
            const Strings& values = parser.registerStringOption(letter);
            KLX_FUZZ_CHECK(!values.empty() && values[0] == std::string(1, letter));
            KLX_FUZZ_CHECK(values == expected);
            for (std::size_t v = 1; v < values.size(); ++v)
                KLX_FUZZ_CHECK(!isOption(values[v]));
        } else {
            const bool remove = op == 1;
            bool expected = false;
            for (std::string& arg : model) {
                if (isFlag(arg, letter)) {
                    expected = true;
                    if (remove)
                        arg.clear();
                    break;
                }
            }
            KLX_FUZZ_CHECK(parser.getOptionFlag(letter, remove) == expected);
        }
        // Queries clear flags at most; they never add or drop arguments.
        KLX_FUZZ_CHECK(parser.getParsedString().size() == argCount);
    }
    KLX_FUZZ_CHECK(parser.getParsedString() == model);

    // A copy is independent of its source.
    KLXCmdLineParser copy = parser;
    KLX_FUZZ_CHECK(copy.getParsedString() == parser.getParsedString());
    copy.getParsedString().push_back("extra");
    KLX_FUZZ_CHECK(parser.getParsedString().size() == argCount);
    KLX_FUZZ_CHECK(copy.registerStringOption('x') == expectedValues(copy.getParsedString(), 'x'));
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string input(reinterpret_cast<const char*>(data), size);

    // One command-line string.
    {
        std::string line = input;
        KLXCmdLineParser parser(line);
        KLX_FUZZ_CHECK(line == input);
        const Strings& args = parser.getParsedString();
        // No empty argument but possibly the last one, and no blank inside.
        for (std::size_t i = 0; i < args.size(); ++i) {
            KLX_FUZZ_CHECK(!args[i].empty() || i + 1 == args.size());
            KLX_FUZZ_CHECK(args[i].find(' ') == std::string::npos);
        }
        KLX_FUZZ_CHECK(args.empty() == input.empty());
        exerciseParser(parser, splitAtBlanks(input), data, size);
    }

    // An argument vector split at NUL bytes; the first piece is the program
    // name. A piece that is exactly one 0xFF byte becomes a null entry.
    {
        Strings pieces(1);
        for (char c : input) {
            if (c == '\0')
                pieces.emplace_back();
            else
                pieces.back() += c;
        }
        std::vector<char*> argv;
        Strings expected;
        for (std::size_t i = 0; i < pieces.size(); ++i) {
            const bool null = pieces[i] == "\xff";
            argv.push_back(null ? nullptr : pieces[i].data());
            if (i != 0 && !null)
                expected.push_back(pieces[i]);
        }
        argv.push_back(nullptr);
        KLXCmdLineParser parser(static_cast<int>(pieces.size()), argv.data());
        exerciseParser(parser, expected, data, size);
    }
    return 0;
}
