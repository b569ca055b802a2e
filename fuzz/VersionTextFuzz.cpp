// Fuzzes the parsing of version texts: KLXVersion(type, text) for the types
// whose versions come from text (a compiler's banner, a scripts directory's
// name, a plug-in version) must give the components that a plain model of
// the grammar gives, and versions must compare as their components do.
//
// Input layout: 1 byte choosing the type, then the text; a second version,
// for the comparisons, is the text after its first 0x01.
#include "FuzzSupport.h"

#include "KLXVersion.h"

#include <climits>
#include <cstddef>
#include <cstdint>
#include <string>

namespace {

struct Version : KLXVersion {
    Version(KLXAppType_e type, std::string text) : KLXVersion(type, text) {}
    using KLXVersion::mVersion;
    using KLXVersion::mVersionString;
};

const KLXAppType_e kTypes[] = {KLX_APP_GCC_HOME,  KLX_APP_ARM_ELF_GCC, KLX_APP_SGT_DIR,
                               KLX_APP_TCPIP_DIR, KLX_APP_M2M_DIR,     KLX_APP_CYGWIN_DLL};

bool isDigit(char c) {
    return c >= '0' && c <= '9';
}
bool isHexLetter(char c) {
    return (c >= 'a' && c <= 'f') || (c >= 'A' && c <= 'F');
}

// The characters that a filter mode keeps: 3 digits and dots; 19 also the
// hexadecimal letters; 51 also the underscore.
std::string kept(const std::string& text, int mode) {
    std::string out;
    for (char c : text) {
        if (isDigit(c) || c == '.' || (mode >= 19 && isHexLetter(c)) || (mode == 51 && c == '_'))
            out += c;
    }
    return out;
}

// The grammar: "_" is ".", parts between dots, a first letter a-j or A-J is
// the digit of its place, the leading decimal number (clamped to int) in its
// low 16 bits, the first four parts.
void model(std::string text, short (&version)[4]) {
    for (char& c : text)
        if (c == '_')
            c = '.';
    for (short& v : version)
        v = 0;
    std::size_t part = 0, at = 0;
    while (part < 4) {
        std::size_t dot = text.find('.', at);
        std::string piece =
            text.substr(at, dot == std::string::npos ? std::string::npos : dot - at);
        if (!piece.empty() &&
            ((piece[0] >= 'a' && piece[0] <= 'j') || (piece[0] >= 'A' && piece[0] <= 'J')))
            piece[0] = static_cast<char>('0' + ((piece[0] | 0x20) - 'a'));
        long long number = 0;
        for (std::size_t i = 0; i < piece.size() && isDigit(piece[i]); ++i)
            number = std::min<long long>(number * 10 + (piece[i] - '0'), INT_MAX);
        version[part++] = static_cast<short>(static_cast<std::uint16_t>(number & 0xFFFF));
        if (dot == std::string::npos)
            break;
        at = dot + 1;
    }
}

// The text that a type parses.
std::string parsedText(KLXAppType_e type, const std::string& text) {
    switch (type) {
    case KLX_APP_GCC_HOME:
    case KLX_APP_ARM_ELF_GCC:
        return kept(text.substr(0, text.find('\n')), 3);
    case KLX_APP_SGT_DIR:
        return kept(text, 51);
    case KLX_APP_TCPIP_DIR:
    case KLX_APP_M2M_DIR: {
        std::string copy = kept(kept(text, 19), 3);
        std::size_t dots = 0;
        for (char c : copy)
            dots += c == '.';
        return dots == 1 ? copy + ".99" : copy;
    }
    default:
        return kept(text, 3);
    }
}

Version check(KLXAppType_e type, const std::string& text) {
    Version version(type, text);
    short expected[4];
    model(parsedText(type, text), expected);
    for (int i = 0; i < 4; ++i)
        KLX_FUZZ_CHECK(version.mVersion[i] == expected[i]);
    return version;
}

} // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
    klxfuzz::setUpTempRoot();
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size < 1)
        return 0;
    const KLXAppType_e type = kTypes[data[0] % (sizeof kTypes / sizeof kTypes[0])];
    const std::string text(reinterpret_cast<const char*>(data + 1), size - 1);
    // An empty Cygwin text would read the version resource of cygwin1.dll.
    if (type == KLX_APP_CYGWIN_DLL && text.empty())
        return 0;
    const Version first = check(type, text);
    const std::size_t split = text.find('\x01');
    const std::string second = split == std::string::npos ? text : text.substr(split + 1);
    if (type == KLX_APP_CYGWIN_DLL && second.empty())
        return 0;
    const Version other = check(type, second);

    // Components compare as signed 16-bit numbers, most significant first.
    int order = 0;
    for (int i = 0; i < 4 && order == 0; ++i)
        order = first.mVersion[i] < other.mVersion[i] ? -1 : first.mVersion[i] > other.mVersion[i];
    KLX_FUZZ_CHECK((first > other) == (order > 0));
    KLX_FUZZ_CHECK((other > first) == (order < 0));
    KLX_FUZZ_CHECK((first == other) == (order == 0));
    KLX_FUZZ_CHECK((first >= other) == (order >= 0));
    KLX_FUZZ_CHECK(first == first && !(first > first));
    return 0;
}
