#include "KLXTextFile.h"

#include "KLXStrProcess.h"

#include "platform/Platform.h"

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

// How much of a text is looked at to guess its number of lines.
const std::size_t kDensitySample = 256 * 1024;

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

KLXTextFile::~KLXTextFile() {
    // Last line first: most allocators take back memory freed in the reverse
    // order of its allocation most cheaply.
    while (!mLines.empty())
        mLines.pop_back();
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
    // The lines go to the file through a buffer of moderate size rather than
    // one joined copy of the whole text: the bytes written and the file's
    // fate on failure are those of one KLXFile::write at offset 0.
    if (mHandle == INVALID_HANDLE_VALUE)
        return -1;
    std::size_t total = 0;
    for (const std::string& line : mLines)
        total += line.size() + mLineBreak.size();
    if (!mLines.empty())
        total -= mLineBreak.size();
    // Nothing is written for zero bytes, nor for more than one write can take.
    if (total == 0 || total > 0xFFFFFFFFul)
        return -1;

    klx::platform::SizeResult before = klx::platform::fileSize(mHandle);
    if (before.error != 0)
        return -1;

    const std::size_t kChunkSize = 512 * 1024;
    std::string chunk;
    chunk.reserve((total < kChunkSize ? total : kChunkSize) + mLineBreak.size());
    std::uint64_t offset = 0;
    auto put = [&](const char* data, std::size_t size) {
        klx::platform::IoResult result = klx::platform::writeFileAt(mHandle, offset, data, size);
        offset += result.done;
        return result.error == 0;
    };
    auto flush = [&] {
        bool written = chunk.empty() || put(chunk.data(), chunk.size());
        chunk.clear();
        return written;
    };

    bool written = true;
    for (std::size_t i = 0; written && i < mLines.size(); ++i) {
        const std::string& line = mLines[i];
        if (chunk.size() + line.size() <= kChunkSize)
            chunk += line;
        else
            written = flush() && put(line.data(), line.size());
        if (i + 1 < mLines.size())
            chunk += mLineBreak;
        if (written && chunk.size() >= kChunkSize)
            written = flush();
    }
    written = written && flush();

    if (!written) {
        // The file keeps the length it had.
        klx::platform::setFileLength(mHandle, before.size);
        return -1;
    }
    // A shorter rewrite leaves no tail of the old content.
    klx::platform::setEndOfFile(mHandle);
    return 0;
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

    // Size the vector once, from the line density of the text's beginning.
    const std::size_t sample = length < kDensitySample ? length : kDensitySample;
    std::size_t breaks = 0;
    for (char wanted : {'\n', '\r'}) {
        for (const char* p = text;
             (p = static_cast<const char*>(std::memchr(p, wanted, sample - (p - text)))) != nullptr;
             ++p)
            ++breaks;
        if (breaks != 0)
            break;
    }
    mLines.reserve(breaks == 0 ? 1 : length / sample * breaks + breaks + 1);

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
