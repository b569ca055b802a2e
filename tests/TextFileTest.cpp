// Text files: reading any line-break style, writing the type's, and the line
// operations.
#include "KLXStrProcess.h"
#include "KLXTextFile.h"
#include "TestFiles.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

using klxtest::readBytes;
using klxtest::writeBytes;

// Reaches the protected splitting and joining.
struct TextProbe : KLXTextFile {
    using KLXTextFile::findNextLineBreak;
    using KLXTextFile::KLXTextFile;
    using KLXTextFile::mCommentPrefix;
    using KLXTextFile::mFullFileBuffer;
    using KLXTextFile::mLineBreak;
    using KLXTextFile::mLines;
    using KLXTextFile::updateLineStringVector;
};

std::string fileWith(const std::string& content, const std::string& name = "t.txt") {
    std::filesystem::path path = klxtest::freshDir("text") / name;
    writeBytes(path, content);
    return path.string();
}

std::vector<std::string> linesOf(const std::string& content) {
    std::string path = fileWith(content);
    TextProbe file(path, KLX_TEXT_FILE_UNX, 2);
    return file.mLines;
}

using Lines = std::vector<std::string>;

} // namespace

TEST(TextFile, SplitsEveryLineBreakStyle) {
    EXPECT_EQ(linesOf("a\r\nb\r\n"), (Lines{"a", "b", ""}));
    EXPECT_EQ(linesOf("a\nb"), (Lines{"a", "b"}));
    EXPECT_EQ(linesOf(""), Lines{});
    EXPECT_EQ(linesOf("x\n\ry"), (Lines{"x", "", "y"}));
    EXPECT_EQ(linesOf("m\rn\r"), (Lines{"m", "n", ""}));
    EXPECT_EQ(linesOf("\r\n\r\n"), (Lines{"", "", ""}));
    EXPECT_EQ(linesOf("one line, no break"), Lines{"one line, no break"});
    // Mixed styles in one file, and "\r\r\n" as a Mac break then a Windows one.
    EXPECT_EQ(linesOf("a\r\nb\nc\rd\r\r\ne"), (Lines{"a", "b", "c", "d", "", "e"}));
    // The text ends at its first NUL byte.
    EXPECT_EQ(linesOf(std::string("a\nb\0c\nd", 7)), (Lines{"a", "b"}));
    EXPECT_EQ(linesOf(std::string("\0abc", 4)), Lines{});
}

TEST(TextFile, SplitsAndJoinsBuffersAndFindsBreaks) {
    std::string path = fileWith("");
    TextProbe file(path, KLX_TEXT_FILE_WIN, 0);
    std::string buffer = "p\rq\r\nr";
    file.updateLineStringVector(true, buffer, false);
    EXPECT_EQ(file.mLines, (Lines{"p", "q", "r"}));

    std::string joined;
    file.updateLineStringVector(false, joined, true);
    EXPECT_EQ(joined, "p\r\nq\r\nr");
    file.updateLineStringVector(false, joined, false);
    EXPECT_EQ(joined, "p q r ");

    std::string found;
    std::string text = "ab\r\ncd\ref\ngh";
    EXPECT_EQ(file.findNextLineBreak(text, found, 0), 2u);
    EXPECT_EQ(found, "\r\n");
    EXPECT_EQ(file.findNextLineBreak(text, found, 3), 3u);
    EXPECT_EQ(found, "\n");
    EXPECT_EQ(file.findNextLineBreak(text, found, 4), 6u);
    EXPECT_EQ(found, "\r");
    EXPECT_EQ(file.findNextLineBreak(text, found, 7), 9u);
    EXPECT_EQ(found, "\n");
    found = "unchanged";
    EXPECT_EQ(file.findNextLineBreak(text, found, 10), KLXStrProcess::npos);
    EXPECT_EQ(found, "unchanged");
}

TEST(TextFile, WritesTheLineBreakOfItsType) {
    // Read in any style, written in the type's.
    std::string path = fileWith("a\r\nb");
    {
        KLXTextFile file(path, KLX_TEXT_FILE_UNX, 0);
        file.write();
    }
    EXPECT_EQ(readBytes(path), "a\nb");
    {
        KLXTextFile file(path, KLX_TEXT_FILE_MAC, 0);
        file.write();
    }
    EXPECT_EQ(readBytes(path), "a\rb");
    {
        KLXTextFile file(path, KLX_TEXT_FILE_BATCH, 0);
        file.write();
    }
    EXPECT_EQ(readBytes(path), "a\r\nb");

    // A final break survives a read and a write as the empty last line.
    std::string ending = fileWith("x\r\ny\r\n");
    {
        KLXTextFile file(ending, KLX_TEXT_FILE_WIN, 0);
        EXPECT_EQ(file.getLinesCount(), 3);
        file.write();
    }
    EXPECT_EQ(readBytes(ending), "x\r\ny\r\n");

    // An unknown type joins the lines with nothing.
    std::string unknown = fileWith("a\nb\n");
    {
        TextProbe file(unknown, static_cast<KLXTextFileType_e>(-1), 0);
        EXPECT_TRUE(file.mLineBreak.empty());
        EXPECT_TRUE(file.mCommentPrefix.empty());
        file.write();
    }
    EXPECT_EQ(readBytes(unknown), "ab");
}

TEST(TextFile, WriteAndWritelnAppendToTheFile) {
    std::string path = fileWith("x\r\ny\r\n");
    {
        KLXTextFile file(path, KLX_TEXT_FILE_WIN, 0);
        std::string z = "z";
        file.writeln(z);
    }
    EXPECT_EQ(readBytes(path), "x\r\ny\r\n\r\nz");

    std::string other = fileWith("x\r\ny\r\n");
    {
        KLXTextFile file(other, KLX_TEXT_FILE_WIN, 0);
        std::string z = "z";
        file.write(z);
    }
    EXPECT_EQ(readBytes(other), "x\r\ny\r\nz");

    // A new batch file built line by line has no final break.
    std::string batch = (klxtest::freshDir("text") / "new.bat").string();
    {
        KLXTextFile file(batch, KLX_TEXT_FILE_BATCH, 0);
        EXPECT_EQ(file.getLinesCount(), 0);
        std::string a = "SET A=1";
        std::string b = "SET B=2";
        file.writeln(a);
        file.writeln(b);
    }
    EXPECT_EQ(readBytes(batch), "SET A=1\r\nSET B=2");

    // write(text) on a file without lines makes the text its only line.
    std::string fresh = (klxtest::freshDir("text") / "fresh.txt").string();
    {
        KLXTextFile file(fresh, KLX_TEXT_FILE_UNX, 1);
        std::string only = "only";
        file.write(only);
        EXPECT_EQ(file.getLinesCount(), 1);
    }
    EXPECT_EQ(readBytes(fresh), "only");
}

TEST(TextFile, ShorterRewriteLeavesNoTailAndEmptyTextLeavesTheFile) {
    std::string path = fileWith("a long first line\nsecond\n");
    {
        KLXTextFile file(path, KLX_TEXT_FILE_UNX, 0);
        std::string s = "s";
        file.replaceLine(0, s);
        file.write();
    }
    EXPECT_EQ(readBytes(path), "s\nsecond\n");

    // Joining to nothing writes nothing: the old content stays on disk.
    std::string single = fileWith("old content");
    {
        KLXTextFile file(single, KLX_TEXT_FILE_UNX, 0);
        std::string empty;
        file.replaceLine(0, empty);
        file.write();
    }
    EXPECT_EQ(readBytes(single), "old content");
}

TEST(TextFile, CommentsFollowTheFileType) {
    std::string path = fileWith("SET A=1\r\nSET B=2");
    KLXTextFile batch(path, KLX_TEXT_FILE_BATCH, 0);
    batch.commentLine(0);
    EXPECT_EQ(batch.getLine(0), "REM SET A=1");
    batch.commentLine(0);
    EXPECT_EQ(batch.getLine(0), "REM REM SET A=1");
    std::string note = "note";
    batch.insertComment(1, note);
    EXPECT_EQ(batch.getLinesCount(), 3);
    EXPECT_EQ(batch.getLine(1), "REM note");
    batch.insertComment(3, note); // an index equal to the count inserts nothing
    batch.insertComment(-1, note);
    batch.commentLine(3);
    EXPECT_EQ(batch.getLinesCount(), 3);

    std::string unixPath = fileWith("SET A=1\n");
    KLXTextFile unix(unixPath, KLX_TEXT_FILE_UNX, 0);
    unix.commentLine(0);
    EXPECT_EQ(unix.getLine(0), "SET A=1");
    unix.insertComment(0, note);
    EXPECT_EQ(unix.getLine(0), "note");
}

TEST(TextFile, LineOperationsIgnoreIndexesOutsideTheLines) {
    std::string path = fileWith("a\nb\nc");
    KLXTextFile file(path, KLX_TEXT_FILE_UNX, 0);
    std::string x = "x";
    file.insertLine(1, x);
    file.insertLine(4, x);
    file.insertLine(-1, x);
    file.replaceLine(4, x);
    file.replaceLine(-2, x);
    std::string d = "d";
    file.addLine(d);
    std::string expected[] = {"a", "x", "b", "c", "d"};
    ASSERT_EQ(file.getLinesCount(), 5);
    for (int i = 0; i < 5; ++i)
        EXPECT_EQ(file.getLine(i), expected[i]);
    // getLine is the line itself.
    file.getLine(0) += "!";
    EXPECT_EQ(file.getLine(0), "a!");
    // Outside the lines, getLine gives an empty scratch line and no line changes.
    file.getLine(5) = "scribble";
    EXPECT_EQ(file.getLine(-1), "");
    EXPECT_EQ(file.getLinesCount(), 5);
}

TEST(TextFile, FindLineUsesTemplateFlagsFromStart) {
    std::string path = fileWith("REM SET PATH=C:\\x\r\nSET PATH=C:\\x\r\nset path=y\r\nPATHSET");
    KLXTextFile file(path, KLX_TEXT_FILE_BATCH, 0);
    std::string text = "set path";
    EXPECT_EQ(file.findLine(text, 0, 0), 1);
    EXPECT_EQ(file.findLine(text, 0, 2), 2);
    EXPECT_EQ(file.findLine(text, KLX_TEMPLATE_CASE_SENSITIVE, 0), 2);
    EXPECT_EQ(file.findLine(text, KLX_TEMPLATE_ANYWHERE, 0), 0);
    std::string set = "SET";
    EXPECT_EQ(file.findLine(set, KLX_TEMPLATE_AT_END | KLX_TEMPLATE_CASE_SENSITIVE, 0), 3);
    EXPECT_EQ(file.findLine(text, 0, 4), -1);
    EXPECT_EQ(file.findLine(text, 0, 5), -1);
    EXPECT_EQ(file.findLine(text, 0, 0xFFFFFFFFu), -1);
}

TEST(TextFile, FullFileBufferIsRebuiltEachTime) {
    std::string path = fileWith("a\rb");
    TextProbe mac(path, KLX_TEXT_FILE_MAC, 0);
    EXPECT_EQ(mac.getFullFileBuffer(true), "a\rb");
    EXPECT_EQ(mac.getFullFileBuffer(false), "a b ");
    EXPECT_EQ(&mac.getFullFileBuffer(true), &mac.mFullFileBuffer);
    // Writing the file does not go through the buffer.
    std::string c = "c";
    mac.addLine(c);
    mac.write();
    EXPECT_EQ(mac.mFullFileBuffer, "a\rb");
    EXPECT_EQ(readBytes(path), "a\rb\rc");
}

TEST(TextFile, UnreadableFileBehavesAsEmptyAndWritesNowhere) {
    std::filesystem::path dir = klxtest::freshDir("text");
    std::string missing = (dir / "missing.txt").string();
    TextProbe file(missing, KLX_TEXT_FILE_BATCH, 2);
    EXPECT_EQ(file.getLinesCount(), 0);
    EXPECT_TRUE(file.mLineBreak.empty());
    EXPECT_TRUE(file.mCommentPrefix.empty());
    std::string line = "SET A=1";
    file.writeln(line);
    EXPECT_EQ(file.getLinesCount(), 1);
    EXPECT_FALSE(std::filesystem::exists(dir / "missing.txt"));

    // A read-only open reads but never writes.
    std::string path = fileWith("keep\n");
    KLXTextFile readOnly(path, KLX_TEXT_FILE_UNX, 2);
    std::string more = "more";
    readOnly.writeln(more);
    EXPECT_EQ(readBytes(path), "keep\n");
}

TEST(TextFile, ReadingInPiecesSplitsAsTheWholeBufferDoes) {
    // Files are read a piece at a time; breaks and lines that straddle the
    // pieces must come out as if the whole text were split at once.
    const std::size_t piece = 256 * 1024;
    std::vector<std::string> contents;
    std::string crlfAcross(piece - 1, 'a');
    crlfAcross += "\r\nb";
    contents.push_back(crlfAcross); // "\r" ends a piece, "\n" begins the next
    std::string crAtEnd(piece - 1, 'a');
    crAtEnd += "\r";
    contents.push_back(crAtEnd); // a final Mac break exactly at a piece's end
    std::string crThenCr(piece - 1, 'a');
    crThenCr += "\r\rz";
    contents.push_back(crThenCr);
    contents.push_back(std::string(3 * piece + 17, 'x')); // one line longer than a piece
    std::string mixed;
    for (int i = 0; mixed.size() < 2 * piece + 5; ++i)
        mixed += std::string(i % 97, 'm') + (i % 3 == 0 ? "\r\n" : i % 3 == 1 ? "\n" : "\r");
    contents.push_back(mixed);
    std::string nulLater = mixed;
    nulLater[piece + 3] = '\0'; // the text ends in the second piece
    contents.push_back(nulLater);

    for (const std::string& content : contents) {
        std::string path = fileWith(content);
        TextProbe file(path, KLX_TEXT_FILE_UNX, 0);
        std::string text(content.c_str()); // up to the first NUL
        TextProbe reference(path, KLX_TEXT_FILE_UNX, 2);
        reference.updateLineStringVector(true, text, false);
        EXPECT_EQ(file.mLines, reference.mLines) << "content of " << content.size() << " bytes";
        if (content.find('\0') == std::string::npos) {
            file.write();
            std::string expected = content;
            for (std::size_t at = 0; (at = expected.find('\r', at)) != std::string::npos;)
                if (expected.compare(at, 2, "\r\n") == 0)
                    expected.erase(at, 1);
                else
                    expected[at++] = '\n';
            EXPECT_EQ(readBytes(path), expected);
        }
    }
}
