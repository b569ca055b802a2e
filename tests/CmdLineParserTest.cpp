#include "KLXCmdLineParser.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

using Strings = std::vector<std::string>;

KLXCmdLineParser fromLine(std::string line) {
    return KLXCmdLineParser(line);
}

TEST(CmdLineParser, SplitsArgvAndStrings) {
    Strings args = {"tool", "-v", "x", "", "a b"};
    std::vector<char*> argv;
    for (std::string& arg : args)
        argv.push_back(arg.data());
    KLXCmdLineParser fromArgv(static_cast<int>(argv.size()), argv.data());
    EXPECT_EQ(fromArgv.getParsedString(), (Strings{"-v", "x", "", "a b"}));

    // Blanks only separate: a trailing one leaves an empty last argument.
    const std::pair<std::string, Strings> lines[] = {
        {"a  bc -x", {"a", "bc", "-x"}},
        {"ab   ", {"ab", ""}},
        {"\"two words\"", {"\"two", "words\""}},
        {"a\tb c\\ d", {"a\tb", "c\\", "d"}},
    };
    for (const auto& [line, expected] : lines)
        EXPECT_EQ(fromLine(line).getParsedString(), expected) << line;
}

TEST(CmdLineParser, FlagsNeedExactlyMarkerAndLetterAndGoOnePerRemoval) {
    KLXCmdLineParser parser = fromLine("-V -vx /w x- v -- // -long -q a /q");
    for (char absent : {'v', 'x', 'W', 'l'})
        EXPECT_FALSE(parser.getOptionFlag(absent, false)) << absent;
    for (char present : {'V', 'w', '-', '/'})
        EXPECT_TRUE(parser.getOptionFlag(present, false)) << present;
    EXPECT_TRUE(parser.getOptionFlag('q', false));
    EXPECT_TRUE(parser.getOptionFlag('q', true));
    EXPECT_EQ(parser.getParsedString()[8], "");
    EXPECT_EQ(parser.getParsedString()[10], "/q");
    EXPECT_TRUE(parser.getOptionFlag('q', true));
    EXPECT_FALSE(parser.getOptionFlag('q', true));
    EXPECT_EQ(parser.getParsedString().size(), 11u);
}

TEST(CmdLineParser, StringOptionTakesOneValuePerOccurrence) {
    const std::pair<std::string, Strings> cases[] = {
        {"-f a.scs -x -f b.scs c", {"f", "a.scs", "b.scs"}},
        {"-f -x b", {"f"}},
        {"/f /tmp", {"f"}},
        {"-f - /f /", {"f", "-", "/"}},
        {"-long value -f ", {"f", ""}},
    };
    for (const auto& [line, expected] : cases) {
        KLXCmdLineParser parser = fromLine(line);
        EXPECT_EQ(parser.registerStringOption('f'), expected) << line;
        EXPECT_EQ(parser.getParsedString(), fromLine(line).getParsedString()) << line;
    }
    KLXCmdLineParser parser = fromLine("-long value -f -q name");
    EXPECT_EQ(parser.registerStringOption('l'), (Strings{"l", "value"}));
    EXPECT_TRUE(parser.getOptionFlag('q', true));
    EXPECT_EQ(parser.registerStringOption('f'), (Strings{"f", ""}));
}

} // namespace
