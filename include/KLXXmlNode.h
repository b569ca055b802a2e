// KlxCore: the nodes selected by one XPath query of a KLXXmlFile.
#ifndef KLX_XML_NODE_H
#define KLX_XML_NODE_H

#include "KLXConstants.h"

#include <string>

// The string results are shared by every call of the same operation on every
// node object, and overwritten by the next one: copy a result to keep it. An
// index outside 0 to getNodeCount() - 1 gives "".
class KLX_API KLXXmlNode {
public:
    // Takes ownership of a result of KLXXmlFile::evalExpression (null allowed).
    KLXXmlNode(void* xpathObject);
    // Frees the result.
    ~KLXXmlNode();

    // The object owns its query result.
    KLXXmlNode(const KLXXmlNode&) = delete;
    KLXXmlNode& operator=(const KLXXmlNode&) = delete;

    // Number of selected nodes; 0 for a missing result or one that is not a
    // node set (a number, string or boolean).
    int getNodeCount();
    // The node's name, without namespace prefix.
    std::string& getNodeName(int index);
    // The content of the node's first text child ("" when it has none); for an
    // attribute node, its value.
    std::string& getNodeContent(int index);
    // The value of the node's first attribute named exactly `name`, or "".
    std::string& getNodePropertyValue(int index, std::string& name);

protected:
    // The content of the first plain text node in the sibling list that
    // begins at `first` (a node of the parsed document), or "".
    std::string& getTextTypeChildrenValue(void* first);

    void* mXPathObject;
};

#endif // KLX_XML_NODE_H
