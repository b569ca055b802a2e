// Writes the C++ source that gives a module its version resource on hosts
// whose modules are not PE images: the VS_VERSIONINFO tree as bytes, kept in
// the section ".klxversion", where the library's version reader finds it. The
// tree holds what a Windows build's resource script holds for the same
// arguments.
//
//   VersionInfoSource OUTPUT VFT_APP|VFT_DLL MAJOR.MINOR.PATCH STRING_TABLE
//                     [NAME VALUE]...
#include "version/VersionTree.h"

#include <cstdio>
#include <cstring>
#include <fstream>
#include <iostream>
#include <string>

using klx::version::ascii16;

namespace {

bool parseVersion(const char* text, unsigned (&parts)[3]) {
    return std::sscanf(text, "%u.%u.%u", &parts[0], &parts[1], &parts[2]) == 3 &&
           parts[0] <= 0xFFFF && parts[1] <= 0xFFFF && parts[2] <= 0xFFFF;
}

} // namespace

int main(int argc, char* argv[]) {
    unsigned version[3];
    const bool app = argc > 2 && std::strcmp(argv[2], "VFT_APP") == 0;
    const bool dll = argc > 2 && std::strcmp(argv[2], "VFT_DLL") == 0;
    if (argc < 5 || argc % 2 == 0 || !(app || dll) || !parseVersion(argv[3], version)) {
        std::cerr << "usage: VersionInfoSource OUTPUT VFT_APP|VFT_DLL MAJOR.MINOR.PATCH "
                     "STRING_TABLE [NAME VALUE]...\n";
        return 2;
    }
    klx::version::StringTable strings{ascii16(argv[4]), {}};
    for (int i = 5; i + 1 < argc; i += 2)
        strings.strings.emplace_back(ascii16(argv[i]), ascii16(argv[i + 1]));
    const std::uint32_t high = (version[0] << 16) | version[1], low = version[2] << 16;
    const std::string tree =
        klx::version::versionTree(klx::version::fixedFileInfo(high, low, high, low, app ? 1 : 2),
                                  {strings}, {{0x0409, 0x04B0}});

    std::ofstream out(argv[1], std::ios::binary | std::ios::trunc);
    const std::string array = "klxVersionResource[" + std::to_string(tree.size()) + "]";
    out << "// Generated at build time: a module's version resource.\n"
        << "extern const unsigned char " << array << ";\n"
        << "__attribute__((used, section(\".klxversion\"), aligned(4)))\n"
        << "const unsigned char " << array << " = {";
    for (std::size_t i = 0; i < tree.size(); ++i)
        out << (i % 16 == 0 ? "\n   " : "") << ' '
            << static_cast<unsigned>(static_cast<unsigned char>(tree[i])) << ',';
    out << "\n};\n";
    out.close();
    return out ? 0 : 1;
}
