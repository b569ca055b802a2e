// Text files: reading any line-break style, writing the type's, and finding
// lines. (The line operations are checked against a model by the fuzz target.)
#include "KLXStrProcess.h"
#include "KLXTextFile.h"
#include "TestFiles.h"

#include <gtest/gtest.h>

#include <optional>
#include <string>
#include <tuple>

namespace {

std::string fileWith(const std::string& content) {
    std::filesystem::path path = klxtest::freshDir("text") / "t.txt";
    klxtest::writeBytes(path, content);
    return path.string();
}

} // namespace

TEST(TextFile, WritesTheWholeFileWithTheLineBreakOfItsType) {
    // The content (none: no file), type, mode, the call and its argument, and
    // the file after it. Calls: 'w' write(), 'l' writeln(arg), 't' write(arg),
    // 'r' replaceLine(0, arg) then write().
    using Text = std::optional<std::string>;
    const std::tuple<Text, int, int, char, std::string, Text> cases[] = {
        {"a\r\nb", KLX_TEXT_FILE_UNX, 0, 'w', "", "a\nb"},
        {"a\r\nb", KLX_TEXT_FILE_MAC, 0, 'w', "", "a\rb"},
        {"a\nb", KLX_TEXT_FILE_BATCH, 0, 'w', "", "a\r\nb"},
        {"a\nb\n", -1, 0, 'w', "", "ab"},
        {"x\r\ny\r\n", KLX_TEXT_FILE_WIN, 0, 'l', "z", "x\r\ny\r\n\r\nz"},
        {"x\r\ny\r\n", KLX_TEXT_FILE_WIN, 0, 't', "z", "x\r\ny\r\nz"},
        {std::nullopt, KLX_TEXT_FILE_BATCH, 0, 'l', "SET A=1", "SET A=1"},
        {std::nullopt, KLX_TEXT_FILE_UNX, 1, 't', "only", "only"},
        {"a long first line\nsecond\n", KLX_TEXT_FILE_UNX, 0, 'r', "s", "s\nsecond\n"},
        {"old content", KLX_TEXT_FILE_UNX, 0, 'r', "", "old content"},
        {"keep\n", KLX_TEXT_FILE_UNX, 2, 'l', "more", "keep\n"},
        {std::nullopt, KLX_TEXT_FILE_BATCH, 2, 'l', "SET A=1", std::nullopt},
    };
    for (const auto& [content, type, mode, op, argument, expected] : cases) {
        SCOPED_TRACE(content.value_or("no file") + " " + op + argument);
        std::filesystem::path path = klxtest::freshDir("text") / "w.txt";
        if (content)
            klxtest::writeBytes(path, *content);
        std::string name = path.string(), arg = argument;
        KLXTextFile file(name, static_cast<KLXTextFileType_e>(type), mode);
        if (op == 'r')
            file.replaceLine(0, arg);
        op == 'l' ? file.writeln(arg) : op == 't' ? file.write(arg) : file.write();
        EXPECT_EQ(std::filesystem::exists(path) ? Text(klxtest::readBytes(path)) : std::nullopt,
                  expected);
        // An unread file has no comment prefix, whatever its type.
        file.commentLine(0);
        EXPECT_EQ(file.getLine(0).rfind("REM ", 0) == 0,
                  type == KLX_TEXT_FILE_BATCH && (content || mode != 2));
    }
}

TEST(TextFile, FindsLinesWithTheTemplateFlags) {
    // Lines are found with the template flags, from the start line on.
    std::string path = fileWith("REM SET PATH=C:\\x\r\nSET PATH=C:\\x\r\nset path=y\r\nPATHSET");
    KLXTextFile lines(path, KLX_TEXT_FILE_BATCH, 0);
    std::string text = "set path";
    EXPECT_EQ(lines.findLine(text, 0, 0), 1);
    EXPECT_EQ(lines.findLine(text, 0, 2), 2);
    EXPECT_EQ(lines.findLine(text, KLX_TEMPLATE_CASE_SENSITIVE, 0), 2);
    EXPECT_EQ(lines.findLine(text, KLX_TEMPLATE_ANYWHERE, 0), 0);
    EXPECT_EQ(lines.findLine(text, 0, 5), -1);
}

TEST(TextFile, SplitsAtEveryBreakStyleAndWritesInPiecesAsOneBuffer) {
    // Files are read and written a piece at a time; breaks and lines that
    // straddle the pieces must come out as if the whole text were taken at once.
    const std::size_t piece = 256 * 1024;
    const std::string contents[] = {
        "",
        "a\r\nb\nc\rd\r\r\ne", // "\r\r\n": a Mac break, then a Windows one
        std::string("a\nb\0c\nd", 7),
        std::string("\0b\n", 3),               // no text at all
        std::string(piece - 1, 'a') + "\r\nb", // "\r" ends a piece, "\n" begins the next
        std::string(piece - 1, 'a') + "\r",    // a final Mac break at a piece's end
        std::string(3 * piece + 17, 'x'),      // one line longer than a piece
    };
    for (const std::string& content : contents) {
        std::string path = fileWith(content);
        KLXTextFile file(path, KLX_TEXT_FILE_UNX, 0);
        std::string longLine(3 * piece, 'L');
        file.addLine(longLine);
        file.write();
        // Up to the first NUL, every break written as "\n", then the long
        // line; an empty text has no line before it.
        std::string expected = content.c_str();
        for (std::size_t at = 0; (at = expected.find('\r', at)) != std::string::npos;)
            if (expected.compare(at, 2, "\r\n") == 0)
                expected.erase(at, 1);
            else
                expected[at++] = '\n';
        EXPECT_EQ(klxtest::readBytes(path), (expected.empty() ? "" : expected + "\n") + longLine)
            << "content of " << content.size() << " bytes";
    }
}
