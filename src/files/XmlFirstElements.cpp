// KlxCore: the first elements of some names in an XML file, in one pass.
#include "XmlFirstElements.h"

#include "KLXFile.h"
#include "XmlFileBytes.h"
#include "XmlThinner.h"

#include <libxml/SAX2.h>
#include <libxml/parser.h>
#include <libxml/parserInternals.h>
#include <libxml/tree.h>

#include <cstring>

namespace klx {
namespace xml {

namespace {

// What KLXXmlNode reads of an attribute: the first plain text node among the
// attribute's children (an entity reference or character data is skipped).
std::string attributeText(xmlNodePtr element, const std::string& name) {
    for (xmlAttrPtr attribute = element->properties; attribute != nullptr;
         attribute = attribute->next) {
        if (attribute->name == nullptr || name != reinterpret_cast<const char*>(attribute->name))
            continue;
        for (xmlNodePtr node = attribute->children; node != nullptr; node = node->next) {
            if (node->type == XML_TEXT_NODE)
                return node->content != nullptr ? reinterpret_cast<const char*>(node->content) : "";
        }
        return "";
    }
    return "";
}

struct Scan {
    xmlParserCtxtPtr document; // the context of the document itself
    const std::vector<std::string>* names;
    const std::string* attribute;
    std::vector<FirstElement>* found;
    std::size_t missing;
};

Scan* scanOf(void* context) {
    return static_cast<Scan*>(static_cast<xmlParserCtxtPtr>(context)->_private);
}

// Whether the callback comes from the document itself. The replacement texts
// of entities are parsed through contexts of their own, and their nodes are
// built as the parsed document builds them, since the parser consults them
// (an entity whose nodes exist is not parsed again at its next reference).
// Those nodes stay with the entity, apart from the document's own.
bool inDocument(void* context) {
    Scan* scan = scanOf(context);
    return scan != nullptr && scan->document == context;
}

// An element of the document. One that is looked for and found for the first
// time is built as the parsed document would hold it, read and dropped; of
// the others only what building them would leave behind is made: the nodes
// of the entities that their attribute values refer to.
void startElement(void* context, const xmlChar* localName, const xmlChar* prefix,
                  const xmlChar* uri, int namespaceCount, const xmlChar** namespaces,
                  int attributeCount, int defaultedCount, const xmlChar** attributes) {
    if (!inDocument(context)) {
        xmlSAX2StartElementNs(context, localName, prefix, uri, namespaceCount, namespaces,
                              attributeCount, defaultedCount, attributes);
        return;
    }
    xmlParserCtxtPtr parser = static_cast<xmlParserCtxtPtr>(context);
    Scan* scan = scanOf(context);
    std::size_t index = scan->names->size();
    if (scan->missing != 0 && prefix == nullptr && uri == nullptr && localName != nullptr) {
        const char* name = reinterpret_cast<const char*>(localName);
        index = 0;
        while (index < scan->names->size() &&
               ((*scan->found)[index].found || (*scan->names)[index] != name))
            ++index;
    }
    if (index == scan->names->size()) {
        // A value with references was copied by the parser and ends with a
        // NUL; the tree's attribute would hold its nodes.
        for (int i = 0; i < attributeCount - defaultedCount; ++i) {
            const xmlChar* value = attributes[5 * i + 3];
            const xmlChar* end = attributes[5 * i + 4];
            if (value != nullptr && end != nullptr && *end == 0)
                xmlFreeNodeList(
                    xmlStringLenGetNodeList(parser->myDoc, value, static_cast<int>(end - value)));
        }
        return;
    }

    xmlSAX2StartElementNs(context, localName, prefix, uri, namespaceCount, namespaces,
                          attributeCount, defaultedCount, attributes);
    xmlNodePtr element = parser->node;
    if (element == nullptr || element->name == nullptr ||
        std::strcmp(reinterpret_cast<const char*>(element->name),
                    reinterpret_cast<const char*>(localName)) != 0)
        return; // out of memory: the parse has failed
    (*scan->found)[index].found = true;
    (*scan->found)[index].attribute = attributeText(element, *scan->attribute);
    --scan->missing;
    nodePop(parser);
    xmlUnlinkNode(element);
    xmlFreeNode(element);
}

// The rest of the document's content is only parsed, not kept.
void endElement(void* context, const xmlChar* localName, const xmlChar* prefix,
                const xmlChar* uri) {
    if (!inDocument(context))
        xmlSAX2EndElementNs(context, localName, prefix, uri);
}
void characters(void* context, const xmlChar* text, int length) {
    if (!inDocument(context))
        xmlSAX2Characters(context, text, length);
}
void cdataBlock(void* context, const xmlChar* text, int length) {
    if (!inDocument(context))
        xmlSAX2CDataBlock(context, text, length);
}
void reference(void* context, const xmlChar* name) {
    if (!inDocument(context))
        xmlSAX2Reference(context, name);
}
void comment(void* context, const xmlChar* text) {
    if (!inDocument(context))
        xmlSAX2Comment(context, text);
}
void instruction(void* context, const xmlChar* target, const xmlChar* data) {
    if (!inDocument(context))
        xmlSAX2ProcessingInstruction(context, target, data);
}

} // namespace

bool readFirstElements(const std::string& path, const std::vector<std::string>& names,
                       const std::string& attribute, std::vector<FirstElement>& found) {
    found.assign(names.size(), FirstElement());
    std::string name = path;
    KLXFile file(name, 2);
    FileBytes bytes(file);
    XmlThinner thinned(bytes, attribute);
    bool wellFormed = false;

    // libxml2's tree building for the prolog and the document type, which the
    // parser consults (entities, default attributes, attribute types); the
    // content goes through the handlers above. The parse is the one that
    // KLXXmlFile makes, on the same input and with the same options.
    xmlSAXHandler handler;
    xmlSAXVersion(&handler, 2);
    handler.startElementNs = startElement;
    handler.endElementNs = endElement;
    handler.characters = characters;
    handler.ignorableWhitespace = characters;
    handler.cdataBlock = cdataBlock;
    handler.reference = reference;
    handler.comment = comment;
    handler.processingInstruction = instruction;

    xmlParserCtxtPtr parser = xmlNewParserCtxt();
    if (parser == nullptr)
        return false;
    *parser->sax = handler;
    Scan scan{parser, &names, &attribute, &found, names.size()};
    parser->_private = &scan;
    xmlParserInputBufferPtr input = xmlParserInputBufferCreateIO(
        XmlThinner::readCallback, XmlThinner::closeCallback, &thinned, XML_CHAR_ENCODING_NONE);
    xmlParserInputPtr stream =
        input != nullptr ? xmlNewIOInputStream(parser, input, XML_CHAR_ENCODING_NONE) : nullptr;
    if (stream == nullptr) {
        if (input != nullptr)
            xmlFreeParserInputBuffer(input);
    } else if (inputPush(parser, stream) >= 0) {
        xmlCtxtUseOptions(parser, parseOptions());
        if (parser->input->filename == nullptr)
            parser->input->filename =
                reinterpret_cast<char*>(xmlStrdup(reinterpret_cast<const xmlChar*>(path.c_str())));
        xmlParseDocument(parser);
        wellFormed = parser->wellFormed != 0 && !bytes.failed();
    }
    if (parser->myDoc != nullptr) {
        xmlFreeDoc(parser->myDoc);
        parser->myDoc = nullptr;
    }
    xmlFreeParserCtxt(parser);
    if (!wellFormed)
        found.assign(names.size(), FirstElement());
    return wellFormed;
}

} // namespace xml
} // namespace klx
