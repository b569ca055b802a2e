// Takes attributes that cannot matter out of an XML file's text before
// libxml2 2.9 parses it for the first elements of some names.
//
// libxml2 2.9 checks the attributes of a start tag for duplicates pair by
// pair, default attributes from the document type included: a start tag with
// 40,000 attributes, or a document type that gives an element thousands of
// default attributes, costs seconds to minutes per element. The thinner
// passes the file through unchanged except for start tags with more than a
// few attributes and declarations of many default attributes, where it drops
// what it has itself checked to be well-formed and without effect on what
// the parse tells (an attribute with a plain name and a plain value, other
// than the attribute that is looked for; a plain default value, which the
// parsed document does not hold). A duplicate attribute, which makes the
// document not well-formed, is kept twice in a tag of its own. What the
// thinner does not understand, and files in encodings other than UTF-8,
// ASCII and ISO-8859-1, it passes through as they are from there on.
//
// libxml2 2.9 also checks each namespace declaration of a tag against the
// others before it. Of a prefix only whether it is bound can change what the
// parse tells, and only where "P:keep" names an attribute (a prefixed element
// is never one looked for, and a prefix that is not bound is no fatal error).
// So in tags with many attributes the declarations that surely bind a prefix
// go too; while such an element is open, a "P:keep" attribute of a tag inside
// it is renamed to a prefix that its own tag binds. A document type that
// declares entities or names `keep` keeps every declaration.
#ifndef KLX_FILES_XML_THINNER_H
#define KLX_FILES_XML_THINNER_H

#include "XmlFileBytes.h"

#include <cstddef>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

namespace klx {
namespace xml {

class XmlThinner {
public:
    // `keep`: the attribute name that is never dropped.
    XmlThinner(FileBytes& source, const std::string& keep);

    // Up to `size` bytes of the thinned text; 0 at the end, -1 on failure.
    int read(char* buffer, int size);
    static int readCallback(void* context, char* buffer, int size);
    static int closeCallback(void* context);

private:
    enum class State { Start, Text, Comment, Instruction, CData, Raw };

    // Reads more of the source into mIn; false at its end or on failure.
    bool pull();
    // Moves what can be decided from mIn to mOut; false when more input is
    // needed first.
    bool step();
    bool startDocument();
    bool markup();
    bool through(const char* terminator);
    bool startTag();
    std::string thinStartTag(std::string_view tag, bool scoped);
    std::string bindKeepPrefixes(std::string_view tag) const;
    void closeElement();
    bool doctype();
    void emit(std::size_t count);
    void passRest();
    // A construct that does not end within the `have` bytes read: passed
    // through when no more will come or it is too long to thin (true), else
    // tried again once twice as many bytes are in (false).
    bool unfinished(std::size_t have);

    FileBytes& mSource;
    std::string mKeep;
    std::string mPrefixedKeep; // ":" + mKeep, looked for in tags
    State mState = State::Start;
    std::string mIn;        // source bytes not yet decided
    std::size_t mAt = 0;    // first undecided byte of mIn
    std::string mOut;       // decided bytes not yet handed out
    std::size_t mOutAt = 0; // first of them
    bool mEnded = false;    // the source is exhausted
    bool mFailed = false;
    std::size_t mRetryAt = 0; // undecided bytes needed before a construct is tried again
    std::size_t mDepth = 0;   // elements open
    // Declarations taken out of start tags whose elements are still open:
    // the depth of each one's element, and how many there are per prefix.
    struct DroppedScope {
        std::size_t depth;
        std::string prefix;
    };
    std::vector<DroppedScope> mDroppedScopes;
    std::unordered_map<std::string, std::size_t> mDroppedCount;
    bool mKeepDeclarations = false; // the document type may give "P:keep" attributes
};

} // namespace xml
} // namespace klx

#endif // KLX_FILES_XML_THINNER_H
