// Fuzzes KLXCorvaleSettings::readBaseBand: the input is a component's
// "manifest.xml". readBaseBand reads the file in one streaming pass and hands
// libxml2 thinned start tags and document types; its answer must be that of
// the whole-document reading: KLXXmlFile's parse and the XPath queries
// "//Api", "//Firmware" and "//Plug-in" with KLXXmlNode, whose parse must in
// turn accept exactly what libxml2's own reading of the bytes accepts.
//
// That reading costs time quadratic in the attributes of an element, default
// attributes included, so it is the reference for inputs up to 16 KB; larger
// ones are only checked to answer "", the default family or a value that the
// input holds.
#include "FuzzSupport.h"

#include "KLXCorvaleSettings.h"
#include "KLXXmlFile.h"
#include "KLXXmlNode.h"

#include <libxml/parser.h>
#include <libxml/tree.h>

#include <climits>
#include <cstddef>
#include <cstdint>
#include <string>

namespace {

const std::size_t kReferenceLimit = 16 * 1024;

std::string& componentDir() {
    static std::string dir;
    return dir;
}

void ignoreXmlError(void*, const char*, ...) {}

// The "baseband" attribute of the first node that `xpath` selects; false when
// it selects nothing.
bool firstAttribute(KLXXmlFile& file, const char* xpath, std::string& value) {
    std::string expression = xpath;
    KLXXmlNode node(file.evalExpression(expression));
    if (node.getNodeCount() <= 0)
        return false;
    std::string name = "baseband";
    value = node.getNodePropertyValue(0, name);
    return true;
}

// The baseband as the whole-document reading gives it.
std::string referenceBaseBand(std::string manifest) {
    KLXXmlFile file(manifest);
    if (!file.isValid())
        return "";
    std::string value;
    if (firstAttribute(file, "//Api", value))
        return value.empty() ? "pavan" : value;
    if (firstAttribute(file, "//Firmware", value))
        return value;
    if (firstAttribute(file, "//Plug-in", value))
        return value.empty() ? "pavan" : value;
    return "";
}

bool isGzip(const std::string& bytes) {
    return bytes.size() >= 2 && static_cast<unsigned char>(bytes[0]) == 0x1f &&
           static_cast<unsigned char>(bytes[1]) == 0x8b;
}

} // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
    klxfuzz::setUpTempRoot();
    const std::filesystem::path dir = klxfuzz::tempRoot() / "component";
    std::filesystem::create_directories(dir);
    componentDir() = "U:" + dir.string();
    // Parse errors are expected by the thousand; the reference parse below
    // reports to libxml2's default handler, which the fuzzer quiets.
    xmlSetGenericErrorFunc(nullptr, ignoreXmlError);
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size > static_cast<std::size_t>(INT_MAX))
        return 0;
    const std::string bytes(reinterpret_cast<const char*>(data), size);
    klxfuzz::writeBytes(klxfuzz::tempRoot() / "component" / "manifest.xml", bytes);

    std::string path = componentDir();
    std::string& shared = KLXCorvaleSettings::readBaseBand(path);
    const std::string baseBand = shared;
    KLX_FUZZ_CHECK(path == componentDir());

    if (size <= kReferenceLimit) {
        KLX_FUZZ_CHECK(baseBand == referenceBaseBand(componentDir() + "\\manifest.xml"));
        if (!isGzip(bytes)) {
            // The file class reads what libxml2 reads of the same bytes.
            xmlDocPtr document =
                xmlReadMemory(bytes.data(), static_cast<int>(size), "manifest.xml", nullptr,
                              XML_PARSE_NONET | XML_PARSE_NOERROR | XML_PARSE_NOWARNING);
            std::string manifest = componentDir() + "\\manifest.xml";
            KLX_FUZZ_CHECK((document != nullptr) == KLXXmlFile(manifest).isValid());
            xmlFreeDoc(document);
        }
    } else if (!isGzip(bytes)) {
        KLX_FUZZ_CHECK(baseBand.empty() || baseBand == "pavan" ||
                       bytes.find(baseBand) != std::string::npos);
    }

    // Asking again answers the same, in the same shared string.
    KLX_FUZZ_CHECK(&KLXCorvaleSettings::readBaseBand(path) == &shared);
    KLX_FUZZ_CHECK(shared == baseBand);
    return 0;
}
