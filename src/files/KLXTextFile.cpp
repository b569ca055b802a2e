#include "KLXTextFile.h"

#include "KLXStrProcess.h"

#include "platform/Platform.h"
#include "platform/common/AllocatorTuning.h"

#include <climits>
#include <cstring>
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

    if (!readLines())
        return;

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
    // A batch file is in the code page its command interpreter reads.
    if (type == KLX_TEXT_FILE_BATCH)
        for (std::string& line : mLines)
            line = klx::platform::batchText(line);
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
    // A batch file (the type whose comments are REM lines) is written in
    // the code page its command interpreter reads.
    std::vector<std::string> encoded;
    if (mCommentPrefix == KLX_STR_BATCH_REM) {
        encoded.reserve(mLines.size());
        for (const std::string& line : mLines)
            encoded.push_back(klx::platform::batchBytes(line));
    }
    const std::vector<std::string>& lines = encoded.empty() ? mLines : encoded;
    std::size_t total = 0;
    for (const std::string& line : lines)
        total += line.size() + mLineBreak.size();
    if (!lines.empty())
        total -= mLineBreak.size();
    // Nothing is written for zero bytes, nor for more than one write can take.
    if (total == 0 || total > 0xFFFFFFFFul)
        return -1;

    klx::platform::Result<std::uint64_t> before = klx::platform::fileSize(mHandle);
    if (before.error != 0)
        return -1;

    const std::size_t kChunkSize = 512 * 1024;
    std::string chunk;
    chunk.reserve((total < kChunkSize ? total : kChunkSize) + mLineBreak.size());
    std::uint64_t offset = 0;
    auto put = [&](const char* data, std::size_t size) {
        klx::platform::Result<std::size_t> result =
            klx::platform::writeFileAt(mHandle, offset, data, size);
        offset += result.value;
        return result.error == 0;
    };
    auto flush = [&] {
        bool written = chunk.empty() || put(chunk.data(), chunk.size());
        chunk.clear();
        return written;
    };

    bool written = true;
    for (std::size_t i = 0; written && i < lines.size(); ++i) {
        const std::string& line = lines[i];
        if (chunk.size() + line.size() <= kChunkSize)
            chunk += line;
        else
            written = flush() && put(line.data(), line.size());
        if (i + 1 < lines.size())
            chunk += mLineBreak;
        if (written && chunk.size() >= kChunkSize)
            written = flush();
    }
    written = written && flush();

    if (!written) {
        // The file keeps the length it had.
        klx::platform::setFileLength(mHandle, before.value);
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

bool KLXTextFile::readLines() {
    // Reads what read(-1) reads (the file's length at opening, from the
    // current position) a chunk at a time and splits it on the way, so that
    // no copy of the whole file is made. The text ends at its first NUL.
    if (mHandle == INVALID_HANDLE_VALUE)
        return false;
    const std::size_t kChunkSize = 256 * 1024;
    const std::size_t breakLength = longestLineBreak();
    std::string pending; // the text from the start of the first line not taken
    std::size_t searchFrom = 0;
    std::size_t remaining = mSize;
    std::uint64_t textLength = 0;
    bool textEnded = false;
    bool reserved = false;
    while (remaining > 0) {
        const std::size_t wanted = remaining < kChunkSize ? remaining : kChunkSize;
        const std::size_t kept = pending.size();
        pending.resize(kept + wanted);
        klx::platform::Result<std::size_t> result =
            klx::platform::readFile(mHandle, &pending[kept], wanted);
        if (result.error != 0) {
            mLines.clear();
            return false;
        }
        remaining -= result.value;
        std::size_t got = result.value;
        if (textEnded) {
            got = 0; // read on only to see the whole file read
        } else if (const void* nul = std::memchr(&pending[kept], '\0', got)) {
            got = static_cast<const char*>(nul) - &pending[kept];
            textEnded = true;
        }
        pending.resize(kept + got);
        textLength += got;

        std::size_t taken = takeLines(pending.data(), pending.size(), searchFrom, false);
        pending.erase(0, taken);
        // No break begins before the last few bytes of what is left.
        searchFrom = pending.size() >= breakLength ? pending.size() - breakLength + 1 : 0;

        if (!reserved && !mLines.empty()) {
            // Size the vector once, from the line density of the first chunk.
            const double linesPerByte = double(mLines.size()) / double(textLength);
            mLines.reserve(mLines.size() + std::size_t(linesPerByte * double(remaining) * 1.05) +
                           16);
            reserved = true;
        }
        if (result.value < wanted)
            break; // the end of the file came first
    }
    if (textLength > 0) {
        std::size_t taken = takeLines(pending.data(), pending.size(), searchFrom, true);
        // What follows the last break is the last line, empty when the text
        // ends with a break: writing it back restores that break.
        appendLine(pending.data() + taken, pending.size() - taken);
    }
    return true;
}

void KLXTextFile::splitLines(const char* text, std::size_t length) {
    mLines.clear();
    if (length == 0)
        return;
    std::size_t taken = takeLines(text, length, 0, true);
    appendLine(text + taken, length - taken);
}

void KLXTextFile::appendLine(const char* text, std::size_t length) {
    // A line that the allocator would free expensively gets the capacity it
    // frees cheaply, when that at most doubles the line's memory: a large
    // file's lines are all freed at once.
    static const std::size_t bulkCapacity = klx::platform::bulkFreeStringCapacity();
    if (length * 2 >= bulkCapacity && length < bulkCapacity) {
        mLines.emplace_back();
        mLines.back().reserve(bulkCapacity);
        mLines.back().assign(text, length);
    } else {
        mLines.emplace_back(text, length);
    }
}

std::size_t KLXTextFile::takeLines(const char* text, std::size_t length, std::size_t searchFrom,
                                   bool final) {
    // A break is settled once every break that could begin at its position
    // lies wholly inside the text: "\r" at the very end of a chunk may be the
    // first half of "\r\n".
    const std::size_t breakLength = longestLineBreak();
    const std::string* lineBreaks[] = {&mLineBreakWin, &mLineBreakUnx, &mLineBreakMac};
    LineBreakScanner scanner(std::string_view(text, length), lineBreaks);
    std::size_t lineStart = 0;
    std::size_t from = searchFrom;
    for (;;) {
        const std::string* found = nullptr;
        std::size_t next = scanner.next(from, &found);
        if (next == std::string_view::npos || (!final && next + breakLength > length))
            return lineStart;
        appendLine(text + lineStart, next - lineStart);
        lineStart = from = next + found->size();
    }
}

std::size_t KLXTextFile::longestLineBreak() const {
    std::size_t longest = 1;
    for (const std::string* lineBreak : {&mLineBreakWin, &mLineBreakUnx, &mLineBreakMac})
        longest = lineBreak->size() > longest ? lineBreak->size() : longest;
    return longest;
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
