// Fuzzes registry key paths through KLXRegistryKey: a path is accepted or
// refused as Windows does (read up to its first NUL; a leading backslash is
// refused; doubled and trailing backslashes name nothing; a name of more than
// 255 UTF-16 units or more than 512 levels is refused), the same every time,
// and a value written through it reads back through the same path with the
// ASCII letters' case changed.
//
// Input layout: 1 byte of choices, then the value (up to the first 0x01),
// then the key path.
#include "FuzzSupport.h"

#include "KLXRegistryKey.h"

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string>

namespace {

struct Key : KLXRegistryKey {
    Key(std::string path) : KLXRegistryKey(HKEY_CURRENT_USER, path) {}
    bool open() const { return mKey != nullptr; }
};

bool modelAccepts(const std::string& path) {
    const std::string text(path.c_str()); // up to the first NUL
    if (!text.empty() && text[0] == '\\')
        return false;
    std::size_t levels = 0, at = 0;
    while (at <= text.size()) {
        std::size_t end = text.find('\\', at);
        if (end == std::string::npos)
            end = text.size();
        // Windows counts a name in UTF-16 units: a UTF-8 sequence is one,
        // a four-byte one two.
        std::size_t length = 0;
        for (std::size_t i = at; i < end; ++i) {
            const unsigned char byte = static_cast<unsigned char>(text[i]);
            length += byte < 0x80 || byte >= 0xC0 ? 1 : 0;
            length += byte >= 0xF0 ? 1 : 0;
        }
        if (length > 255)
            return false;
        if (length != 0 && ++levels > 512)
            return false;
        at = end + 1;
    }
    return true;
}

std::string flipCase(std::string text) {
    for (char& c : text) {
        if (c >= 'a' && c <= 'z')
            c = static_cast<char>(c - 'a' + 'A');
        else if (c >= 'A' && c <= 'Z')
            c = static_cast<char>(c - 'A' + 'a');
    }
    return text;
}

} // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
    klxfuzz::setUpTempRoot();
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size < 1)
        return 0;
    const bool underRoot = (data[0] & 1) == 0;
    std::string rest(reinterpret_cast<const char*>(data + 1), size - 1);
    const std::size_t split = rest.find('\x01');
    std::string value = split == std::string::npos ? "" : rest.substr(0, split);
    std::string path = split == std::string::npos ? rest : rest.substr(split + 1);
    // A value as the library stores and reads it: text up to its first NUL,
    // within the read limit.
    value = std::string(value.c_str()).substr(0, 500);
    if (underRoot)
        path = "Software\\KlxFuzz\\" + path;

    const bool accepted = modelAccepts(path);
    Key key(path);
    KLX_FUZZ_CHECK(key.open() == accepted);
    KLX_FUZZ_CHECK(Key(path).open() == accepted);
    if (!accepted)
        return 0;

    std::string name = "fuzz value";
    key.setValue(name, value);
    Key again(flipCase(path));
    KLX_FUZZ_CHECK(again.open());
    std::string upper = "FUZZ VALUE";
    KLX_FUZZ_CHECK(again.retValue(upper) == value);
    return 0;
}
