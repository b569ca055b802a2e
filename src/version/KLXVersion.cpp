// Version objects: version resources of module files, the versions that the
// tools of the application path table tell, version texts and comparisons.
#include "KLXVersion.h"

#include "KLXPathBrowser.h"
#include "KLXStrProcess.h"
#include "KLXSystem.h"
#include "platform/common/VersionInfo.h"

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <vector>

namespace {

// The block is allocated with a hidden prefix that records its size, so that
// a copy can duplicate it and every query knows its bounds. The prefix keeps
// the block's start aligned as the allocation itself is.
const std::size_t kBlockPrefix = 16;

unsigned char* allocateBlock(std::size_t size) {
    unsigned char* raw = new unsigned char[kBlockPrefix + size]();
    std::memcpy(raw, &size, sizeof size);
    return raw + kBlockPrefix;
}

std::size_t blockSize(const unsigned char* block) {
    std::size_t size;
    std::memcpy(&size, block - kBlockPrefix, sizeof size);
    return size;
}

void releaseBlock(unsigned char*& block) {
    if (block != nullptr)
        delete[](block - kBlockPrefix);
    block = nullptr;
}

unsigned char* duplicateBlock(const unsigned char* block) {
    if (block == nullptr)
        return nullptr;
    const std::size_t size = blockSize(block);
    unsigned char* copy = allocateBlock(size);
    std::memcpy(copy, block, size);
    return copy;
}

klx::platform::Result<klx::platform::VersionValue> query(unsigned char* block,
                                                         const std::string& subBlock) {
    return klx::platform::queryVersionValue(block, blockSize(block), subBlock);
}

std::uint32_t read32(const void* data, std::size_t at) {
    const unsigned char* p = static_cast<const unsigned char*>(data) + at;
    return static_cast<std::uint32_t>(p[0]) | (static_cast<std::uint32_t>(p[1]) << 8) |
           (static_cast<std::uint32_t>(p[2]) << 16) | (static_cast<std::uint32_t>(p[3]) << 24);
}

std::uint16_t read16(const void* data, std::size_t at) {
    const unsigned char* p = static_cast<const unsigned char*>(data) + at;
    return static_cast<std::uint16_t>(p[0] | (p[1] << 8));
}

// "%04x" of a WORD.
std::string hex4(std::uint16_t value) {
    static const char kDigits[] = "0123456789abcdef";
    std::string text(4, '0');
    for (int i = 3; i >= 0; --i) {
        text[static_cast<std::size_t>(i)] = kDigits[value & 0xF];
        value = static_cast<std::uint16_t>(value >> 4);
    }
    return text;
}

// Offsets of the product version in VS_FIXEDFILEINFO.
const std::size_t kProductVersionMS = 16;
const std::size_t kProductVersionLS = 20;
const std::size_t kFixedInfoSize = 52;

} // namespace

std::string KLXVersion::mNoFile;

KLXVersion::KLXVersion(std::string& file) : mVersionInfo(nullptr), mVersion{0, 0, 0, 0} {
    CommonConstructor(file);
}

KLXVersion::KLXVersion(KLXAppType_e type) : mVersionInfo(nullptr), mVersion{0, 0, 0, 0} {
    std::string text;
    switch (type) {
    case KLX_APP_ARM_ELF_GCC: {
        // A compiler installed under a versioned directory tells its version
        // by that name; otherwise its banner does.
        std::string name = KLXSystem::getApplicationPath(KLX_APP_GCC_HOME);
        KLXStrProcess::extractFileName(name, false);
        std::string digits = name;
        KLXStrProcess::keepChars(digits, KLX_KEEP_DIGITS | KLX_KEEP_DOT);
        if (digits.empty()) {
            std::vector<std::string> args{"--version"};
            int exitCode = 0;
            text = KLXSystem::runBashGetOutput(KLX_APP_ARM_ELF_GCC, args, &exitCode, false);
        } else {
            text = name;
        }
        break;
    }
    case KLX_APP_SGT_DIR:
        text = KLXSystem::getApplicationPath(KLX_APP_SGT_DIR);
        if (checkForScripts(text))
            KLXStrProcess::extractFileName(text, false);
        else
            text.clear();
        break;
    case KLX_APP_TCPIP_DIR:
    case KLX_APP_M2M_DIR: {
        std::string dir = KLXSystem::getApplicationPath(type);
        text = getHighestVersionFromPath(dir);
        break;
    }
    default:
        break;
    }
    computeSpecificVersions(type, text);
}

KLXVersion::KLXVersion(KLXAppType_e type, std::string& text)
    : mVersionInfo(nullptr), mVersion{0, 0, 0, 0} {
    computeSpecificVersions(type, text);
}

KLXVersion::KLXVersion(const KLXVersion& other)
    : mVersionInfo(duplicateBlock(other.mVersionInfo)), mProductName(other.mProductName),
      mTranslation(other.mTranslation),
      mVersionString(other.mVersionString), mVersion{other.mVersion[0], other.mVersion[1],
                                                     other.mVersion[2], other.mVersion[3]} {}

KLXVersion& KLXVersion::operator=(const KLXVersion& other) {
    if (this == &other)
        return *this;
    unsigned char* block = duplicateBlock(other.mVersionInfo);
    releaseBlock(mVersionInfo);
    mVersionInfo = block;
    mProductName = other.mProductName;
    mTranslation = other.mTranslation;
    mVersionString = other.mVersionString;
    for (int i = 0; i < 4; ++i)
        mVersion[i] = other.mVersion[i];
    return *this;
}

KLXVersion::~KLXVersion() {
    releaseBlock(mVersionInfo);
}

void KLXVersion::CommonConstructor(std::string& file) {
    releaseBlock(mVersionInfo);
    // No file is the library's own module.
    const std::string module = file.empty() ? std::string(klx::platform::kSelfModuleName) : file;
    const klx::platform::Result<std::size_t> size = klx::platform::fileVersionInfoSize(module);
    if (!size.ok())
        return;
    mVersionInfo = allocateBlock(size.value);
    if (klx::platform::fileVersionInfo(module, mVersionInfo, size.value) != 0) {
        // A block that could not be read holds nothing to look up.
        releaseBlock(mVersionInfo);
        return;
    }

    const klx::platform::Result<klx::platform::VersionValue> fixed =
        query(mVersionInfo, KLX_STR_BACKSLASH);
    if (fixed.ok() && fixed.value.length >= kFixedInfoSize) {
        const std::uint32_t ms = read32(fixed.value.data, kProductVersionMS);
        const std::uint32_t ls = read32(fixed.value.data, kProductVersionLS);
        const std::uint16_t words[4] = {
            static_cast<std::uint16_t>(ms >> 16), static_cast<std::uint16_t>(ms & 0xFFFF),
            static_cast<std::uint16_t>(ls >> 16), static_cast<std::uint16_t>(ls & 0xFFFF)};
        mVersionString.clear();
        for (int i = 0; i < 4; ++i) {
            mVersion[i] = static_cast<short>(words[i]);
            if (i > 0)
                mVersionString += '.';
            mVersionString += std::to_string(static_cast<unsigned>(words[i]));
        }
    }

    const klx::platform::Result<klx::platform::VersionValue> translation =
        query(mVersionInfo, "\\VarFileInfo\\Translation");
    if (translation.ok() && translation.value.length >= 4)
        mTranslation =
            hex4(read16(translation.value.data, 0)) + hex4(read16(translation.value.data, 2));
}

void KLXVersion::getProductVersionString(std::string& out) {
    out = mVersionString;
}

std::string KLXVersion::getProductNameString() {
    if (mVersionInfo != nullptr && mProductName.empty() && !mTranslation.empty()) {
        const klx::platform::Result<klx::platform::VersionValue> name =
            query(mVersionInfo, "\\StringFileInfo\\" + mTranslation + "\\ProductName");
        if (name.ok())
            mProductName.assign(static_cast<const char*>(name.value.data), name.value.length);
    }
    return mProductName;
}

void KLXVersion::parseIntegerVersion(std::string& text) {
    for (short& component : mVersion)
        component = 0;

    std::string copy = text;
    std::string underscore = "_";
    std::string unused;
    std::string dot = ".";
    KLXStrProcess::replaceTemplate(copy, underscore, unused, dot, 0);

    std::vector<std::string> parts;
    std::size_t at = copy.find('.');
    while (at != std::string::npos) {
        parts.push_back(copy.substr(0, at));
        copy.erase(0, at + 1);
        at = copy.find('.');
    }
    parts.push_back(copy);

    for (std::size_t i = 0; i < parts.size() && i < 4; ++i) {
        std::string& part = parts[i];
        // Letter-numbered releases: "a" to "j" stand for the digits 0 to 9.
        if (!part.empty()) {
            const char first = part[0];
            if (first >= 'a' && first <= 'j')
                part[0] = static_cast<char>('0' + (first - 'a'));
            else if (first >= 'A' && first <= 'J')
                part[0] = static_cast<char>('0' + (first - 'A'));
        }
        const int number = KLXStrProcess::convert2Int(part);
        mVersion[i] = static_cast<short>(static_cast<std::uint16_t>(number & 0xFFFF));
    }
}

void KLXVersion::computeSpecificVersions(KLXAppType_e type, std::string& text) {
    releaseBlock(mVersionInfo);
    mVersionString = text;

    bool parse = false;
    std::string parsed;
    switch (type) {
    case KLX_APP_CYGWIN_ROOT:
    case KLX_APP_CYGWIN_BIN_DIR:
    case KLX_APP_CYGWIN_DLL:
    case KLX_APP_BASH:
        if (!mVersionString.empty()) {
            KLXStrProcess::keepChars(mVersionString, KLX_KEEP_DIGITS | KLX_KEEP_DOT);
            parsed = mVersionString;
            parse = true;
        }
        break;
    case KLX_APP_GCC_HOME:
    case KLX_APP_GCC_BIN_DIR:
    case KLX_APP_ARM_ELF_GCC: {
        // Only the banner's first line carries the version.
        const std::size_t lineEnd = mVersionString.find('\n');
        if (lineEnd != std::string::npos)
            mVersionString.erase(lineEnd);
        KLXStrProcess::keepChars(mVersionString, KLX_KEEP_DIGITS | KLX_KEEP_DOT);
        parsed = mVersionString;
        parse = true;
        break;
    }
    case KLX_APP_SGT_DIR:
        KLXStrProcess::keepChars(mVersionString, KLX_KEEP_DIGITS | KLX_KEEP_DOT |
                                                     KLX_KEEP_HEX_LETTERS | KLX_KEEP_UNDERSCORE);
        parsed = mVersionString;
        parse = true;
        break;
    case KLX_APP_TCPIP_DIR:
    case KLX_APP_M2M_DIR: {
        KLXStrProcess::keepChars(mVersionString,
                                 KLX_KEEP_DIGITS | KLX_KEEP_DOT | KLX_KEEP_HEX_LETTERS);
        parsed = mVersionString;
        KLXStrProcess::keepChars(parsed, KLX_KEEP_DIGITS | KLX_KEEP_DOT);
        // A two-part plug-in version (2.10) ranks above all its third-level
        // releases (2.10.x, x < 99).
        std::string dot = ".";
        if (KLXStrProcess::countTemplate(parsed, dot) == 1)
            parsed += ".99";
        parse = true;
        break;
    }
    default:
        break;
    }

    if (parse) {
        parseIntegerVersion(parsed);
    } else {
        std::string file = KLXSystem::getApplicationPath(type);
        CommonConstructor(file);
    }
}

std::string& KLXVersion::getHighestVersionFromPath(std::string& dir) {
    static std::string result;
    result.clear();
    int best = 0;

    std::string subPath;
    KLXPathBrowser browser(dir, 0, &KLXVersion::checkForLibs, subPath, nullptr);
    for (const std::string& path : browser.getPathList()) {
        std::string name = path;
        KLXStrProcess::extractFileName(name, false);
        std::string digits = name;
        KLXStrProcess::keepChars(digits, KLX_KEEP_DIGITS);
        int score = KLXStrProcess::convert2Int(digits);
        // Short names (3.12 -> 312) are major versions of their own: they
        // rank above the longer third-level names of the same line.
        if (score < 1000)
            score = score * 100 + 99;
        if (score > best) {
            best = score;
            result = name;
            KLXStrProcess::keepChars(result, KLX_KEEP_DIGITS | KLX_KEEP_DOT | KLX_KEEP_HEX_LETTERS);
        }
    }
    return result;
}

bool KLXVersion::operator>(const KLXVersion& other) const {
    for (int i = 0; i < 4; ++i) {
        if (mVersion[i] != other.mVersion[i])
            return mVersion[i] > other.mVersion[i];
    }
    return false;
}

bool KLXVersion::operator==(const KLXVersion& other) const {
    for (int i = 0; i < 4; ++i) {
        if (mVersion[i] != other.mVersion[i])
            return false;
    }
    return true;
}

bool KLXVersion::operator>=(const KLXVersion& other) const {
    return *this > other || *this == other;
}

bool KLXVersion::checkForLibs(std::string& dir) {
    std::string pattern = dir + KLX_STR_BACKSLASH + "*.lib";
    std::string subPath;
    KLXPathBrowser browser(pattern, 1, nullptr, subPath, nullptr);
    return browser.exist();
}

bool KLXVersion::checkForScripts(std::string& dir) {
    std::string pattern = dir + KLX_STR_BACKSLASH + "*.sh";
    std::string subPath;
    KLXPathBrowser browser(pattern, 1, nullptr, subPath, nullptr);
    return browser.exist();
}
