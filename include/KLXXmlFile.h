// KlxCore: an XML file parsed in memory, answering XPath queries.
#ifndef KLX_XML_FILE_H
#define KLX_XML_FILE_H

#include "KLXFile.h"

#include <string>

// The parser's own types stay opaque here, so that users of the library need
// no XML headers of their own.
struct _xmlDoc;
struct _xmlXPathContext;

class KLX_API KLXXmlFile : public KLXFile {
public:
    // Opens an existing file read-only (KLXFile mode 2) and, when that
    // succeeded, parses it. A file that is missing or does not parse gives an
    // object whose isValid() is false.
    KLXXmlFile(std::string& path);
    // Frees the query context, then the document, then closes the file.
    ~KLXXmlFile();

    // The object owns its parsed document and query context.
    KLXXmlFile(const KLXXmlFile&) = delete;
    KLXXmlFile& operator=(const KLXXmlFile&) = delete;

    // True when the file parsed and can be queried.
    bool isValid();
    // Evaluates the XPath expression on the document. Returns a new query
    // result for a KLXXmlNode, which owns and frees it, or null when the file
    // is not valid or the expression is rejected. The node object must be
    // destroyed before this file object.
    void* evalExpression(std::string& xpath);

protected:
    _xmlDoc* mDocument;
    _xmlXPathContext* mXPathContext;
};

#endif // KLX_XML_FILE_H
