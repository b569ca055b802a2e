// KlxCore: the version of one installed component, read from a module's
// version resource, from a tool of the application path table, or from a
// version text; comparable with >, == and >=.
#ifndef KLX_VERSION_H
#define KLX_VERSION_H

#include "KLXConstants.h"

#include <string>

class KLX_API KLXVersion {
public:
    // The version resource of the module `file`; the library's own module
    // ("KlxCore.dll") when `file` is empty.
    KLXVersion(std::string& file = KLXVersion::mNoFile);
    // The version of the tool or directory `type` of the application path
    // table, found as that tool tells it.
    explicit KLXVersion(KLXAppType_e type);
    // The version of `type` taken from `text` (a banner, a directory name or
    // a version number), or from the type's file when `text` gives none.
    KLXVersion(KLXAppType_e type, std::string& text);
    // Copies duplicate the version-information block, so that each object
    // releases its own.
    KLXVersion(const KLXVersion& other);
    KLXVersion& operator=(const KLXVersion& other);
    ~KLXVersion();

    // Assigns the version text to `out`.
    void getProductVersionString(std::string& out);
    // The product name of the module's version resource; "" when there is
    // none.
    std::string getProductNameString();

    bool operator>(const KLXVersion& other) const;
    bool operator==(const KLXVersion& other) const;
    bool operator>=(const KLXVersion& other) const;

    // True when `dir` holds at least one entry matching "*.lib".
    static bool checkForLibs(std::string& dir);
    // True when `dir` holds at least one entry matching "*.sh".
    static bool checkForScripts(std::string& dir);

protected:
    void CommonConstructor(std::string& file);
    void parseIntegerVersion(std::string& text);
    void computeSpecificVersions(KLXAppType_e type, std::string& text);
    // The name, filtered to digits, dots and hexadecimal letters, of the
    // subdirectory of `dir` that holds libraries and has the highest version;
    // a shared result string, overwritten at every call.
    std::string& getHighestVersionFromPath(std::string& dir);

    // The version-information block read from a module file; null when none
    // was read.
    unsigned char* mVersionInfo;
    std::string mProductName;
    // First language and code page of the block, as eight hex digits.
    std::string mTranslation;
    std::string mVersionString;
    // The version components, most significant first.
    short mVersion[4];

private:
    // Default argument of the module constructor; always empty.
    static std::string mNoFile;
};

#endif // KLX_VERSION_H
