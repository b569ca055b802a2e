// Writes the C++ source that gives one of the SDK's programs its version
// resource on hosts whose programs are not PE images: the VS_VERSIONINFO tree
// as bytes, kept in the section ".klxversion", where the library's version
// reader finds it.
//
//   VersionInfoSource OUTPUT PROGRAM DESCRIPTION PRODUCT MAJOR.MINOR.PATCH
#include "version/VersionTree.h"

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <iostream>
#include <string>

using klx::version::ascii16;

namespace {

bool parseVersion(const std::string& text, unsigned (&parts)[3]) {
    return std::sscanf(text.c_str(), "%u.%u.%u", &parts[0], &parts[1], &parts[2]) == 3 &&
           parts[0] <= 0xFFFF && parts[1] <= 0xFFFF && parts[2] <= 0xFFFF;
}

} // namespace

int main(int argc, char* argv[]) {
    unsigned version[3];
    if (argc != 6 || !parseVersion(argv[5], version)) {
        std::cerr << "usage: VersionInfoSource OUTPUT PROGRAM DESCRIPTION PRODUCT "
                     "MAJOR.MINOR.PATCH\n";
        return 2;
    }
    const std::string program = argv[2], versionText = argv[5];
    const std::uint32_t high = (version[0] << 16) | version[1], low = version[2] << 16;
    const klx::version::StringTable strings{u"040904B0",
                                            {{u"CompanyName", u"Keldmar"},
                                             {u"FileDescription", ascii16(argv[3])},
                                             {u"FileVersion", ascii16(versionText)},
                                             {u"InternalName", ascii16(program)},
                                             {u"OriginalFilename", ascii16(program + ".exe")},
                                             {u"ProductName", ascii16(argv[4])},
                                             {u"ProductVersion", ascii16(versionText)}}};
    const std::string tree = klx::version::versionTree(
        klx::version::fixedFileInfo(high, low, high, low, 1), {strings}, {{0x0409, 0x04B0}});

    std::ofstream out(argv[1], std::ios::binary | std::ios::trunc);
    const std::string array = "klxVersionResource[" + std::to_string(tree.size()) + "]";
    out << "// Generated at build time: the version resource of " << program << ".\n"
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
