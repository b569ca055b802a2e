// KlxCore: an XML file parsed in memory, answering XPath queries.
#include "KLXXmlFile.h"

#include "XmlFileBytes.h"

#include <libxml/parser.h>
#include <libxml/tree.h>
#include <libxml/xpath.h>

namespace {

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
    // the file that this object holds open. They reach the parser as its own
    // file input would give them, decompressed when they are gzip data.
    klx::xml::FileBytes bytes(*this);
    mDocument = xmlReadIO(klx::xml::FileBytes::readCallback, klx::xml::FileBytes::closeCallback,
                          &bytes, path.c_str(), nullptr, klx::xml::parseOptions());
    if (mDocument != nullptr && bytes.failed()) {
        xmlFreeDoc(mDocument);
        mDocument = nullptr;
    }
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
