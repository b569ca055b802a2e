// Variable definitions of a bash start-up file.
#include "KLXRcFile.h"
#include "TestFiles.h"

#include <gtest/gtest.h>

#include <string>

namespace {

std::string rcWith(const std::string& content) {
    std::filesystem::path path = klxtest::freshDir("rc") / ".cvlrc";
    klxtest::writeBytes(path, content);
    return path.string();
}

} // namespace

TEST(RcFile, ReadsWhatFollowsTheTemplateWithoutOneQuoteEachSide) {
    const std::pair<const char*, const char*> cases[] = {
        {"export A=plain", "plain"},
        {"export A=close\"", "close"},
        {"export A=\"x\" # note", "x\" # note"},
        // Not definitions: a blank before '=', a longer name.
        {"export A =\"x\"", ""},
        {"export AB=\"x\"", ""},
    };
    for (auto [line, value] : cases) {
        std::string path = rcWith(std::string(line) + "\n"), name = "A";
        KLXRcFile rc(path, 0);
        EXPECT_EQ(rc.getValue(name), value) << line;
    }
}

TEST(RcFile, SetValueReplacesTheFirstDefinitionOrAppends) {
    const std::string lookalikes = "Export A=\"x\"\n  export A=\"x\"\n";
    const std::pair<std::string, std::string> cases[] = {
        {"", "export A=\"\"q y\"\""},
        {lookalikes + "export A=\"1\"\r\nexport A=\"2\"\r\n",
         lookalikes + "export A=\"\"q y\"\"\nexport A=\"2\"\n"},
        {lookalikes, lookalikes + "\nexport A=\"\"q y\"\""},
    };
    for (const auto& [before, after] : cases) {
        std::string path = rcWith(before), name = "A", value = "\"q y\"";
        {
            KLXRcFile rc(path, 0);
            rc.setValue(name, value);
            rc.write();
        }
        EXPECT_EQ(klxtest::readBytes(path), after);
        KLXRcFile reread(path, 2);
        EXPECT_EQ(reread.getValue(name), value);
    }
}

TEST(RcFile, ResultsAreSharedAndAMissingFileReadsEmpty) {
    std::string path = rcWith("export A=\"1\"\nexport B=\"2\"\n"), a = "A", b = "B";
    KLXRcFile first(path, 2);
    KLXRcFile second(path, 2);
    std::string& fromFirst = first.getValue(a);
    EXPECT_EQ(&fromFirst, &second.getValue(b));
    EXPECT_EQ(fromFirst, "2");

    std::filesystem::path dir = klxtest::freshDir("rc");
    std::string missing = (dir / "absent" / ".cvlrc").string(), value = "v";
    KLXRcFile rc(missing, 0);
    EXPECT_EQ(rc.getValue(a), "");
    rc.setValue(a, value);
    EXPECT_EQ(rc.getValue(a), "v");
    rc.write();
    EXPECT_FALSE(std::filesystem::exists(dir / "absent"));
}
