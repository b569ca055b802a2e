#include "ToolRun.h"

namespace klxtest {

std::vector<std::string> outputLines(const std::string& text) {
    std::vector<std::string> lines;
    for (std::string::size_type from = 0, end; from < text.size(); from = end + 1) {
        end = text.find('\n', from);
        if (end == std::string::npos)
            end = text.size();
        lines.push_back(text.substr(from, end - from));
    }
    return lines;
}

} // namespace klxtest
