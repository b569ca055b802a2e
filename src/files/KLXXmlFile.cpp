// KlxCore: an XML file parsed in memory, answering XPath queries.
#include "KLXXmlFile.h"

#include <libxml/parser.h>
#include <libxml/tree.h>
#include <libxml/xpath.h>

#include <climits>

namespace {

// No network access; external entities and DTDs are neither loaded nor
// substituted, and the parser's default limits on depth, text and entity
// expansion stay in force (no XML_PARSE_HUGE), so that a hostile file fails to
// parse instead of exhausting memory or time. The library reports failures by
// its return values only, so libxml2 prints no errors or warnings.
const int kParseOptions = XML_PARSE_NONET | XML_PARSE_NOERROR | XML_PARSE_NOWARNING;

// Takes the XPath errors that libxml2 would otherwise print.
void ignoreXPathError(void*, xmlErrorPtr) {}

} // namespace

KLXXmlFile::KLXXmlFile(std::string& path)
    : KLXFile(path, 2), mDocument(nullptr), mXPathContext(nullptr) {
    if (mHandle == INVALID_HANDLE_VALUE)
        return;
    // The bytes come through the open handle rather than from the parser's own
    // file access: the handle already went through the library's path
    // handling (Windows paths on any host), and the parsed bytes are those of
    // the file that this object holds open.
    unsigned long size = 0;
    char* bytes = read(-1, &size);
    if (bytes == nullptr)
        return;
    if (size <= static_cast<unsigned long>(INT_MAX))
        mDocument =
            xmlReadMemory(bytes, static_cast<int>(size), path.c_str(), nullptr, kParseOptions);
    delete[] bytes;
    if (mDocument != nullptr)
        mXPathContext = xmlXPathNewContext(mDocument);
    if (mXPathContext != nullptr)
        mXPathContext->error = ignoreXPathError;
}

KLXXmlFile::~KLXXmlFile() {
    // The context refers to the document, so it goes first.
    if (mXPathContext != nullptr)
        xmlXPathFreeContext(mXPathContext);
    if (mDocument != nullptr)
        xmlFreeDoc(mDocument);
}

bool KLXXmlFile::isValid() {
    return mXPathContext != nullptr;
}

void* KLXXmlFile::evalExpression(std::string& xpath) {
    if (!isValid())
        return nullptr;
    return xmlXPathEvalExpression(reinterpret_cast<const xmlChar*>(xpath.c_str()), mXPathContext);
}
