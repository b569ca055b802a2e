#include "ToolRun.h"

#include "TestFiles.h"

namespace klxtest {

ToolResult runTool(const std::string& program, const std::vector<std::string>& arguments,
                   const std::vector<std::string>& environment,
                   const std::string& workingDirectory) {
    // Files, not pipes: the child never blocks on a full pipe while the test
    // waits for it.
    const std::filesystem::path out = freshDir("run") / "out", err = out.parent_path() / "err";
    ToolResult result{runToFiles(program, arguments, environment, workingDirectory, out, err),
                      readBytes(out), readBytes(err)};
#ifdef _WIN32
    // Text as a POSIX shell would read it: the programs write their lines in
    // text mode, each ended by "\r\n".
    for (std::string* text : {&result.out, &result.err})
        for (std::string::size_type at = 0; (at = text->find("\r\n", at)) != std::string::npos;)
            text->erase(at++, 1);
#endif
    return result;
}

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
