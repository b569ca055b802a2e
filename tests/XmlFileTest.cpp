// KLXXmlFile and KLXXmlNode: parsing, XPath queries, names, text and
// attributes of the selected nodes, the shared results, and broken input.
#include "KLXXmlFile.h"
#include "KLXXmlNode.h"

#include "TestFiles.h"

#include <gtest/gtest.h>

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
    // Content is the first plain text child: not CDATA, comments or a child's
    // text. An attribute node has its value as content and no attributes;
    // a namespace node is named by its prefix.
    const std::string ns = "<r xmlns:s=\"urn:s\"><s:a s:baseband=\"p\" baseband=\"q\">t</s:a></r>";
    // A file outside is not loaded.
    const std::string secret = "<!DOCTYPE a [<!ENTITY x SYSTEM \"" + fileWith("<b>s</b>") + "\">]>";
    const std::tuple<std::string, const char*, const char*> rows[] = {
        {"<Api baseband=\"x1\"/>", "//Api", "Api||x1"},
        {"<a Baseband=\"x\" base=\"y\"/>", "//a", "a||"},
        {"<r><a n=\"1\" baseband=\"b0\"/><x><a baseband=\"b1\">t</a></x></r>", "//a", "a||b0"},
        {"<a>t1<b/>t2</a>", "//a", "a|t1|"},
        {"<a><b/>t2</a>", "//a", "a|t2|"},
        {"<a><b>inner</b></a>", "//a", "a||"},
        {"<a><![CDATA[c]]><!--n-->t</a>", "//a", "a|t|"},
        {"<a baseband=\"x\"/>", "//a/@baseband", "baseband|x|"},
        {ns, "//*[local-name()='a']", "a|t|p"},
        {ns, "/r/namespace::s", "s||"},
        {secret + "<a>&x;</a>", "//a", "a||"},
        // Files that do not parse select nothing.
        {"not xml", "//a", "||"},
        {"<a>\xff\xfe</a>", "//a", "||"},
    };
    for (const auto& [xml, xpath, expected] : rows)
        EXPECT_EQ(Query(xml, xpath).read(0), expected) << xml;
}

TEST(XmlFile, MissingNodesBadIndexesAndOtherResults) {
    Query two("<r><Api baseband=\"x1\">t</Api><Api/></r>", "//Api");
    EXPECT_EQ(two.mNode.getNodeCount(), 2);
    for (int index : {2, -1}) {
        // A valid call first, so that the empty result is not left over.
        EXPECT_EQ(two.read(0) + " " + two.read(1), "Api|t|x1 Api||");
        EXPECT_EQ(two.read(index), "||") << index;
    }
    // A missing node, or a result that is not a node set, counts no node.
    for (const char* xpath : {"//Firmware", "count(//Api)", "string(//Api)"}) {
        Query other("<r><Api>t</Api></r>", xpath);
        EXPECT_EQ(other.mNode.getNodeCount(), 0) << xpath;
        EXPECT_EQ(other.read(0), "||") << xpath;
    }
    for (std::string bad : {"//", "//Api["})
        EXPECT_EQ(two.mFile.evalExpression(bad), nullptr) << bad;
    // A missing file is not valid and selects nothing.
    std::string missing = (klxtest::freshDir("missing") / "file.xml").string(), api = "//Api";
    KLXXmlFile file(missing);
    EXPECT_FALSE(file.isValid());
    EXPECT_EQ(KLXXmlNode(file.evalExpression(api)).getNodeCount(), 0);
    // Two node objects share one result string per operation.
    Query other("<Firmware/>", "//Firmware");
    std::string& name = two.mNode.getNodeName(0);
    EXPECT_EQ(&other.mNode.getNodeName(0), &name);
    EXPECT_EQ(name, "Firmware");
}
