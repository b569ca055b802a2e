// Fuzzes KLXTextFile: the input gives a file's content, its type (including
// values outside the enumeration), its open mode and a sequence of line
// operations. A plain model of the lines and of the bytes on disk follows
// every step; the library must agree with it.
#include "FuzzSupport.h"

#include "KLXStrProcess.h"
#include "KLXTextFile.h"

#include <fuzzer/FuzzedDataProvider.h>

#include <climits>
#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace {

using Strings = std::vector<std::string>;

const int kTypes[] = {KLX_TEXT_FILE_WIN,
                      KLX_TEXT_FILE_BATCH,
                      KLX_TEXT_FILE_UNX,
                      KLX_TEXT_FILE_MAC,
                      -1,
                      4,
                      7,
                      INT_MIN};
const int kModes[] = {0, 1, 2, 9};

std::string lineBreakOf(int type) {
    switch (type) {
    case KLX_TEXT_FILE_WIN:
    case KLX_TEXT_FILE_BATCH:
        return "\r\n";
    case KLX_TEXT_FILE_UNX:
        return "\n";
    case KLX_TEXT_FILE_MAC:
        return "\r";
    default:
        return "";
    }
}

char lowerAscii(char c) {
    return (c >= 'A' && c <= 'Z') ? static_cast<char>(c - 'A' + 'a') : c;
}

bool beginsWith(const std::string& line, const std::string& text, bool exactCase) {
    if (line.size() < text.size())
        return false;
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (exactCase ? line[i] != text[i] : lowerAscii(line[i]) != lowerAscii(text[i]))
            return false;
    }
    return true;
}

int validIndexOrNot(FuzzedDataProvider& input, std::size_t count) {
    switch (input.ConsumeIntegralInRange<int>(0, 7)) {
    case 0:
        return INT_MIN;
    case 1:
        return INT_MAX;
    default:
        return input.ConsumeIntegralInRange<int>(-2, static_cast<int>(count) + 1);
    }
}

bool validIndex(int index, const Strings& lines) {
    return index >= 0 && static_cast<std::size_t>(index) < lines.size();
}

struct Model {
    Strings lines;
    std::string lineBreak;
    std::string commentPrefix;
    std::string disk; // the file's bytes
    bool writable = true;

    // What write() leaves on disk: the joined lines, unless they join to
    // nothing or the file is read-only.
    void write() {
        const std::string text = klxfuzz::joinLines(lines, lineBreak);
        if (writable && !text.empty())
            disk = text;
    }
};

void checkLines(KLXTextFile& file, const Model& model) {
    KLX_FUZZ_CHECK(file.getLinesCount() == static_cast<int>(model.lines.size()));
    for (std::size_t i = 0; i < model.lines.size(); ++i)
        KLX_FUZZ_CHECK(file.getLine(static_cast<int>(i)) == model.lines[i]);
}

void checkDisk(const std::filesystem::path& path, const Model& model) {
    KLX_FUZZ_CHECK(klxfuzz::readBytes(path) == model.disk);
}

void runOperation(KLXTextFile& file, Model& model, FuzzedDataProvider& input,
                  const std::filesystem::path& path) {
    Strings& lines = model.lines;
    switch (input.ConsumeIntegralInRange<int>(0, 11)) {
    case 0: { // findLine under flags that the model knows, or under any flags
        std::string text = input.ConsumeRandomLengthString(32);
        const bool anyFlags = input.ConsumeBool();
        const int flags = anyFlags ? input.ConsumeIntegral<int>()
                                   : (input.ConsumeBool() ? KLX_TEMPLATE_CASE_SENSITIVE : 0);
        unsigned start = input.ConsumeBool() ? UINT_MAX
                                             : input.ConsumeIntegralInRange<unsigned>(
                                                   0, static_cast<unsigned>(lines.size()) + 2);
        const int found = file.findLine(text, flags, start);
        KLX_FUZZ_CHECK(found == -1 || (static_cast<unsigned>(found) >= start &&
                                       static_cast<std::size_t>(found) < lines.size()));
        // The case-insensitive comparison is bounded like the C library's, so
        // a NUL in the text is left to the range check above.
        if (!anyFlags && !text.empty() && text.find('\0') == std::string::npos) {
            int expected = -1;
            for (std::size_t i = start; i < lines.size(); ++i) {
                if (beginsWith(lines[i], text, flags == KLX_TEMPLATE_CASE_SENSITIVE)) {
                    expected = static_cast<int>(i);
                    break;
                }
            }
            KLX_FUZZ_CHECK(found == expected);
        }
        break;
    }
    case 1: {
        const int index = validIndexOrNot(input, lines.size());
        std::string text = input.ConsumeRandomLengthString(64);
        file.replaceLine(index, text);
        if (validIndex(index, lines))
            lines[static_cast<std::size_t>(index)] = text;
        break;
    }
    case 2: {
        std::string text = input.ConsumeRandomLengthString(64);
        file.addLine(text);
        lines.push_back(text);
        break;
    }
    case 3: {
        const int index = validIndexOrNot(input, lines.size());
        std::string text = input.ConsumeRandomLengthString(64);
        file.insertLine(index, text);
        if (validIndex(index, lines))
            lines.insert(lines.begin() + index, text);
        break;
    }
    case 4: {
        const int index = validIndexOrNot(input, lines.size());
        std::string text = input.ConsumeRandomLengthString(64);
        file.insertComment(index, text);
        if (validIndex(index, lines))
            lines.insert(lines.begin() + index, model.commentPrefix + text);
        break;
    }
    case 5: {
        const int index = validIndexOrNot(input, lines.size());
        file.commentLine(index);
        if (validIndex(index, lines))
            lines[static_cast<std::size_t>(index)].insert(0, model.commentPrefix);
        break;
    }
    case 6: // the line is handed out for changing in place
        if (!lines.empty()) {
            const int index =
                input.ConsumeIntegralInRange<int>(0, static_cast<int>(lines.size()) - 1);
            const std::string text = input.ConsumeRandomLengthString(64);
            file.getLine(index) += text;
            lines[static_cast<std::size_t>(index)] += text;
        }
        break;
    case 7:
        KLX_FUZZ_CHECK(file.getFullFileBuffer(true) == klxfuzz::joinLines(lines, model.lineBreak));
        break;
    case 8: {
        std::string expected;
        for (const std::string& line : lines)
            expected += line + " ";
        KLX_FUZZ_CHECK(file.getFullFileBuffer(false) == expected);
        break;
    }
    case 9:
        file.write();
        model.write();
        checkDisk(path, model);
        break;
    case 10: { // the stream write: appended to the last line
        std::string text = input.ConsumeRandomLengthString(64);
        file.write(text);
        if (lines.empty())
            lines.push_back(text);
        else
            lines.back() += text;
        model.write();
        checkDisk(path, model);
        break;
    }
    default: { // the stream writeln: a new line
        std::string text = input.ConsumeRandomLengthString(64);
        file.writeln(text);
        lines.push_back(text);
        model.write();
        checkDisk(path, model);
        break;
    }
    }
    KLX_FUZZ_CHECK(file.getLinesCount() == static_cast<int>(lines.size()));
}

} // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
    klxfuzz::setUpTempRoot();
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    FuzzedDataProvider input(data, size);
    const int type = input.PickValueInArray(kTypes);
    const int mode = input.PickValueInArray(kModes);
    const std::string content = input.ConsumeRandomLengthString(size);

    const std::filesystem::path path = klxfuzz::tempRoot() / "text.txt";
    klxfuzz::writeBytes(path, content);
    std::string pathText = path.string();

    Model model;
    model.disk = mode == 1 ? std::string() : content;
    model.writable = mode != 2;
    model.lineBreak = lineBreakOf(type);
    model.commentPrefix = type == KLX_TEXT_FILE_BATCH ? "REM " : "";
    const std::string text = klxfuzz::textUpToNul(model.disk);
    model.lines = klxfuzz::splitLines(text);
    {
        KLXTextFile file(pathText, static_cast<KLXTextFileType_e>(type), mode);
        checkLines(file, model);

        // Joining what was split with the line breaks read gives the text
        // back: a Unix file with Unix breaks is written back as it was read,
        // cut at its first NUL, unless it joins to nothing.
        if (type == KLX_TEXT_FILE_UNX && text.find('\r') == std::string::npos) {
            KLX_FUZZ_CHECK(file.getFullFileBuffer(true) == text);
            file.write();
            if (model.writable && !text.empty())
                model.disk = text;
            checkDisk(path, model);
        }

        for (int step = 0; step < 48 && input.remaining_bytes() > 0; ++step)
            runOperation(file, model, input, path);
        checkLines(file, model);

        file.write();
        model.write();
        checkDisk(path, model);
    }

    // Whatever was written reads back as the split of its text.
    KLXTextFile again(pathText, static_cast<KLXTextFileType_e>(type), 2);
    model.lines = klxfuzz::splitLines(klxfuzz::textUpToNul(model.disk));
    checkLines(again, model);
    return 0;
}
