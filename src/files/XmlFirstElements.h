// One pass over an XML file for the first elements of some names.
#ifndef KLX_FILES_XML_FIRST_ELEMENTS_H
#define KLX_FILES_XML_FIRST_ELEMENTS_H

#include <string>
#include <vector>

namespace klx {
namespace xml {

struct FirstElement {
    bool found = false;    // the document holds an element of the name
    std::string attribute; // the attribute's value on the first of them
};

// Reads the XML file at `path` as KLXXmlFile reads it and, for each of
// `names`, tells whether the document holds an element of that name without
// a namespace (what the XPath query "//name" selects) and the value that
// KLXXmlNode::getNodePropertyValue gives for `attribute` on the first one in
// document order. The whole file is checked, as parsing it would: false, and
// nothing found, when it is missing, unreadable or not well-formed. Reads
// the file once and keeps no more of it than one element at a time, so that
// memory stays flat and the time is that of one pass, whatever the file.
bool readFirstElements(const std::string& path, const std::vector<std::string>& names,
                       const std::string& attribute, std::vector<FirstElement>& found);

} // namespace xml
} // namespace klx

#endif // KLX_FILES_XML_FIRST_ELEMENTS_H
