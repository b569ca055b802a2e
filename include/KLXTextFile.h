// KlxCore: a whole text file held in memory as lines.
#ifndef KLX_TEXT_FILE_H
#define KLX_TEXT_FILE_H

#include "KLXFile.h"

#include <string>
#include <vector>

class KLX_API KLXTextFile : public KLXFile {
public:
    // Opens the file in `mode` (see KLXFile) and splits it into lines. Reading
    // accepts "\r\n", "\n" and "\r" alike; the type fixes the line break that
    // is written and the comment prefix.
    KLXTextFile(std::string& path, KLXTextFileType_e type, int mode);
    ~KLXTextFile();

    int getLinesCount();
    // The line itself; the index must lie from 0 to count - 1.
    std::string& getLine(int index);
    // Index of the first line from `start` on that holds the text under the
    // template flags, or -1.
    int findLine(std::string& text, int flags, unsigned int start);
    void replaceLine(int index, std::string& text);
    void addLine(std::string& text);
    void insertLine(int index, std::string& text);
    void insertComment(int index, std::string& text);
    void commentLine(int index);
    // The lines joined by the line break (or followed each by a blank).
    std::string& getFullFileBuffer(bool withLineBreaks);

    // Writes all lines back over the file.
    int write();
    // Appends the text to the last line, then writes the file.
    int write(std::string& text) override;
    // Appends the text as a new line, then writes the file.
    int writeln(std::string& text) override;
    using KLXFile::write;

protected:
    // Splits `buffer` into mLines, or joins mLines into `buffer`.
    void updateLineStringVector(bool split, std::string& buffer, bool withLineBreaks);
    // Position of the next of the three line breaks from `start`, the break
    // itself in `foundBreak`; npos when there is none.
    unsigned int findNextLineBreak(std::string& buffer, std::string& foundBreak,
                                   unsigned int start);

    // Reads the whole file into mLines; false when it cannot be read.
    bool readLines();
    // Replaces mLines by the lines of the text.
    void splitLines(const char* text, std::size_t length);
    // Appends the lines of `text` whose line break is settled, searching for
    // breaks from `searchFrom`; with `final` every break is. Returns where the
    // first line not taken begins.
    std::size_t takeLines(const char* text, std::size_t length, std::size_t searchFrom, bool final);
    std::size_t longestLineBreak() const;
    void appendLine(const char* text, std::size_t length);
    void joinLines(std::string& buffer, const std::string& separator, bool cutLastSeparator) const;

    std::vector<std::string> mLines;
    std::string mFullFileBuffer;
    std::string mLineBreak;
    std::string mCommentPrefix;

    // "\r\n", "\n" and "\r" once the first text file has been constructed.
    static std::string mLineBreakWin;
    static std::string mLineBreakUnx;
    static std::string mLineBreakMac;
};

#endif // KLX_TEXT_FILE_H
