#include "KLXTextFile.h"

#include "KLXStrProcess.h"

#include <climits>
#include <cstring>
#include <memory>
#include <string_view>

namespace {

// Finds the line breaks of a text one after another in linear time. Each
// break keeps the position of its next occurrence and searches again only
// once the scan has passed it, so a break that never occurs (a "\r" in a
// Unix file) costs a single search, not one per line.
class LineBreakScanner {
public:
    LineBreakScanner(std::string_view text, const std::string* const* breaks)
        : mText(text), mBreaks(breaks) {
        for (int k = 0; k < kBreakCount; ++k)
            mKnown[k] = false;
    }

    // The earliest break at or after `from`; on equal positions the earlier
    // break of the list wins, so "\r\n" is one break. Empty breaks never
    // match: they would not move the scan on.
    std::size_t next(std::size_t from, const std::string** found) {
        std::size_t best = std::string_view::npos;
        for (int k = 0; k < kBreakCount; ++k) {
            const std::string& lineBreak = *mBreaks[k];
            if (lineBreak.empty())
                continue;
            if (!mKnown[k] || (mNext[k] != std::string_view::npos && mNext[k] < from)) {
                mNext[k] = mText.find(lineBreak, from);
                mKnown[k] = true;
            }
            if (mNext[k] < best) {
                best = mNext[k];
                *found = &lineBreak;
            }
        }
        return best;
    }

    static constexpr int kBreakCount = 3;

private:
    std::string_view mText;
    const std::string* const* mBreaks;
    std::size_t mNext[kBreakCount];
    bool mKnown[kBreakCount];
};

// Where getLine points for an index outside the lines: a scratch string, so
// that a caller's mistake never reaches outside the vector.
std::string& outOfRangeLine() {
    static std::string scratch;
    scratch.clear();
    return scratch;
}

} // namespace

KLXTextFile::KLXTextFile(std::string& path, KLXTextFileType_e type, int mode)
    : KLXFile(path, mode) {
    if (mLineBreakWin.empty()) {
        mLineBreakWin = std::string(KLX_STR_CR) + KLX_STR_LF;
        mLineBreakUnx = KLX_STR_LF;
        mLineBreakMac = KLX_STR_CR;
    }

    unsigned long size = 0;
    std::unique_ptr<char[]> buffer(read(-1, &size));
    if (!buffer)
        return;
    // The text ends at its first NUL byte.
    const void* nul = std::memchr(buffer.get(), '\0', size);
    std::size_t length = nul ? static_cast<const char*>(nul) - buffer.get() : size;

    switch (type) {
    case KLX_TEXT_FILE_WIN:
        mLineBreak = mLineBreakWin;
        break;
    case KLX_TEXT_FILE_BATCH:
        mLineBreak = mLineBreakWin;
        mCommentPrefix = KLX_STR_BATCH_REM;
        break;
    case KLX_TEXT_FILE_UNX:
        mLineBreak = mLineBreakUnx;
        break;
    case KLX_TEXT_FILE_MAC:
        mLineBreak = mLineBreakMac;
        break;
    default:
        break;
    }

    splitLines(buffer.get(), length);
}

int KLXTextFile::getLinesCount() {
    return mLines.size() > static_cast<std::size_t>(INT_MAX) ? INT_MAX
                                                             : static_cast<int>(mLines.size());
}

std::string& KLXTextFile::getLine(int index) {
    if (index < 0 || static_cast<std::size_t>(index) >= mLines.size())
        return outOfRangeLine();
    return mLines[index];
}

int KLXTextFile::findLine(std::string& text, int flags, unsigned int start) {
    for (std::size_t i = start; i < mLines.size(); ++i) {
        if (KLXStrProcess::findTemplate(mLines[i], text, flags) != KLXStrProcess::npos)
            return static_cast<int>(i);
    }
    return -1;
}

void KLXTextFile::replaceLine(int index, std::string& text) {
    if (index >= 0 && static_cast<std::size_t>(index) < mLines.size())
        mLines[index] = text;
}

void KLXTextFile::addLine(std::string& text) {
    mLines.push_back(text);
}

void KLXTextFile::insertLine(int index, std::string& text) {
    if (index >= 0 && static_cast<std::size_t>(index) < mLines.size())
        mLines.insert(mLines.begin() + index, text);
}

void KLXTextFile::insertComment(int index, std::string& text) {
    std::string comment = mCommentPrefix + text;
    insertLine(index, comment);
}

void KLXTextFile::commentLine(int index) {
    if (!mCommentPrefix.empty() && index >= 0 && static_cast<std::size_t>(index) < mLines.size())
        mLines[index].insert(0, mCommentPrefix);
}

std::string& KLXTextFile::getFullFileBuffer(bool withLineBreaks) {
    updateLineStringVector(false, mFullFileBuffer, withLineBreaks);
    return mFullFileBuffer;
}

int KLXTextFile::write() {
    std::string text;
    joinLines(text, mLineBreak, true);
    unsigned long count = text.size();
    return KLXFile::write(0, &count, text.data());
}

int KLXTextFile::write(std::string& text) {
    if (mLines.empty())
        mLines.push_back(text);
    else
        mLines.back() += text;
    return write();
}

int KLXTextFile::writeln(std::string& text) {
    addLine(text);
    return write();
}

void KLXTextFile::updateLineStringVector(bool split, std::string& buffer, bool withLineBreaks) {
    if (split)
        splitLines(buffer.data(), buffer.size());
    else if (withLineBreaks)
        joinLines(buffer, mLineBreak, true);
    else
        joinLines(buffer, std::string(KLX_STR_SPACE), false);
}

unsigned int KLXTextFile::findNextLineBreak(std::string& buffer, std::string& foundBreak,
                                            unsigned int start) {
    const std::string* breaks[] = {&mLineBreakWin, &mLineBreakUnx, &mLineBreakMac};
    LineBreakScanner scanner(buffer, breaks);
    const std::string* found = nullptr;
    std::size_t position = scanner.next(start, &found);
    if (position == std::string_view::npos)
        return KLXStrProcess::npos;
    foundBreak = *found;
    return static_cast<unsigned int>(position);
}

void KLXTextFile::splitLines(const char* text, std::size_t length) {
    mLines.clear();
    if (length == 0)
        return;

    // One allocation for the vector: count the line feeds (or, in a file
    // without any, the carriage returns) before splitting.
    std::size_t breaks = 0;
    for (char wanted : {'\n', '\r'}) {
        for (const char* p = text;
             (p = static_cast<const char*>(std::memchr(p, wanted, length - (p - text)))) != nullptr;
             ++p)
            ++breaks;
        if (breaks != 0)
            break;
    }
    mLines.reserve(breaks + 1);

    const std::string* lineBreaks[] = {&mLineBreakWin, &mLineBreakUnx, &mLineBreakMac};
    LineBreakScanner scanner(std::string_view(text, length), lineBreaks);
    std::size_t position = 0;
    for (;;) {
        const std::string* found = nullptr;
        std::size_t next = scanner.next(position, &found);
        if (next == std::string_view::npos)
            break;
        mLines.emplace_back(text + position, next - position);
        position = next + found->size();
    }
    // What follows the last break is the last line, empty when the text ends
    // with a break: writing it back restores that break.
    mLines.emplace_back(text + position, length - position);
}

void KLXTextFile::joinLines(std::string& buffer, const std::string& separator,
                            bool cutLastSeparator) const {
    std::size_t total = 0;
    for (const std::string& line : mLines)
        total += line.size() + separator.size();
    buffer.clear();
    buffer.reserve(total);
    for (const std::string& line : mLines) {
        buffer += line;
        buffer += separator;
    }
    if (cutLastSeparator && !buffer.empty())
        buffer.resize(buffer.size() - separator.size());
}
