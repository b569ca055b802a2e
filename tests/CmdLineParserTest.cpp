#include "KLXCmdLineParser.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

using Strings = std::vector<std::string>;

struct Probe : KLXCmdLineParser {
    using KLXCmdLineParser::KLXCmdLineParser;
    using KLXCmdLineParser::mParsedStrings;
    using KLXCmdLineParser::mStringOptions;
};

// Builds a parser from an argv that starts with a program name.
Probe fromArgs(Strings args) {
    std::vector<char*> argv;
    for (std::string& arg : args)
        argv.push_back(arg.data());
    argv.push_back(nullptr);
    return Probe(static_cast<int>(args.size()), argv.data());
}

Probe fromLine(std::string line) {
    return Probe(line);
}

Strings splitLine(std::string line) {
    return fromLine(line).getParsedString();
}

TEST(CmdLineParser, ArgvSkipsProgramNameAndKeepsArgumentsUnchanged) {
    EXPECT_EQ(fromArgs({"tool", "-v", "x", "", "a b", "\"q\""}).getParsedString(),
              (Strings{"-v", "x", "", "a b", "\"q\""}));
    EXPECT_TRUE(fromArgs({"tool"}).getParsedString().empty());

    // Degenerate vectors give what they can instead of crashing.
    EXPECT_TRUE(Probe(0, nullptr).getParsedString().empty());
    EXPECT_TRUE(Probe(-3, nullptr).getParsedString().empty());
    EXPECT_TRUE(Probe(4, nullptr).getParsedString().empty());
    char program[] = "tool";
    char first[] = "-a";
    char last[] = "b";
    char* holes[] = {program, first, nullptr, last, nullptr};
    EXPECT_EQ(Probe(4, holes).getParsedString(), (Strings{"-a", "b"}));
    char* onlyNull[] = {nullptr, nullptr};
    EXPECT_TRUE(Probe(2, onlyNull).getParsedString().empty());
}

TEST(CmdLineParser, StringSplitsAtBlanksOnly) {
    EXPECT_EQ(splitLine("a b"), (Strings{"a", "b"}));
    EXPECT_EQ(splitLine("x"), (Strings{"x"}));
    EXPECT_EQ(splitLine("a  bc -x"), (Strings{"a", "bc", "-x"}));
    EXPECT_TRUE(splitLine("").empty());

    // A trailing blank leaves an empty last argument, a leading one nothing.
    EXPECT_EQ(splitLine("ab "), (Strings{"ab", ""}));
    EXPECT_EQ(splitLine("ab   "), (Strings{"ab", ""}));
    EXPECT_EQ(splitLine("  ab"), (Strings{"ab"}));
    EXPECT_EQ(splitLine(" "), (Strings{""}));

    // Quotes, tabs and backslashes are ordinary characters.
    EXPECT_EQ(splitLine("\"two words\""), (Strings{"\"two", "words\""}));
    EXPECT_EQ(splitLine("a\tb c\\ d"), (Strings{"a\tb", "c\\", "d"}));

    std::string line = "-f x";
    Probe parser(line);
    EXPECT_EQ(line, "-f x");
}

TEST(CmdLineParser, FlagIsFoundAndRemovedOnce) {
    Probe parser = fromArgs({"tool", "-v", "x"});
    EXPECT_TRUE(parser.getOptionFlag('v', false));
    EXPECT_TRUE(parser.getOptionFlag('v', false));
    EXPECT_TRUE(parser.getOptionFlag('v', true));
    EXPECT_EQ(parser.getParsedString(), (Strings{"", "x"}));
    EXPECT_FALSE(parser.getOptionFlag('v', true));
    EXPECT_FALSE(parser.getOptionFlag('v', false));
    EXPECT_FALSE(parser.getOptionFlag('q', true));
    EXPECT_EQ(parser.getParsedString(), (Strings{"", "x"}));

    // A repeated flag goes one occurrence per removing call.
    Probe twice = fromLine("-v a /v");
    EXPECT_TRUE(twice.getOptionFlag('v', true));
    EXPECT_EQ(twice.getParsedString(), (Strings{"", "a", "/v"}));
    EXPECT_TRUE(twice.getOptionFlag('v', true));
    EXPECT_EQ(twice.getParsedString(), (Strings{"", "a", ""}));
    EXPECT_FALSE(twice.getOptionFlag('v', false));
}

TEST(CmdLineParser, FlagNeedsExactlyMarkerAndLetter) {
    Probe parser = fromLine("-V -vx /w x- v -- // -");
    EXPECT_FALSE(parser.getOptionFlag('v', false));
    EXPECT_FALSE(parser.getOptionFlag('x', false));
    EXPECT_TRUE(parser.getOptionFlag('V', false));
    EXPECT_TRUE(parser.getOptionFlag('w', false));
    EXPECT_FALSE(parser.getOptionFlag('W', false));
    // "--" and "//" are flags whose letter is the marker itself.
    EXPECT_TRUE(parser.getOptionFlag('-', false));
    EXPECT_TRUE(parser.getOptionFlag('/', false));

    Probe longOption = fromLine("-long value");
    EXPECT_FALSE(longOption.getOptionFlag('l', true));
    EXPECT_EQ(longOption.registerStringOption('l'), (Strings{"l", "value"}));
    EXPECT_EQ(longOption.getParsedString(), (Strings{"-long", "value"}));
}

TEST(CmdLineParser, StringOptionTakesOneValuePerOccurrence) {
    Probe parser = fromLine("-f a.scs -x -f b.scs c");
    EXPECT_EQ(parser.registerStringOption('f'), (Strings{"f", "a.scs", "b.scs"}));
    EXPECT_EQ(parser.registerStringOption('o'), (Strings{"o"}));
    EXPECT_EQ(parser.registerStringOption('x'), (Strings{"x"}));
    // Registering takes nothing out of the arguments.
    EXPECT_EQ(parser.getParsedString(), (Strings{"-f", "a.scs", "-x", "-f", "b.scs", "c"}));

    // An option cuts off the value of the one before it.
    EXPECT_EQ(fromLine("-f -x b").registerStringOption('f'), (Strings{"f"}));
    // A value of two or more characters cannot start with a marker, but a
    // bare marker is a value.
    EXPECT_EQ(fromLine("/d /tmp").registerStringOption('d'), (Strings{"d"}));
    EXPECT_EQ(fromLine("/d /tmp").registerStringOption('t'), (Strings{"t"}));
    EXPECT_EQ(fromLine("-d - /d /").registerStringOption('d'), (Strings{"d", "-", "/"}));
    EXPECT_EQ(fromLine("-f").registerStringOption('f'), (Strings{"f"}));
    EXPECT_EQ(fromLine("-F x -f y").registerStringOption('f'), (Strings{"f", "y"}));
    // A trailing blank gives the option an empty value.
    EXPECT_EQ(fromLine("-f ").registerStringOption('f'), (Strings{"f", ""}));
}

TEST(CmdLineParser, RemovedFlagBecomesEmptyValue) {
    Probe parser = fromArgs({"tool", "-f", "-q", "name"});
    EXPECT_TRUE(parser.getOptionFlag('q', true));
    EXPECT_EQ(parser.registerStringOption('f'), (Strings{"f", ""}));
    EXPECT_EQ(parser.getParsedString(), (Strings{"-f", "", "name"}));
}

TEST(CmdLineParser, ResultsAreTheStoredMembers) {
    Probe parser = fromLine("-a 1 -b 2");
    Strings& parsed = parser.getParsedString();
    EXPECT_EQ(&parsed, &parser.mParsedStrings);
    parsed[1] = "changed";
    EXPECT_EQ(parser.registerStringOption('a'), (Strings{"a", "changed"}));

    Strings& b = parser.registerStringOption('b');
    ASSERT_EQ(parser.mStringOptions.size(), 2u);
    EXPECT_EQ(&b, &parser.mStringOptions.back());
    EXPECT_EQ(parser.mStringOptions[0], (Strings{"a", "changed"}));
    EXPECT_EQ(parser.mStringOptions[1], (Strings{"b", "2"}));

    // Copies carry both vectors and are independent of the original.
    Probe copy = parser;
    EXPECT_EQ(copy.mParsedStrings, parser.mParsedStrings);
    EXPECT_EQ(copy.mStringOptions, parser.mStringOptions);
    copy.getOptionFlag('a', true);
    EXPECT_EQ(parser.getParsedString()[0], "-a");
    Probe assigned = fromLine("z");
    assigned = parser;
    EXPECT_EQ(assigned.mParsedStrings, parser.mParsedStrings);
    EXPECT_EQ(assigned.mStringOptions, parser.mStringOptions);
}

} // namespace
