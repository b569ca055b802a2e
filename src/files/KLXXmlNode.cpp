// KlxCore: the nodes selected by one XPath query of a KLXXmlFile.
#include "KLXXmlNode.h"

#include <libxml/tree.h>
#include <libxml/xpath.h>

namespace {

// The i-th node of a node-set result, or null.
xmlNodePtr nodeAt(void* result, int index) {
    xmlXPathObjectPtr object = static_cast<xmlXPathObjectPtr>(result);
    if (object == nullptr || object->type != XPATH_NODESET || object->nodesetval == nullptr)
        return nullptr;
    xmlNodeSetPtr set = object->nodesetval;
    if (index < 0 || index >= set->nodeNr || set->nodeTab == nullptr)
        return nullptr;
    return set->nodeTab[index];
}

void assignText(std::string& target, const xmlChar* text) {
    if (text == nullptr)
        target.clear();
    else
        target.assign(reinterpret_cast<const char*>(text));
}

} // namespace

KLXXmlNode::KLXXmlNode(void* xpathObject) : mXPathObject(xpathObject) {}

KLXXmlNode::~KLXXmlNode() {
    if (mXPathObject != nullptr)
        xmlXPathFreeObject(static_cast<xmlXPathObjectPtr>(mXPathObject));
}

int KLXXmlNode::getNodeCount() {
    xmlXPathObjectPtr object = static_cast<xmlXPathObjectPtr>(mXPathObject);
    if (object == nullptr || object->type != XPATH_NODESET || object->nodesetval == nullptr)
        return 0;
    return object->nodesetval->nodeNr;
}

std::string& KLXXmlNode::getNodeName(int index) {
    static std::string name;
    xmlNodePtr node = nodeAt(mXPathObject, index);
    if (node == nullptr) {
        name.clear();
    } else if (node->type == XML_NAMESPACE_DECL) {
        // A namespace node of the result is an xmlNs, laid out differently
        // from the other nodes; its name is its prefix.
        assignText(name, reinterpret_cast<xmlNsPtr>(node)->prefix);
    } else {
        assignText(name, node->name);
    }
    return name;
}

std::string& KLXXmlNode::getNodeContent(int index) {
    static std::string content;
    xmlNodePtr node = nodeAt(mXPathObject, index);
    // Namespace nodes have no children (their layout has no such field).
    if (node == nullptr || node->type == XML_NAMESPACE_DECL || node->children == nullptr)
        content.clear();
    else
        content = getTextTypeChildrenValue(node->children);
    return content;
}

std::string& KLXXmlNode::getNodePropertyValue(int index, std::string& name) {
    static std::string value;
    // Copied first: the caller may pass an earlier result as the name.
    const std::string wanted = name;
    xmlNodePtr node = nodeAt(mXPathObject, index);
    value.clear();
    // Only elements carry an attribute list.
    if (node == nullptr || node->type != XML_ELEMENT_NODE)
        return value;
    for (xmlAttrPtr attribute = node->properties; attribute != nullptr;
         attribute = attribute->next) {
        if (attribute->name != nullptr &&
            wanted == reinterpret_cast<const char*>(attribute->name)) {
            value = getTextTypeChildrenValue(attribute->children);
            break;
        }
    }
    return value;
}

std::string& KLXXmlNode::getTextTypeChildrenValue(void* first) {
    static std::string text;
    text.clear();
    for (xmlNodePtr node = static_cast<xmlNodePtr>(first); node != nullptr; node = node->next) {
        // Plain text only: CDATA sections, comments and elements are skipped.
        if (node->type == XML_TEXT_NODE) {
            assignText(text, node->content);
            break;
        }
    }
    return text;
}
