// Fuzzes the directory wildcard matching: the input is a last name pattern and
// a name (cut at the first NUL byte), and the answer is compared with a plain
// backtracking model of Windows' rules.
#include "FuzzSupport.h"

#include "platform/common/Wildcard.h"

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace {

enum Token : int { Star = 256, DosStar, DosQm, DosDot };

int fold(char c) {
    return static_cast<unsigned char>((c >= 'A' && c <= 'Z') ? c - 'A' + 'a' : c);
}

// The rewrite that Win32 applies: "?" is DOS_QM, "*" before a dot DOS_STAR,
// a dot before a wildcard or at the end DOS_DOT.
std::vector<int> rewrite(const std::string& pattern) {
    std::vector<int> tokens;
    for (std::size_t i = 0; i < pattern.size(); ++i) {
        const char next = i + 1 < pattern.size() ? pattern[i + 1] : '\0';
        if (pattern[i] == '?')
            tokens.push_back(DosQm);
        else if (pattern[i] == '*')
            tokens.push_back(next == '.' ? DosStar : Star);
        else if (pattern[i] == '.' && (next == '?' || next == '*' || next == '\0'))
            tokens.push_back(DosDot);
        else
            tokens.push_back(fold(pattern[i]));
    }
    return tokens;
}

struct Model {
    std::vector<int> tokens;
    std::string name;
    std::size_t lastDot;
    std::vector<signed char> memo; // -1 unknown

    bool match(std::size_t p, std::size_t n) {
        signed char& known = memo[p * (name.size() + 1) + n];
        if (known < 0)
            known = compute(p, n) ? 1 : 0;
        return known != 0;
    }

    bool compute(std::size_t p, std::size_t n) {
        if (p == tokens.size())
            return n == name.size();
        const bool atEnd = n == name.size();
        switch (tokens[p]) {
        case Star:
            // Any run, the empty one included.
            for (std::size_t k = n; k <= name.size(); ++k)
                if (match(p + 1, k))
                    return true;
            return false;
        case DosStar:
            // Any run that does not take the name's last dot.
            for (std::size_t k = n; k <= name.size(); ++k) {
                if (match(p + 1, k))
                    return true;
                if (k < name.size() && k == lastDot)
                    return false;
            }
            return false;
        case DosQm:
            if (!atEnd && name[n] != '.' && match(p + 1, n + 1))
                return true;
            return (atEnd || name[n] == '.') && match(p + 1, n);
        case DosDot:
            if (atEnd)
                return match(p + 1, n);
            return name[n] == '.' && match(p + 1, n + 1);
        default:
            return !atEnd && fold(name[n]) == tokens[p] && match(p + 1, n + 1);
        }
    }
};

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string input(reinterpret_cast<const char*>(data), size);
    const std::size_t cut = input.find('\0');
    if (cut == std::string::npos || size > 512)
        return 0;
    const std::string pattern = input.substr(0, cut), name = input.substr(cut + 1);
    Model model{rewrite(pattern), name, name.rfind('.'), {}};
    model.memo.assign((model.tokens.size() + 1) * (name.size() + 1), -1);
    KLX_FUZZ_CHECK(klx::platform::WildcardPattern(pattern).matches(name) == model.match(0, 0));
    return 0;
}
