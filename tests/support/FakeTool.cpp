// A stand-in for the tools that the library starts (tests/support/FakeTool.h
// copies it into place). What it does follows the name it is installed under:
//   bash         logs its arguments, drops a leading --login and runs the
//                string after -c with /cygdrive/c mapped onto drive C:
//   arm-elf-gcc  prints a compiler banner for --version
//   cmd          logs its arguments
//   any other    by its first argument: "log" logs the rest; "hello" prints
//                hello, a line on stderr and exits 3; "size N" prints N
//                letters and exits 4; "nul" prints "ab", a NUL and "cd"; a
//                number is the exit code
// Arguments are logged one a line, in brackets, to NAME.log beside the tool.
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>

#ifdef _WIN32
#include <fcntl.h>
#include <io.h>
#include <windows.h>
#else
#include <sys/wait.h>
#endif

namespace {

std::filesystem::path ownPath() {
#ifdef _WIN32
    wchar_t path[MAX_PATH];
    GetModuleFileNameW(nullptr, path, MAX_PATH);
    return path;
#else
    return std::filesystem::read_symlink("/proc/self/exe");
#endif
}

void logArguments(std::filesystem::path self, int argc, char** argv, int from) {
    std::ofstream out(self.replace_extension(".log"), std::ios::binary | std::ios::trunc);
    for (int i = from; i < argc; ++i)
        out << '[' << argv[i] << "]\n";
}

// Runs a bash command string with the host's own interpreter.
int runMapped(std::string command) {
    const std::string drive = std::filesystem::path::preferred_separator == '\\'
                                  ? "C:"
                                  : std::string(std::getenv("KLX_PREFIX")) + "/drive_c";
    for (const char* cygdrive : {"/cygdrive/c", "/cygdrive/C"})
        for (std::string::size_type at; (at = command.find(cygdrive)) != std::string::npos;)
            command.replace(at, 11, drive);
    std::fflush(stdout);
#ifdef _WIN32
    for (char& c : command)
        if (c == '/')
            c = '\\';
    return std::system(command.c_str());
#else
    const int status = std::system(command.c_str());
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
#endif
}

} // namespace

int main(int argc, char** argv) {
#ifdef _WIN32
    // Bytes as given: a POSIX tool writes no "\r" before "\n".
    _setmode(_fileno(stdout), _O_BINARY);
#endif
    const std::filesystem::path self = ownPath();
    const std::string name = self.stem().string(), first = argc > 1 ? argv[1] : "";
    if (name == "bash") {
        logArguments(self, argc, argv, 1);
        const int c = first == "--login" ? 2 : 1;
        return argc > c + 1 ? runMapped(argv[c + 1]) : 0;
    }
    if (name == "arm-elf-gcc") {
        if (first == "--version")
            std::printf("arm-elf-gcc (GCC) 4.1.1\n");
        return 0;
    }
    if (name == "cmd" || first == "log") {
        logArguments(self, argc, argv, name == "cmd" ? 1 : 2);
        return 0;
    }
    if (first == "hello") {
        std::printf("hello");
        std::fprintf(stderr, "noise\n");
        return 3;
    }
    if (first == "size") {
        for (long i = 0, n = argc > 2 ? std::atol(argv[2]) : 0; i < n; ++i)
            std::putchar('a');
        return 4;
    }
    if (first == "nul") {
        std::fwrite("ab\0cd", 1, 5, stdout);
        return 0;
    }
    return std::atoi(first.c_str());
}
