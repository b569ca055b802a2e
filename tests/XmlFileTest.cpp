// KLXXmlFile and KLXXmlNode: parsing, XPath queries, names, text and
// attributes of the selected nodes, the shared results, and hostile or broken
// input.
#include "KLXXmlFile.h"
#include "KLXXmlNode.h"

#include "TestFiles.h"

#include <gtest/gtest.h>
#include <libxml/parser.h>

#include <string>
#include <tuple>

namespace {

// A new file holding `content`, in a directory of its own.
std::string fileWith(const std::string& content) {
    static int count = 0;
    std::filesystem::path file = klxtest::freshDir("xml" + std::to_string(++count)) / "file.xml";
    klxtest::writeBytes(file, content);
    return file.string();
}

// One query on one file: the file outlives the node.
struct Query {
    Query(const std::string& content, std::string xpath)
        : mPath(fileWith(content)), mFile(mPath), mNode(mFile.evalExpression(xpath)) {}
    std::string mPath;
    KLXXmlFile mFile;
    KLXXmlNode mNode;
    // Name, content and the attribute `name` of the node at `index`.
    std::string read(int index, std::string name = "baseband") {
        std::string text = mNode.getNodeName(index) + "|" + mNode.getNodeContent(index);
        return text + "|" + mNode.getNodePropertyValue(index, name);
    }
};

} // namespace

TEST(XmlFile, NamesAttributesAndContent) {
    Query api("<Api baseband=\"x1\"/>", "//Api");
    EXPECT_EQ(api.mNode.getNodeCount(), 1);
    EXPECT_EQ(api.read(0), "Api||x1");
    EXPECT_EQ(api.read(0, "Baseband"), "Api||");
    // Several nodes in document order; attributes found by name.
    Query many("<r><Api a=\"1\" baseband=\"b0\"/><x><Api baseband=\"b1\">t</Api></x></r>", "//Api");
    EXPECT_EQ(many.mNode.getNodeCount(), 2);
    EXPECT_EQ(many.read(0) + " " + many.read(1), "Api||b0 Api|t|b1");
    // Content is the first plain text child: not CDATA, comments or a child's
    // text. An attribute node has its value as content and no attributes;
    // a namespace node is named by its prefix.
    const std::string ns = "<r xmlns:s=\"urn:s\"><s:a s:baseband=\"p\" baseband=\"q\">t</s:a></r>";
    const std::tuple<std::string, const char*, const char*> rows[] = {
        {"<a>t1<b/>t2</a>", "//a", "a|t1|"},
        {"<a><b/>t2</a>", "//a", "a|t2|"},
        {"<a><b/></a>", "//a", "a||"},
        {"<a><![CDATA[c]]><!--n-->t</a>", "//a", "a|t|"},
        {"<a><b>inner</b></a>", "//a", "a||"},
        {"<a>1 &lt; 2</a>", "//a", "a|1 < 2|"},
        {"<a baseband=\"x\"/>", "//a/@baseband", "baseband|x|"},
        {ns, "//*[local-name()='a']", "a|t|p"},
        {ns, "/r/namespace::s", "s||"},
    };
    for (const auto& [xml, xpath, expected] : rows)
        EXPECT_EQ(Query(xml, xpath).read(0), expected) << xml;
}

TEST(XmlFile, MissingNodesBadIndexesAndOtherResults) {
    Query one("<r><Api baseband=\"x1\">t</Api></r>", "//Api");
    for (int index : {1, -1}) {
        // A valid call first, so that the empty result is not left over.
        EXPECT_EQ(one.read(0), "Api|t|x1");
        EXPECT_EQ(one.read(index), "||") << index;
    }
    // A missing node, or a result that is not a node set, counts no node.
    for (const char* xpath : {"//Firmware", "count(//Api)", "string(//Api)"}) {
        Query other("<r><Api>t</Api></r>", xpath);
        EXPECT_EQ(other.mNode.getNodeCount(), 0) << xpath;
        EXPECT_EQ(other.read(0), "||") << xpath;
    }
    for (std::string bad : {"//", "//Api["})
        EXPECT_EQ(one.mFile.evalExpression(bad), nullptr) << bad;
    // Two node objects share one result string per operation.
    Query two("<Firmware/>", "//Firmware");
    std::string& name = one.mNode.getNodeName(0);
    EXPECT_EQ(&two.mNode.getNodeName(0), &name);
    EXPECT_EQ(name, "Firmware");
}

TEST(XmlFile, FilesThatAreMissingOrDoNotParse) {
    std::string missing = (klxtest::freshDir("missing") / "file.xml").string(), api = "//Api";
    for (std::string path : {missing, fileWith(""), fileWith("not xml"), fileWith("<a></b>"),
                             fileWith("<a/><b/>"), fileWith("<a>\xff\xfe</a>")}) {
        KLXXmlFile file(path);
        EXPECT_FALSE(file.isValid()) << path;
        void* result = file.evalExpression(api);
        EXPECT_EQ(result, nullptr) << path;
        EXPECT_EQ(KLXXmlNode(result).getNodeCount(), 0);
    }
}

TEST(XmlFile, NothingOutsideTheFileIsLoaded) {
    const std::string secret = fileWith("<b>secret</b>");
    Query entity("<!DOCTYPE a [<!ENTITY x SYSTEM \"" + secret + "\">]><a>&x;</a>", "//a");
    EXPECT_EQ(entity.read(0), "a||");
}

TEST(XmlFile, GzipFilesAreReadAsLibxml2ReadsThem) {
    if (!xmlHasFeature(XML_WITH_ZLIB))
        GTEST_SKIP() << "this libxml2 is built without zlib: it reads gzip files as they are";
    // <Manifest><Api baseband="gz"/></Manifest>, compressed by gzip.
    std::string gzip("\x1f\x8b\x08\x00\x00\x00\x00\x00\x02\x03\xb3\xf1\x4d\xcc\xcb\x4c"
                     "\x4b\x2d\x2e\xb1\xb3\x71\x2c\xc8\x54\x48\x4a\x2c\x4e\x4d\x4a\xcc"
                     "\x4b\xb1\x55\x4a\xaf\x52\xd2\xb7\xb3\xd1\x87\x4b\x03\x00\xa4\x4c"
                     "\x3f\x51\x29\x00\x00\x00",
                     54);
    EXPECT_EQ(Query(gzip, "//Api").read(0), "Api||gz");
    // With a damaged check the data is not the file's.
    gzip[47] = static_cast<char>(gzip[47] ^ 1);
    EXPECT_FALSE(Query(gzip, "//Api").mFile.isValid());
}
