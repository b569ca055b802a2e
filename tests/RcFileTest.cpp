// Variable definitions of a bash start-up file.
#include "KLXRcFile.h"
#include "TestFiles.h"

#include <gtest/gtest.h>

#include <string>

namespace {

using klxtest::readBytes;
using klxtest::writeBytes;

struct RcProbe : KLXRcFile {
    using KLXRcFile::getVariableDefinitionLine;
    using KLXRcFile::getVariableDefinitionTemplate;
    using KLXRcFile::KLXRcFile;
};

std::string rcWith(const std::string& content) {
    std::filesystem::path path = klxtest::freshDir("rc") / ".cvlrc";
    writeBytes(path, content);
    return path.string();
}

std::string valueIn(const std::string& line) {
    std::string path = rcWith(line + "\n");
    KLXRcFile rc(path, 0);
    std::string name = "A";
    return rc.getValue(name);
}

} // namespace

TEST(RcFile, ReadsWhatFollowsTheTemplateWithoutOneQuoteEachSide) {
    EXPECT_EQ(valueIn("export A=plain"), "plain");
    EXPECT_EQ(valueIn("export A=\"open"), "open");
    EXPECT_EQ(valueIn("export A=close\""), "close");
    EXPECT_EQ(valueIn("export A="), "");
    EXPECT_EQ(valueIn("export A=\""), "");
    EXPECT_EQ(valueIn("export A=\"\""), "");
    EXPECT_EQ(valueIn("export A=\"x\" # note"), "x\" # note");
    EXPECT_EQ(valueIn("export A=\"C:\\a b\\c\""), "C:\\a b\\c");
    // Not definitions: another case, indentation, a blank before '=', a longer name.
    EXPECT_EQ(valueIn("Export A=\"x\""), "");
    EXPECT_EQ(valueIn("  export A=\"x\""), "");
    EXPECT_EQ(valueIn("export A =\"x\""), "");
    EXPECT_EQ(valueIn("export AB=\"x\""), "");
    EXPECT_EQ(valueIn("# export A=\"x\""), "");
}

TEST(RcFile, SetValueWritesAQuotedDefinition) {
    std::string path = rcWith("");
    {
        KLXRcFile rc(path, 0);
        std::string name = "A";
        std::string value = "x y";
        rc.setValue(name, value);
        EXPECT_EQ(rc.getValue(name), "x y");
        rc.write();
    }
    EXPECT_EQ(readBytes(path), "export A=\"x y\"");

    // A value that begins and ends with quotes survives a write and a read.
    {
        KLXRcFile rc(path, 0);
        std::string name = "A";
        std::string value = "\"quoted\"";
        rc.setValue(name, value);
        rc.write();
    }
    EXPECT_EQ(readBytes(path), "export A=\"\"quoted\"\"");
    KLXRcFile reread(path, 2);
    std::string name = "A";
    EXPECT_EQ(reread.getValue(name), "\"quoted\"");
}

TEST(RcFile, OnlyTheFirstDefinitionCountsAndOthersStayUntouched) {
    std::string path = rcWith("Export A=\"x\"\n  export A=\"x\"\nexport A=\"1\"\nexport A=\"2\"\n");
    {
        RcProbe rc(path, 0);
        std::string name = "A";
        EXPECT_EQ(rc.getVariableDefinitionLine(name), 2);
        EXPECT_EQ(rc.getValue(name), "1");
        std::string three = "3";
        rc.setValue(name, three);
        rc.write();
    }
    EXPECT_EQ(readBytes(path),
              "Export A=\"x\"\n  export A=\"x\"\nexport A=\"3\"\nexport A=\"2\"\n");

    // Lines that only look like definitions make setValue append, after the
    // empty last line of a file that ended with a break.
    std::string other = rcWith("Export A=\"x\"\n  export A=\"x\"\n");
    {
        KLXRcFile rc(other, 0);
        std::string name = "A";
        std::string y = "y";
        rc.setValue(name, y);
        rc.write();
    }
    EXPECT_EQ(readBytes(other), "Export A=\"x\"\n  export A=\"x\"\n\nexport A=\"y\"");
}

TEST(RcFile, WritesUnixLineBreaks) {
    std::string path = rcWith("export A=\"1\"\r\nexport B=\"2\"\r\n");
    {
        KLXRcFile rc(path, 0);
        std::string name = "B";
        EXPECT_EQ(rc.getValue(name), "2");
        rc.write();
    }
    EXPECT_EQ(readBytes(path), "export A=\"1\"\nexport B=\"2\"\n");
}

TEST(RcFile, ResultsAreSharedByEveryCall) {
    std::string path = rcWith("export A=\"1\"\nexport B=\"2\"\nexport =\"none\"\n");
    RcProbe first(path, 2);
    RcProbe second(path, 2);
    std::string a = "A";
    std::string b = "B";
    std::string& fromFirst = first.getValue(a);
    EXPECT_EQ(fromFirst, "1");
    std::string& fromSecond = second.getValue(b);
    EXPECT_EQ(&fromFirst, &fromSecond);
    EXPECT_EQ(fromFirst, "2");
    // The result is emptied before the lookup: passed back in as the name,
    // the previous result "2" names the empty variable.
    EXPECT_EQ(first.getValue(fromFirst), "none");

    std::string& t1 = first.getVariableDefinitionTemplate(a);
    std::string& t2 = second.getVariableDefinitionTemplate(b);
    EXPECT_EQ(&t1, &t2);
    EXPECT_EQ(t1, "export B=");
}

TEST(RcFile, MissingFileReadsEmptyAndWritesNowhere) {
    std::filesystem::path dir = klxtest::freshDir("rc");
    std::string path = (dir / "absent" / ".cvlrc").string();
    KLXRcFile rc(path, 0);
    std::string name = "A";
    std::string value = "v";
    EXPECT_EQ(rc.getValue(name), "");
    rc.setValue(name, value);
    EXPECT_EQ(rc.getValue(name), "v");
    rc.write();
    EXPECT_FALSE(std::filesystem::exists(dir / "absent"));
}
