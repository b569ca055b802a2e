// KLXXmlFile and KLXXmlNode: parsing, XPath queries, names, text and
// attributes of the selected nodes, the shared results, and hostile or broken
// input.
#include "KLXCorvaleSettings.h"
#include "KLXXmlFile.h"
#include "KLXXmlNode.h"

#include "Environment.h"
#include "TestFiles.h"

#include <gtest/gtest.h>
#include <libxml/parser.h>

#include <climits>
#include <filesystem>
#include <string>

namespace fs = std::filesystem;

namespace {

struct XmlProbe : KLXXmlFile {
    using KLXXmlFile::KLXXmlFile;
    using KLXXmlFile::mDocument;
    using KLXXmlFile::mHandle;
};

// A new file holding `content`, in a directory of its own.
std::string fileWith(const std::string& content) {
    static int count = 0;
    fs::path dir = klxtest::freshDir("xml" + std::to_string(++count));
    klxtest::writeBytes(dir / "file.xml", content);
    return (dir / "file.xml").string();
}

// One query on one file: the file outlives the node.
struct Query {
    Query(const std::string& content, std::string xpath)
        : mPath(fileWith(content)), mFile(mPath), mNode(mFile.evalExpression(xpath)) {}
    std::string mPath;
    KLXXmlFile mFile;
    KLXXmlNode mNode;
    std::string attr(int index, std::string name) {
        return mNode.getNodePropertyValue(index, name);
    }
};

std::string content(const std::string& xml, std::string xpath = "//a") {
    return Query(xml, xpath).mNode.getNodeContent(0);
}

} // namespace

TEST(XmlFile, NamesAttributesAndContent) {
    Query q("<Api baseband=\"x1\"/>", "//Api");
    ASSERT_TRUE(q.mFile.isValid());
    EXPECT_EQ(q.mNode.getNodeCount(), 1);
    EXPECT_EQ(q.mNode.getNodeName(0), "Api");
    EXPECT_EQ(q.attr(0, "baseband"), "x1");
    EXPECT_EQ(q.attr(0, "Baseband"), "");
    EXPECT_EQ(q.mNode.getNodeContent(0), "");

    // Several nodes in document order; attributes found by name.
    Query many("<r><Api a=\"1\" baseband=\"b0\"/><x><Api baseband=\"b1\">t</Api></x></r>", "//Api");
    ASSERT_EQ(many.mNode.getNodeCount(), 2);
    EXPECT_EQ(many.attr(1, "baseband"), "b1");
    EXPECT_EQ(many.attr(0, "baseband"), "b0");
    EXPECT_EQ(many.mNode.getNodeContent(1), "t");
    // A result string passed back as the name is read before it is replaced.
    std::string baseband = "baseband";
    std::string& previous = many.mNode.getNodePropertyValue(0, baseband);
    EXPECT_EQ(many.attr(0, "a"), "1");
    EXPECT_EQ(many.mNode.getNodePropertyValue(0, previous), "");
    EXPECT_EQ(Query("<a v=\"x&amp;&#65;y\"/>", "//a").attr(0, "v"), "x&Ay");

    // Content is the first plain text child: not CDATA, comments or a child's text.
    const std::pair<const char*, const char*> contents[] = {{"<a>t1<b/>t2</a>", "t1"},
                                                            {"<a><b/>t2</a>", "t2"},
                                                            {"<a><b/></a>", ""},
                                                            {"<a><![CDATA[c]]><!--n-->t</a>", "t"},
                                                            {"<a><![CDATA[c]]></a>", ""},
                                                            {"<a><b>inner</b></a>", ""},
                                                            {"<a>\n  <b>inner</b>\n</a>", "\n  "},
                                                            {"<a>1 &lt; 2</a>", "1 < 2"}};
    for (const auto& [xml, expected] : contents)
        EXPECT_EQ(content(xml), expected) << xml;

    // Attribute nodes: their name, and their value as content.
    Query attr("<r><a x=\"v1\"/><a x=\"v2\"/></r>", "//a/@x");
    EXPECT_EQ(attr.mNode.getNodeName(1), "x");
    EXPECT_EQ(attr.mNode.getNodeContent(1), "v2");
    EXPECT_EQ(attr.attr(1, "x"), "");
    // A selected text node has no children of its own.
    Query text("<a>t</a>", "//a/text()");
    EXPECT_EQ(text.mNode.getNodeName(0), "text");
    EXPECT_EQ(text.mNode.getNodeContent(0), "");
}

TEST(XmlFile, MissingNodesBadIndexesAndOtherResults) {
    Query q("<r><Api baseband=\"x1\">t</Api></r>", "//Firmware");
    EXPECT_EQ(q.mNode.getNodeCount(), 0);
    EXPECT_EQ(q.mNode.getNodeName(0) + q.mNode.getNodeContent(0) + q.attr(0, "baseband"), "");

    Query one("<r><Api baseband=\"x1\">t</Api></r>", "//Api");
    for (int index : {1, -1, INT_MAX, INT_MIN}) {
        // A valid call first, so that the empty result is not left over.
        EXPECT_EQ(one.mNode.getNodeName(0), "Api");
        EXPECT_EQ(one.mNode.getNodeName(index), "") << index;
        EXPECT_EQ(one.mNode.getNodeContent(0), "t");
        EXPECT_EQ(one.mNode.getNodeContent(index), "") << index;
        EXPECT_EQ(one.attr(0, "baseband"), "x1");
        EXPECT_EQ(one.attr(index, "baseband"), "") << index;
    }
    // Results that are not node sets count no node; bad expressions give none.
    for (const char* xpath : {"count(//Api)", "string(//Api)", "boolean(//Api)", "1 + 1"}) {
        Query scalar("<r><Api/></r>", xpath);
        EXPECT_EQ(scalar.mNode.getNodeCount(), 0) << xpath;
        EXPECT_EQ(scalar.mNode.getNodeContent(0), "") << xpath;
    }
    for (std::string bad : {"//", "//Api[", "", "count(("})
        EXPECT_EQ(one.mFile.evalExpression(bad), nullptr) << bad;

    // The document node, and an internal subset (whose attribute defaults are
    // not applied).
    Query doc("<?pi data?><!--c--><a>t</a>", "/");
    EXPECT_EQ(doc.mNode.getNodeName(0), "");
    EXPECT_EQ(doc.mNode.getNodeContent(0), "");
    Query dtd("<!DOCTYPE a [<!ELEMENT a (#PCDATA)><!ATTLIST a v CDATA 'd'>]><a>t</a>", "//node()");
    ASSERT_EQ(dtd.mNode.getNodeCount(), 2);
    EXPECT_EQ(dtd.mNode.getNodeContent(0), "t");
    EXPECT_EQ(dtd.attr(0, "v"), "");
}

TEST(XmlFile, FilesThatAreMissingOrDoNotParse) {
    std::string missing = (klxtest::freshDir("missing") / "manifest.xml").string();
    std::string api = "//Api", baseband = "baseband";
    XmlProbe absent(missing);
    EXPECT_EQ(absent.mHandle, INVALID_HANDLE_VALUE);
    EXPECT_FALSE(absent.isValid());
    void* result = absent.evalExpression(api);
    EXPECT_EQ(result, nullptr);
    KLXXmlNode node(result);
    EXPECT_EQ(node.getNodeCount(), 0);
    EXPECT_EQ(node.getNodeName(0) + node.getNodeContent(0) + node.getNodePropertyValue(0, baseband),
              "");
    EXPECT_FALSE(fs::exists(missing));

    // Opened but not parsed: no document; the file stays open.
    for (const char* bad : {"", "not xml", "<a>", "<a></b>", "<a x=1/>", "<a/><b/>",
                            "<a>\xff\xfe</a>", "\xef\xbb\xbf"}) {
        std::string path = fileWith(bad);
        XmlProbe file(path);
        EXPECT_NE(file.mHandle, INVALID_HANDLE_VALUE) << bad;
        EXPECT_FALSE(file.isValid()) << bad;
        EXPECT_EQ(file.mDocument, nullptr) << bad;
        EXPECT_EQ(file.evalExpression(api), nullptr) << bad;
    }
    std::string dir = klxtest::freshDir("adir").string();
    EXPECT_FALSE(KLXXmlFile(dir).isValid());

    // A declaration and a byte order mark are read as usual.
    EXPECT_EQ(content("\xef\xbb\xbf<?xml version=\"1.0\" encoding=\"UTF-8\"?><a>\xc3\xa9</a>"),
              "\xc3\xa9");
    EXPECT_EQ(content("<?xml version=\"1.0\" encoding=\"ISO-8859-1\"?><a>\xe9</a>"), "\xc3\xa9");
}

TEST(XmlFile, ResultsAreSharedByAllNodes) {
    Query first("<Api baseband=\"x1\">one<b/></Api>", "//Api");
    Query second("<Firmware baseband=\"x2\">two</Firmware>", "//Firmware");
    std::string baseband = "baseband";
    std::string& name = first.mNode.getNodeName(0);
    std::string& text = first.mNode.getNodeContent(0);
    std::string& value = first.mNode.getNodePropertyValue(0, baseband);
    EXPECT_EQ(&second.mNode.getNodeName(0), &name);
    EXPECT_EQ(&second.mNode.getNodeContent(0), &text);
    EXPECT_EQ(&second.mNode.getNodePropertyValue(0, baseband), &value);
    EXPECT_EQ(name + text + value, "Firmwaretwox2");
    // Each operation keeps its own result.
    first.mNode.getNodeName(5);
    EXPECT_EQ(name + text + value, "twox2");
}

TEST(XmlFile, Namespaces) {
    const std::string prefixed =
        "<r xmlns:s=\"urn:s\"><s:Api s:baseband=\"p\" baseband=\"q\">t</s:Api></r>";
    // A name test without prefix selects only elements in no namespace, and
    // the context does not know the document's prefixes.
    EXPECT_EQ(Query(prefixed, "//Api").mNode.getNodeCount(), 0);
    EXPECT_EQ(Query("<r xmlns=\"urn:d\"><Api/></r>", "//Api").mNode.getNodeCount(), 0);
    EXPECT_EQ(Query(prefixed, "//s:Api").mNode.getNodeCount(), 0);

    // Names are local; attributes match by local name in document order.
    Query local(prefixed, "//*[local-name()='Api']");
    EXPECT_EQ(local.mNode.getNodeName(0), "Api");
    EXPECT_EQ(local.mNode.getNodeContent(0), "t");
    EXPECT_EQ(local.attr(0, "baseband"), "p");
    EXPECT_EQ(local.attr(0, "s:baseband"), "");

    // Namespace nodes: named by their prefix, without content or attributes.
    Query ns(prefixed, "/r/namespace::*");
    ASSERT_EQ(ns.mNode.getNodeCount(), 2); // s and the implicit xml
    std::string names = ns.mNode.getNodeName(0);
    EXPECT_EQ(names + " " + ns.mNode.getNodeName(1), "xml s");
    EXPECT_EQ(ns.mNode.getNodeContent(0) + ns.attr(0, "baseband"), "");
}

TEST(XmlFile, NothingOutsideTheFileIsLoaded) {
    fs::path dir = klxtest::freshDir("external");
    klxtest::writeBytes(dir / "secret.txt", "secret");
    klxtest::writeBytes(dir / "ext.dtd", "<!ATTLIST a v CDATA \"fromdtd\">");
    klxtest::writeBytes(dir / "part.xml", "<b>included</b>");
    // External entities, an external DTD's defaults and inclusions are not read.
    Query entity("<!DOCTYPE a [<!ENTITY x SYSTEM \"" + (dir / "secret.txt").string() +
                     "\">]><a>&x;</a>",
                 "//a");
    ASSERT_TRUE(entity.mFile.isValid());
    EXPECT_EQ(entity.mNode.getNodeContent(0), "");
    Query dtd("<!DOCTYPE a SYSTEM \"" + (dir / "ext.dtd").string() + "\"><a/>", "//a");
    ASSERT_TRUE(dtd.mFile.isValid());
    EXPECT_EQ(dtd.attr(0, "v"), "");
    Query include("<a xmlns:xi=\"http://www.w3.org/2001/XInclude\"><xi:include href=\"" +
                      (dir / "part.xml").string() + "\"/></a>",
                  "//b");
    ASSERT_TRUE(include.mFile.isValid());
    EXPECT_EQ(include.mNode.getNodeCount(), 0);
}

TEST(XmlFile, HostileInputEndsWithoutHarm) {
    // Entities that expand to some 10^9 characters.
    std::string bomb = "<!DOCTYPE lolz [<!ENTITY lol0 \"lol\">";
    for (int i = 1; i <= 9; ++i)
        for (int j = 0; j <= 10; ++j)
            bomb += j == 0 ? "<!ENTITY lol" + std::to_string(i) + " \""
                           : "&lol" + std::to_string(i - 1) + (j == 10 ? ";\">" : ";");
    std::string bombPath = fileWith(bomb + "]><lolz>&lol9;</lolz>");
    EXPECT_FALSE(KLXXmlFile(bombPath).isValid());

    // Nesting far beyond any real file is refused; moderate nesting is fine.
    auto nested = [](int depth, const std::string& inner) {
        std::string xml;
        for (int i = 0; i < depth; ++i)
            xml += "<a>";
        xml += inner;
        for (int i = 0; i < depth; ++i)
            xml += "</a>";
        return xml;
    };
    std::string deepPath = fileWith(nested(100000, ""));
    EXPECT_FALSE(KLXXmlFile(deepPath).isValid());
    Query moderate(nested(200, "deepest"), "//a");
    EXPECT_EQ(moderate.mNode.getNodeCount(), 200);
    EXPECT_EQ(moderate.mNode.getNodeContent(199), "deepest");
}

TEST(XmlFile, WindowsPathsAndTheOpenFile) {
    fs::path sdk = klxtest::cDrive() / "sdk" / "os";
    fs::create_directories(sdk);
    const std::string manifest = "<Manifest><Api baseband=\"kb2\"/></Manifest>";
    klxtest::writeBytes(sdk / "manifest.xml", manifest);
    std::string baseband = "baseband", api = "//Api";
    for (std::string path : {"C:\\sdk\\os\\manifest.xml", "c:\\SDK\\OS\\Manifest.XML",
                             "/cygdrive/c/sdk/os/manifest.xml"}) {
        KLXXmlFile file(path);
        ASSERT_TRUE(file.isValid()) << path;
        EXPECT_EQ(KLXXmlNode(file.evalExpression(api)).getNodePropertyValue(0, baseband), "kb2");
    }
    std::string missing = "C:\\sdk\\fw\\manifest.xml";
    EXPECT_FALSE(KLXXmlFile(missing).isValid());

    // The file stays open, shared for reading only; the stream writes nothing.
    std::string path = "C:\\sdk\\os\\manifest.xml", text = "x";
    {
        KLXXmlFile file(path);
        struct ReadProbe : KLXFile {
            using KLXFile::KLXFile;
            using KLXFile::mHandle;
        };
        EXPECT_NE(ReadProbe(path, 2).mHandle, INVALID_HANDLE_VALUE);
        EXPECT_EQ(ReadProbe(path, 0).mHandle, INVALID_HANDLE_VALUE);
        EXPECT_EQ(file.write(text) + file.writeln(text), 0);
    }
    EXPECT_EQ(klxtest::readBytes(sdk / "manifest.xml"), manifest);
}

TEST(XmlFile, GzipFilesAreReadAsLibxml2ReadsThem) {
    if (!xmlHasFeature(XML_WITH_ZLIB))
        GTEST_SKIP() << "this libxml2 is built without zlib: it reads gzip files as they are";
    // <Manifest><Api baseband="gz"/></Manifest>, compressed by gzip.
    const std::string gzip("\x1f\x8b\x08\x00\x00\x00\x00\x00\x02\x03\xb3\xf1\x4d\xcc\xcb\x4c"
                           "\x4b\x2d\x2e\xb1\xb3\x71\x2c\xc8\x54\x48\x4a\x2c\x4e\x4d\x4a\xcc"
                           "\x4b\xb1\x55\x4a\xaf\x52\xd2\xb7\xb3\xd1\x87\x4b\x03\x00\xa4\x4c"
                           "\x3f\x51\x29\x00\x00\x00",
                           54);
    Query file(gzip, "//Api");
    ASSERT_TRUE(file.mFile.isValid());
    EXPECT_EQ(file.attr(0, "baseband"), "gz");
    fs::path dir = klxtest::freshDir("gzip");
    klxtest::writeBytes(dir / "manifest.xml", gzip);
    std::string component = dir.string();
    EXPECT_EQ(KLXCorvaleSettings::readBaseBand(component), "gz");
    // Cut short, or with a damaged check, the data is not the file's.
    std::string damaged = gzip;
    damaged[47] = static_cast<char>(damaged[47] ^ 1);
    for (const std::string& broken : {gzip.substr(0, 40), damaged}) {
        std::string path = fileWith(broken);
        EXPECT_FALSE(KLXXmlFile(path).isValid());
        klxtest::writeBytes(dir / "manifest.xml", broken);
        EXPECT_EQ(KLXCorvaleSettings::readBaseBand(component), "");
    }
}
