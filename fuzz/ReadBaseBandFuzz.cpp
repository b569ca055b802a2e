// Fuzzes KLXCorvaleSettings::readBaseBand: the input is a component's
// "manifest.xml". Whatever the bytes, the baseband is "", the default family
// "pavan", or the value of a "baseband" attribute of the document as libxml2
// reads it. For documents without a DTD and entity references, a walk of the
// parsed tree gives the exact answer: the attribute of the first Api element,
// else of the first Firmware, else of the first Plug-in (names without a
// namespace, in document order).
#include "FuzzSupport.h"

#include "KLXCorvaleSettings.h"

#include <libxml/parser.h>
#include <libxml/tree.h>

#include <climits>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <set>
#include <string>

namespace {

// The component directory, as the library is given it: drive U: maps to the
// host's root.
std::string& componentDir() {
    static std::string dir;
    return dir;
}

void ignoreXmlError(void*, const char*, ...) {}

struct Model {
    // Every value of an attribute "baseband", on any element.
    std::set<std::string> values;
    // The first element without namespace named Api, Firmware and Plug-in.
    xmlNodePtr first[3] = {nullptr, nullptr, nullptr};
    // Entity references or a DTD: the tree walk may then differ from XPath.
    bool approximate = false;
};

const char* const kNames[3] = {"Api", "Firmware", "Plug-in"};

// What the library reads of an attribute: its first plain text child.
std::string attributeText(xmlAttrPtr attribute) {
    for (xmlNodePtr node = attribute->children; node != nullptr; node = node->next) {
        if (node->type == XML_TEXT_NODE)
            return node->content != nullptr ? reinterpret_cast<const char*>(node->content) : "";
    }
    return "";
}

void walk(xmlNodePtr node, Model& model) {
    for (; node != nullptr; node = node->next) {
        if (node->type == XML_ENTITY_REF_NODE || node->type == XML_DTD_NODE) {
            model.approximate = true;
            continue;
        }
        if (node->type != XML_ELEMENT_NODE)
            continue;
        const char* name = reinterpret_cast<const char*>(node->name);
        for (int i = 0; i < 3; ++i) {
            if (model.first[i] == nullptr && node->ns == nullptr && name != nullptr &&
                std::strcmp(name, kNames[i]) == 0)
                model.first[i] = node;
        }
        for (xmlAttrPtr attribute = node->properties; attribute != nullptr;
             attribute = attribute->next) {
            for (xmlNodePtr part = attribute->children; part != nullptr; part = part->next) {
                if (part->type == XML_ENTITY_REF_NODE)
                    model.approximate = true;
            }
            if (attribute->name != nullptr &&
                std::strcmp(reinterpret_cast<const char*>(attribute->name), "baseband") == 0)
                model.values.insert(attributeText(attribute));
        }
        walk(node->children, model);
    }
}

std::string firstAttribute(xmlNodePtr element) {
    for (xmlAttrPtr attribute = element->properties; attribute != nullptr;
         attribute = attribute->next) {
        if (attribute->name != nullptr &&
            std::strcmp(reinterpret_cast<const char*>(attribute->name), "baseband") == 0)
            return attributeText(attribute);
    }
    return "";
}

// The exact answer of a document walked without approximation.
std::string expectedBaseBand(const Model& model) {
    if (model.first[0] != nullptr) {
        std::string value = firstAttribute(model.first[0]);
        return value.empty() ? "pavan" : value;
    }
    if (model.first[1] != nullptr)
        return firstAttribute(model.first[1]);
    if (model.first[2] != nullptr) {
        std::string value = firstAttribute(model.first[2]);
        return value.empty() ? "pavan" : value;
    }
    return "";
}

} // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
    klxfuzz::setUpTempRoot();
    const std::filesystem::path dir = klxfuzz::tempRoot() / "component";
    std::filesystem::create_directories(dir);
    componentDir() = "U:" + dir.string();
    // Parse errors are expected by the thousand; the library leaves libxml2's
    // reporting alone, so the fuzzer quiets it for both.
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

    // The same parser, on the same bytes, with the library's options.
    xmlDocPtr document = xmlReadMemory(bytes.data(), static_cast<int>(size), "manifest.xml",
                                       nullptr, XML_PARSE_NONET);
    if (document == nullptr) {
        KLX_FUZZ_CHECK(baseBand.empty());
    } else {
        Model model;
        walk(document->children, model);
        model.approximate = model.approximate || document->intSubset != nullptr;
        KLX_FUZZ_CHECK(baseBand.empty() || baseBand == "pavan" ||
                       model.values.count(baseBand) != 0);
        if (!model.approximate)
            KLX_FUZZ_CHECK(baseBand == expectedBaseBand(model));
        xmlFreeDoc(document);
    }

    // Asking again answers the same, in the same shared string.
    KLX_FUZZ_CHECK(&KLXCorvaleSettings::readBaseBand(path) == &shared);
    KLX_FUZZ_CHECK(shared == baseBand);
    return 0;
}
