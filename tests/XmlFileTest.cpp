// KLXXmlFile and KLXXmlNode: parsing, XPath queries, names, text and
// attributes of the selected nodes, the shared results, and hostile or broken
// input.
#include "KLXXmlFile.h"
#include "KLXXmlNode.h"

#include "TestFiles.h"

#include <gtest/gtest.h>

#include <climits>
#include <filesystem>
#include <string>

namespace fs = std::filesystem;

namespace {

struct XmlProbe : KLXXmlFile {
    using KLXXmlFile::KLXXmlFile;
    using KLXXmlFile::mDocument;
    using KLXXmlFile::mHandle;
    using KLXXmlFile::mXPathContext;
};

struct NodeProbe : KLXXmlNode {
    using KLXXmlNode::getTextTypeChildrenValue;
    using KLXXmlNode::KLXXmlNode;
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
};

std::string content(const std::string& xml, std::string xpath = "//a") {
    return Query(xml, xpath).mNode.getNodeContent(0);
}

std::string property(const std::string& xml, std::string name, std::string xpath = "//a") {
    return Query(xml, xpath).mNode.getNodePropertyValue(0, name);
}

} // namespace

TEST(XmlFile, ElementNameAttributeAndContent) {
    Query q("<Api baseband=\"x1\"/>", "//Api");
    ASSERT_TRUE(q.mFile.isValid());
    EXPECT_EQ(q.mNode.getNodeCount(), 1);
    EXPECT_EQ(q.mNode.getNodeName(0), "Api");
    std::string baseband = "baseband", capital = "Baseband";
    EXPECT_EQ(q.mNode.getNodePropertyValue(0, baseband), "x1");
    EXPECT_EQ(q.mNode.getNodePropertyValue(0, capital), "");
    EXPECT_EQ(q.mNode.getNodeContent(0), "");

    // Several nodes come in document order; the first of several attributes
    // that follow each other is found by name.
    Query many("<r><Api a=\"1\" baseband=\"b0\"/><x><Api baseband=\"b1\">t</Api></x></r>", "//Api");
    ASSERT_EQ(many.mNode.getNodeCount(), 2);
    EXPECT_EQ(many.mNode.getNodePropertyValue(1, baseband), "b1");
    EXPECT_EQ(many.mNode.getNodePropertyValue(0, baseband), "b0");
    EXPECT_EQ(many.mNode.getNodeContent(1), "t");
    // A result string passed back as the name is read before it is replaced.
    std::string& previous = many.mNode.getNodePropertyValue(0, baseband);
    std::string a = "a";
    EXPECT_EQ(many.mNode.getNodePropertyValue(0, a), "1");
    EXPECT_EQ(many.mNode.getNodePropertyValue(0, previous), "");

    // Entity and character references are part of the value.
    EXPECT_EQ(property("<a v=\"x&amp;&#65;y\"/>", "v"), "x&Ay");
    EXPECT_EQ(property("<a v=\"\"/>", "v"), "");
}

TEST(XmlFile, ContentIsTheFirstPlainTextChild) {
    EXPECT_EQ(content("<a>t1<b/>t2</a>"), "t1");
    EXPECT_EQ(content("<a><b/>t2</a>"), "t2");
    EXPECT_EQ(content("<a>x</a>"), "x");
    EXPECT_EQ(content("<a><b/></a>"), "");
    // CDATA sections and comments are skipped; a child's text is not the
    // element's own.
    EXPECT_EQ(content("<a><![CDATA[c]]><!--n-->t</a>"), "t");
    EXPECT_EQ(content("<a><![CDATA[c]]></a>"), "");
    EXPECT_EQ(content("<a><b>inner</b></a>"), "");
    // Blanks are text too.
    EXPECT_EQ(content("<a>\n  <b>inner</b>\n</a>"), "\n  ");
    EXPECT_EQ(content("<a>1 &lt; 2</a>"), "1 < 2");

    // Attribute nodes: their name, and their value as content.
    Query attr("<r><a x=\"v1\"/><a x=\"v2\"/></r>", "//a/@x");
    ASSERT_EQ(attr.mNode.getNodeCount(), 2);
    EXPECT_EQ(attr.mNode.getNodeName(1), "x");
    EXPECT_EQ(attr.mNode.getNodeContent(1), "v2");
    std::string x = "x";
    EXPECT_EQ(attr.mNode.getNodePropertyValue(1, x), "");

    // A selected text node has no children of its own.
    Query text("<a>t</a>", "//a/text()");
    ASSERT_EQ(text.mNode.getNodeCount(), 1);
    EXPECT_EQ(text.mNode.getNodeName(0), "text");
    EXPECT_EQ(text.mNode.getNodeContent(0), "");

    NodeProbe none(nullptr);
    EXPECT_EQ(none.getTextTypeChildrenValue(nullptr), "");
}

TEST(XmlFile, MissingNodesAndIndexesOutOfRange) {
    std::string baseband = "baseband";
    Query q("<r><Api baseband=\"x1\">t</Api></r>", "//Firmware");
    ASSERT_TRUE(q.mFile.isValid());
    EXPECT_EQ(q.mNode.getNodeCount(), 0);
    EXPECT_EQ(q.mNode.getNodeName(0), "");
    EXPECT_EQ(q.mNode.getNodeContent(0), "");
    EXPECT_EQ(q.mNode.getNodePropertyValue(0, baseband), "");

    Query one("<r><Api baseband=\"x1\">t</Api></r>", "//Api");
    ASSERT_EQ(one.mNode.getNodeCount(), 1);
    for (int index : {1, -1, INT_MAX, INT_MIN}) {
        // A valid call first, so that the empty result is not left over.
        EXPECT_EQ(one.mNode.getNodeName(0), "Api");
        EXPECT_EQ(one.mNode.getNodeName(index), "") << index;
        EXPECT_EQ(one.mNode.getNodeContent(0), "t");
        EXPECT_EQ(one.mNode.getNodeContent(index), "") << index;
        EXPECT_EQ(one.mNode.getNodePropertyValue(0, baseband), "x1");
        EXPECT_EQ(one.mNode.getNodePropertyValue(index, baseband), "") << index;
    }

    // Results that are not node sets count no node.
    for (const char* xpath : {"count(//Api)", "string(//Api)", "boolean(//Api)", "1 + 1"}) {
        Query scalar("<r><Api/></r>", xpath);
        EXPECT_EQ(scalar.mNode.getNodeCount(), 0) << xpath;
        EXPECT_EQ(scalar.mNode.getNodeName(0), "") << xpath;
        EXPECT_EQ(scalar.mNode.getNodeContent(0), "") << xpath;
    }

    // An expression that does not compile gives no result at all.
    std::string path = fileWith("<r/>");
    KLXXmlFile file(path);
    for (std::string bad : {"//", "//Api[", "", "count(("}) {
        void* result = file.evalExpression(bad);
        EXPECT_EQ(result, nullptr) << bad;
        KLXXmlNode node(result);
        EXPECT_EQ(node.getNodeCount(), 0);
    }
}

TEST(XmlFile, FilesThatAreMissingOrDoNotParse) {
    std::string baseband = "baseband";
    std::string missing = (klxtest::freshDir("missing") / "manifest.xml").string();
    XmlProbe absent(missing);
    EXPECT_EQ(absent.mHandle, INVALID_HANDLE_VALUE);
    EXPECT_FALSE(absent.isValid());
    std::string api = "//Api";
    void* result = absent.evalExpression(api);
    EXPECT_EQ(result, nullptr);
    KLXXmlNode node(result);
    EXPECT_EQ(node.getNodeCount(), 0);
    EXPECT_EQ(node.getNodeName(0), "");
    EXPECT_EQ(node.getNodeContent(0), "");
    EXPECT_EQ(node.getNodePropertyValue(0, baseband), "");
    EXPECT_FALSE(fs::exists(missing));

    // Opened but not parsed: no document and no context; the file stays open.
    for (const char* bad : {"", "not xml", "<a>", "<a></b>", "<a x=1/>", "<a/><b/>",
                            "<a>\xff\xfe</a>", "\xef\xbb\xbf"}) {
        std::string path = fileWith(bad);
        XmlProbe file(path);
        EXPECT_NE(file.mHandle, INVALID_HANDLE_VALUE) << bad;
        EXPECT_FALSE(file.isValid()) << bad;
        EXPECT_EQ(file.mDocument, nullptr) << bad;
        EXPECT_EQ(file.evalExpression(api), nullptr) << bad;
    }

    // A directory is not a file to parse.
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
    EXPECT_EQ(name, "Api");
    EXPECT_EQ(&second.mNode.getNodeName(0), &name);
    EXPECT_EQ(name, "Firmware");

    std::string& text = first.mNode.getNodeContent(0);
    EXPECT_EQ(&second.mNode.getNodeContent(0), &text);
    EXPECT_EQ(text, "two");

    std::string& value = first.mNode.getNodePropertyValue(0, baseband);
    EXPECT_EQ(&second.mNode.getNodePropertyValue(0, baseband), &value);
    EXPECT_EQ(value, "x2");

    // Each operation keeps its own result.
    EXPECT_NE(&name, &text);
    EXPECT_NE(&text, &value);
    EXPECT_EQ(name, "Firmware");
    first.mNode.getNodeName(5);
    EXPECT_EQ(name, "");
    EXPECT_EQ(text, "two");
}

TEST(XmlFile, Namespaces) {
    std::string baseband = "baseband";
    const std::string prefixed =
        "<r xmlns:s=\"urn:s\"><s:Api s:baseband=\"p\" baseband=\"q\">t</s:Api></r>";
    // A name test without prefix selects only elements in no namespace.
    EXPECT_EQ(Query(prefixed, "//Api").mNode.getNodeCount(), 0);
    EXPECT_EQ(Query("<r xmlns=\"urn:d\"><Api/></r>", "//Api").mNode.getNodeCount(), 0);
    // Nor does the context know the document's prefixes.
    EXPECT_EQ(Query(prefixed, "//s:Api").mNode.getNodeCount(), 0);

    // Names are local; attributes match by local name in document order,
    // whatever their namespace.
    Query local(prefixed, "//*[local-name()='Api']");
    ASSERT_EQ(local.mNode.getNodeCount(), 1);
    EXPECT_EQ(local.mNode.getNodeName(0), "Api");
    EXPECT_EQ(local.mNode.getNodeContent(0), "t");
    EXPECT_EQ(local.mNode.getNodePropertyValue(0, baseband), "p");
    std::string qualified = "s:baseband";
    EXPECT_EQ(local.mNode.getNodePropertyValue(0, qualified), "");

    // Namespace nodes: named by their prefix, without content or attributes.
    Query ns(prefixed, "/r/namespace::*");
    ASSERT_EQ(ns.mNode.getNodeCount(), 2); // s and the implicit xml
    // Copied one by one: the name is a shared result.
    std::string names = ns.mNode.getNodeName(0);
    names += " " + ns.mNode.getNodeName(1);
    EXPECT_EQ(names, "xml s");
    EXPECT_EQ(ns.mNode.getNodeContent(0), "");
    EXPECT_EQ(ns.mNode.getNodePropertyValue(0, baseband), "");
}

TEST(XmlFile, OtherKindsOfNode) {
    std::string v = "v";
    // The document itself: no name, no text child, no attributes.
    Query doc("<?pi data?><!--c--><a v=\"1\">t</a>", "/");
    ASSERT_EQ(doc.mNode.getNodeCount(), 1);
    EXPECT_EQ(doc.mNode.getNodeName(0), "");
    EXPECT_EQ(doc.mNode.getNodeContent(0), "");
    EXPECT_EQ(doc.mNode.getNodePropertyValue(0, v), "");

    Query misc("<?pi data?><!--c--><a v=\"1\">t</a>", "/node()");
    ASSERT_EQ(misc.mNode.getNodeCount(), 3);
    EXPECT_EQ(misc.mNode.getNodeName(0), "pi");
    EXPECT_EQ(misc.mNode.getNodeName(1), "comment");
    for (int i = 0; i < 2; ++i) {
        EXPECT_EQ(misc.mNode.getNodeContent(i), "");
        EXPECT_EQ(misc.mNode.getNodePropertyValue(i, v), "");
    }
    EXPECT_EQ(misc.mNode.getNodePropertyValue(2, v), "1");

    // An internal subset is no node of the result, and its attribute
    // defaults are not applied.
    Query dtd("<!DOCTYPE a [<!ELEMENT a (#PCDATA)><!ATTLIST a v CDATA 'd'>]><a>t</a>", "//node()");
    ASSERT_EQ(dtd.mNode.getNodeCount(), 2);
    EXPECT_EQ(dtd.mNode.getNodeName(0), "a");
    EXPECT_EQ(dtd.mNode.getNodeContent(0), "t");
    EXPECT_EQ(dtd.mNode.getNodePropertyValue(0, v), "");
}

TEST(XmlFile, NothingOutsideTheFileIsLoaded) {
    fs::path dir = klxtest::freshDir("external");
    klxtest::writeBytes(dir / "secret.txt", "secret");
    klxtest::writeBytes(dir / "ext.dtd", "<!ATTLIST a v CDATA \"fromdtd\">");
    klxtest::writeBytes(dir / "part.xml", "<b>included</b>");

    // External entities are neither read nor substituted; the reference stays
    // a reference, which is no text.
    klxtest::writeBytes(dir / "entity.xml",
                        "<!DOCTYPE a [<!ENTITY x SYSTEM \"secret.txt\">]><a>&x;</a>");
    std::string path = (dir / "entity.xml").string();
    KLXXmlFile entity(path);
    ASSERT_TRUE(entity.isValid());
    std::string a = "//a";
    EXPECT_EQ(KLXXmlNode(entity.evalExpression(a)).getNodeContent(0), "");

    // No external DTD: its attribute defaults do not appear.
    klxtest::writeBytes(dir / "dtd.xml", "<!DOCTYPE a SYSTEM \"ext.dtd\"><a/>");
    path = (dir / "dtd.xml").string();
    KLXXmlFile dtd(path);
    ASSERT_TRUE(dtd.isValid());
    std::string v = "v";
    EXPECT_EQ(KLXXmlNode(dtd.evalExpression(a)).getNodePropertyValue(0, v), "");

    // No inclusion of other documents.
    klxtest::writeBytes(dir / "xinclude.xml", "<a xmlns:xi=\"http://www.w3.org/2001/XInclude\">"
                                              "<xi:include href=\"part.xml\"/></a>");
    path = (dir / "xinclude.xml").string();
    KLXXmlFile include(path);
    ASSERT_TRUE(include.isValid());
    std::string b = "//b";
    EXPECT_EQ(KLXXmlNode(include.evalExpression(b)).getNodeCount(), 0);
}

TEST(XmlFile, HostileInputEndsWithoutHarm) {
    // Entities that expand to some 10^9 characters.
    std::string bomb = "<?xml version=\"1.0\"?><!DOCTYPE lolz [<!ENTITY lol \"lol\">";
    bomb += "<!ENTITY lol1 \"&lol;&lol;&lol;&lol;&lol;&lol;&lol;&lol;&lol;&lol;\">";
    for (int i = 2; i <= 9; ++i) {
        std::string previous = "&lol" + std::to_string(i - 1) + ";";
        bomb += "<!ENTITY lol" + std::to_string(i) + " \"";
        for (int j = 0; j < 10; ++j)
            bomb += previous;
        bomb += "\">";
    }
    bomb += "]><lolz>&lol9;</lolz>";
    {
        std::string path = fileWith(bomb);
        EXPECT_FALSE(KLXXmlFile(path).isValid());
    }

    // Quadratic blowup: one large entity referenced many times.
    std::string quadratic = "<!DOCTYPE a [<!ENTITY x \"" + std::string(50000, 'x') + "\">]><a>";
    for (int i = 0; i < 50000; ++i)
        quadratic += "&x;";
    quadratic += "</a>";
    {
        std::string path = fileWith(quadratic);
        KLXXmlFile file(path);
        std::string a = "//a";
        // Either refused, or kept as unexpanded references.
        if (file.isValid()) {
            EXPECT_EQ(KLXXmlNode(file.evalExpression(a)).getNodeContent(0), "");
        }
    }

    // Nesting far beyond any real file is refused by the parser's depth limit.
    const int deep = 100000;
    std::string nested;
    nested.reserve(deep * 7);
    for (int i = 0; i < deep; ++i)
        nested += "<a>";
    for (int i = 0; i < deep; ++i)
        nested += "</a>";
    std::string path = fileWith(nested);
    EXPECT_FALSE(KLXXmlFile(path).isValid());
    // Moderate nesting is fine.
    std::string moderate;
    for (int i = 0; i < 200; ++i)
        moderate += "<a>";
    moderate += "deepest";
    for (int i = 0; i < 200; ++i)
        moderate += "</a>";
    Query q(moderate, "//a");
    EXPECT_EQ(q.mNode.getNodeCount(), 200);
    EXPECT_EQ(q.mNode.getNodeContent(199), "deepest");
}

TEST(XmlFile, WindowsPathsAndTheOpenFile) {
    fs::path sdk = klxtest::testRoot() / "prefix" / "drive_c" / "sdk" / "os";
    fs::create_directories(sdk);
    klxtest::writeBytes(sdk / "manifest.xml", "<Manifest><Api baseband=\"kb2\"/></Manifest>");
    std::string baseband = "baseband", api = "//Api";
    for (std::string path : {"C:\\sdk\\os\\manifest.xml", "c:\\SDK\\OS\\Manifest.XML",
                             "/cygdrive/c/sdk/os/manifest.xml"}) {
        KLXXmlFile file(path);
        ASSERT_TRUE(file.isValid()) << path;
        KLXXmlNode node(file.evalExpression(api));
        EXPECT_EQ(node.getNodePropertyValue(0, baseband), "kb2") << path;
    }
    std::string missing = "C:\\sdk\\fw\\manifest.xml";
    EXPECT_FALSE(KLXXmlFile(missing).isValid());

    // The file stays open, shared for reading only, while the object lives;
    // the stream operations write nothing.
    std::string path = "C:\\sdk\\os\\manifest.xml";
    {
        KLXXmlFile file(path);
        struct ReadProbe : KLXFile {
            using KLXFile::KLXFile;
            using KLXFile::mHandle;
        };
        EXPECT_NE(ReadProbe(path, 2).mHandle, INVALID_HANDLE_VALUE);
        EXPECT_EQ(ReadProbe(path, 0).mHandle, INVALID_HANDLE_VALUE);
        std::string text = "x";
        EXPECT_EQ(file.write(text), 0);
        EXPECT_EQ(file.writeln(text), 0);
    }
    EXPECT_EQ(klxtest::readBytes(sdk / "manifest.xml"),
              "<Manifest><Api baseband=\"kb2\"/></Manifest>");
}
