// Fuzzes KLXRcFile: the input gives a start-up file's content, its open mode
// and a sequence of reads and definitions of variables whose names come from
// the input, mixed with plain line edits. A model of the lines decides what
// every read must return.
#include "FuzzSupport.h"

#include "KLXRcFile.h"

#include <fuzzer/FuzzedDataProvider.h>

#include <climits>
#include <cstddef>
#include <cstdint>
#include <iterator>
#include <string>
#include <utility>
#include <vector>

namespace {

using Strings = std::vector<std::string>;

const int kModes[] = {0, 1, 2, 5};

std::string definitionTemplate(const std::string& name) {
    return "export " + name + "=";
}

// Index of the first line that begins exactly with 'export NAME=', or -1.
int definitionLine(const Strings& lines, const std::string& name) {
    const std::string head = definitionTemplate(name);
    for (std::size_t i = 0; i < lines.size(); ++i) {
        if (lines[i].compare(0, head.size(), head) == 0)
            return static_cast<int>(i);
    }
    return -1;
}

std::string expectedValue(const Strings& lines, const std::string& name) {
    const int index = definitionLine(lines, name);
    if (index < 0)
        return "";
    std::string value =
        lines[static_cast<std::size_t>(index)].substr(definitionTemplate(name).size());
    if (!value.empty() && value.front() == '"')
        value.erase(0, 1);
    if (!value.empty() && value.back() == '"')
        value.pop_back();
    return value;
}

// Names are short and often one of a few, so that definitions meet again.
std::string pickName(FuzzedDataProvider& input) {
    static const char* const kNames[] = {"A", "B", "AB", "KL_CVL_IDE_OS_DEFAULT", "", "A=", "\"A"};
    if (input.ConsumeBool())
        return kNames[input.ConsumeIntegralInRange<std::size_t>(0, std::size(kNames) - 1)];
    return input.ConsumeRandomLengthString(16);
}

} // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
    klxfuzz::setUpTempRoot();
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    FuzzedDataProvider input(data, size);
    const int mode = input.PickValueInArray(kModes);
    const std::string content = input.ConsumeRandomLengthString(size);

    const std::filesystem::path path = klxfuzz::tempRoot() / "cvlrc";
    klxfuzz::writeBytes(path, content);
    std::string pathText = path.string();

    std::string disk = mode == 1 ? std::string() : content;
    Strings lines = klxfuzz::splitLines(klxfuzz::textUpToNul(disk));
    // Definitions set during the run whose name and value survive a write and
    // a read unchanged.
    std::vector<std::pair<std::string, std::string>> plainDefinitions;
    {
        KLXRcFile rc(pathText, mode);
        KLX_FUZZ_CHECK(rc.getLinesCount() == static_cast<int>(lines.size()));

        for (int step = 0; step < 48 && input.remaining_bytes() > 0; ++step) {
            switch (input.ConsumeIntegralInRange<int>(0, 5)) {
            case 0: {
                std::string name = pickName(input);
                std::string& value = rc.getValue(name);
                KLX_FUZZ_CHECK(value == expectedValue(lines, name));
                // Every call answers in the same shared string.
                std::string other = pickName(input);
                KLX_FUZZ_CHECK(&rc.getValue(other) == &value);
                KLX_FUZZ_CHECK(value == expectedValue(lines, other));
                break;
            }
            case 1:
            case 2: {
                std::string name = pickName(input);
                std::string value = input.ConsumeRandomLengthString(32);
                rc.setValue(name, value);
                const std::string line = definitionTemplate(name) + "\"" + value + "\"";
                const int index = definitionLine(lines, name);
                if (index < 0)
                    lines.push_back(line);
                else
                    lines[static_cast<std::size_t>(index)] = line;
                KLX_FUZZ_CHECK(rc.getValue(name) == value);
                if (!klxfuzz::hasLineBreakOrNul(name) && !klxfuzz::hasLineBreakOrNul(value))
                    plainDefinitions.emplace_back(name, value);
                break;
            }
            case 3: { // a line that may look like a definition, or nearly
                std::string text = input.ConsumeRandomLengthString(48);
                if (input.ConsumeBool())
                    text.insert(0, "export ");
                rc.addLine(text);
                lines.push_back(text);
                break;
            }
            case 4: {
                const int index =
                    input.ConsumeIntegralInRange<int>(-1, static_cast<int>(lines.size()));
                std::string text = input.ConsumeRandomLengthString(48);
                rc.replaceLine(index, text);
                if (index >= 0 && static_cast<std::size_t>(index) < lines.size())
                    lines[static_cast<std::size_t>(index)] = text;
                break;
            }
            default:
                rc.write();
                if (mode != 2 && !klxfuzz::joinLines(lines, "\n").empty())
                    disk = klxfuzz::joinLines(lines, "\n");
                KLX_FUZZ_CHECK(klxfuzz::readBytes(path) == disk);
                break;
            }
            KLX_FUZZ_CHECK(rc.getLinesCount() == static_cast<int>(lines.size()));
        }
        for (std::size_t i = 0; i < lines.size(); ++i)
            KLX_FUZZ_CHECK(rc.getLine(static_cast<int>(i)) == lines[i]);

        rc.write();
        if (mode != 2 && !klxfuzz::joinLines(lines, "\n").empty())
            disk = klxfuzz::joinLines(lines, "\n");
        KLX_FUZZ_CHECK(klxfuzz::readBytes(path) == disk);
    }

    // Read back, every variable answers as the lines on disk say. When no
    // line held a break or NUL, the lines come back as they were, and so does
    // the last value set for each plain name.
    bool linesSurvive = mode != 2 && !klxfuzz::joinLines(lines, "\n").empty();
    for (const std::string& line : lines)
        linesSurvive = linesSurvive && !klxfuzz::hasLineBreakOrNul(line);
    const Strings written = klxfuzz::splitLines(klxfuzz::textUpToNul(disk));
    KLXRcFile again(pathText, 2);
    KLX_FUZZ_CHECK(again.getLinesCount() == static_cast<int>(written.size()));
    for (const auto& definition : plainDefinitions) {
        std::string name = definition.first;
        KLX_FUZZ_CHECK(again.getValue(name) == expectedValue(written, name));
        if (linesSurvive && expectedValue(lines, name) == definition.second)
            KLX_FUZZ_CHECK(again.getValue(name) == definition.second);
    }
    return 0;
}
