#include "ToolRun.h"

#include "Environment.h"

#include <algorithm>
#include <map>

namespace klxtest {

namespace {

// Variable names as the host compares them: Windows ignores their letter
// case and orders its environment block by their upper-case form.
struct NameOrder {
    static char fold(char c) {
#ifdef _WIN32
        return c >= 'a' && c <= 'z' ? static_cast<char>(c - 'a' + 'A') : c;
#else
        return c;
#endif
    }
    bool operator()(const std::string& left, const std::string& right) const {
        return std::lexicographical_compare(left.begin(), left.end(), right.begin(), right.end(),
                                            [](char a, char b) { return fold(a) < fold(b); });
    }
};

} // namespace

std::vector<std::string> childEnvironment(const ToolOptions& options) {
    std::map<std::string, std::string, NameOrder> variables;
    auto apply = [&](const std::string& entry) {
        // Windows keeps a current directory per drive as "=C:=C:\dir": the
        // name may begin with "=".
        std::string::size_type equals = entry.find('=', 1);
        if (equals == std::string::npos)
            variables.erase(entry);
        else
            variables[entry.substr(0, equals)] = entry.substr(equals + 1);
    };
    if (!options.cleanEnvironment)
        for (const std::string& entry : environmentEntries())
            apply(entry);
    for (const std::string& entry : options.environment)
        apply(entry);
    std::vector<std::string> result;
    for (const auto& variable : variables)
        result.push_back(variable.first + "=" + variable.second);
    return result;
}

std::vector<std::string> outputLines(const std::string& text) {
    std::vector<std::string> lines;
    std::string::size_type from = 0;
    while (from < text.size()) {
        std::string::size_type end = text.find('\n', from);
        if (end == std::string::npos)
            end = text.size();
        lines.push_back(text.substr(from, end - from));
        from = end + 1;
    }
    return lines;
}

} // namespace klxtest
