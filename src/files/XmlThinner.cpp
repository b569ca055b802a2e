// KlxCore: XML text with the attributes that cannot matter taken out.
#include "XmlThinner.h"

#include "platform/common/AsciiText.h"

#include <algorithm>
#include <cstring>
#include <string_view>
#include <unordered_set>
#include <vector>

namespace klx {
namespace xml {

namespace {

const std::size_t kPull = 64 * 1024;
// A start tag or a document type declaration longer than this is passed
// through with the rest of the file: near libxml2's 10,000,000-byte lookup
// limit, its length itself decides whether the parse fails.
const std::size_t kMaxConstruct = 3000000;
// Tags with at most this many attributes, and document types with at most
// this many plain default values, are passed through as they are.
const std::size_t kFew = 32;
const std::size_t kMaxName = 1000;
const std::size_t kMaxValue = 100000;
const std::size_t kNotFound = std::string_view::npos;

bool isSpace(char c) {
    return c == ' ' || c == '\t' || c == '\n' || c == '\r';
}

bool startsWith(std::string_view text, std::size_t at, std::string_view prefix) {
    return text.size() >= at + prefix.size() && text.compare(at, prefix.size(), prefix) == 0;
}

// A name that any parse accepts as an attribute name without a prefix, and
// that does not begin with the reserved "xml" in any case.
bool isPlainName(std::string_view name) {
    if (name.empty() || name.size() > kMaxName ||
        !(klx::platform::isAsciiLetter(name[0]) || name[0] == '_'))
        return false;
    for (char c : name) {
        if (!(klx::platform::isAsciiLetter(c) || (c >= '0' && c <= '9') || c == '.' || c == '-' ||
              c == '_'))
            return false;
    }
    const bool reserved = name.size() >= 3 && (name[0] | 0x20) == 'x' && (name[1] | 0x20) == 'm' &&
                          (name[2] | 0x20) == 'l';
    return !reserved;
}

// A value of printable ASCII and blanks, without markup or references.
bool isPlainValue(std::string_view value) {
    if (value.size() > kMaxValue)
        return false;
    for (char c : value) {
        const bool printable = c >= 0x20 && c <= 0x7E && c != '<' && c != '&';
        if (!printable && c != '\t' && c != '\n' && c != '\r')
            return false;
    }
    return true;
}

std::size_t skipSpaces(std::string_view text, std::size_t at) {
    while (at < text.size() && isSpace(text[at]))
        ++at;
    return at;
}

// The end of the quoted literal that begins at `at`, after its closing quote.
std::size_t skipLiteral(std::string_view text, std::size_t at) {
    if (at >= text.size() || (text[at] != '"' && text[at] != '\''))
        return kNotFound;
    const std::size_t close = text.find(text[at], at + 1);
    return close == kNotFound ? kNotFound : close + 1;
}

// Whether the declared encoding names one that libxml2 reads byte for byte as
// ASCII: UTF-8, ASCII and ISO-8859-1.
bool isAsciiEncoding(std::string name) {
    for (char& c : name)
        c = static_cast<char>((c >= 'a' && c <= 'z') ? c - 'a' + 'A' : c);
    static const char* const kNames[] = {"UTF-8",      "UTF8",        "US-ASCII", "ASCII",
                                         "ISO-8859-1", "ISO-LATIN-1", "LATIN1"};
    return std::find(std::begin(kNames), std::end(kNames), name) != std::end(kNames);
}

struct Attribute {
    std::size_t begin;     // of the blanks before it
    std::size_t nameBegin; // of its name
    std::size_t nameEnd;
    std::size_t valueBegin; // its opening quote
    std::size_t end;        // after its closing quote
};

// Reads the attributes of the start tag `tag` ('<' to '>'): `nameEnd` after
// the element's name, `tail` at the blanks before the closing "/>" or ">".
// False for a tag that is not written the plain way this reads.
bool readAttributes(std::string_view tag, std::size_t& nameEnd, std::size_t& tail,
                    std::vector<Attribute>& attributes) {
    std::size_t at = 1;
    while (at < tag.size() && !isSpace(tag[at]) && tag[at] != '>' && tag[at] != '/')
        ++at;
    nameEnd = at;
    if (nameEnd == 1)
        return false;
    for (;;) {
        const std::size_t blanks = at;
        at = skipSpaces(tag, at);
        if (at >= tag.size())
            return false;
        if (tag[at] == '>' || (tag[at] == '/' && at + 1 < tag.size() && tag[at + 1] == '>')) {
            tail = blanks;
            return true;
        }
        if (at == blanks)
            return false; // attributes must be separated by blanks
        const std::size_t nameBegin = at;
        while (at < tag.size() && !isSpace(tag[at]) && tag[at] != '=' && tag[at] != '>' &&
               tag[at] != '/')
            ++at;
        const std::size_t attributeNameEnd = at;
        at = skipSpaces(tag, at);
        if (attributeNameEnd == nameBegin || at >= tag.size() || tag[at] != '=')
            return false;
        at = skipSpaces(tag, at + 1);
        const std::size_t valueEnd = skipLiteral(tag, at);
        if (valueEnd == kNotFound)
            return false;
        attributes.push_back({blanks, nameBegin, attributeNameEnd, at, valueEnd});
        at = valueEnd;
    }
}

std::string_view nameOf(std::string_view tag, const Attribute& attribute) {
    return tag.substr(attribute.nameBegin, attribute.nameEnd - attribute.nameBegin);
}

std::string_view valueOf(std::string_view tag, const Attribute& attribute) {
    return tag.substr(attribute.valueBegin + 1, attribute.end - attribute.valueBegin - 2);
}

// The prefix P of an attribute named "P:keep" with P a plain name; empty for
// any other name.
std::string_view keepPrefix(std::string_view name, std::string_view keep) {
    if (name.size() <= keep.size() + 1 || name.substr(name.size() - keep.size()) != keep ||
        name[name.size() - keep.size() - 1] != ':')
        return {};
    const std::string_view prefix = name.substr(0, name.size() - keep.size() - 1);
    return isPlainName(prefix) ? prefix : std::string_view();
}

// The prefix P of a declaration xmlns:P="URI" that surely binds P for the
// element and everything in it: P a plain name, the URI plain, not empty and
// not one of the two URIs that no prefix may be bound to. Empty for any other
// attribute.
std::string_view boundPrefix(std::string_view tag, const Attribute& attribute) {
    const std::string_view name = nameOf(tag, attribute), value = valueOf(tag, attribute);
    if (!startsWith(name, 0, "xmlns:") || value.empty() || !isPlainValue(value) ||
        value.find_first_of("\t\n\r") != kNotFound ||
        value == "http://www.w3.org/XML/1998/namespace" || value == "http://www.w3.org/2000/xmlns/")
        return {};
    const std::string_view prefix = name.substr(6);
    return isPlainName(prefix) ? prefix : std::string_view();
}

} // namespace

// The start tag `tag` ('<' to '>') as it goes to the parser: plain attributes
// other than `keep` go, and so do the declarations that surely bind a prefix,
// except those of the tag's own "P:keep" attributes. A dropped declaration is
// remembered while its element is open (`scoped`: the tag is not an empty
// element).
std::string XmlThinner::thinStartTag(std::string_view tag, bool scoped) {
    std::size_t nameEnd = 0, tail = 0;
    std::vector<Attribute> attributes;
    if (!readAttributes(tag, nameEnd, tail, attributes) || attributes.size() <= kFew)
        return std::string(tag);

    std::unordered_set<std::string_view> names, keptPrefixes;
    names.reserve(attributes.size());
    for (const Attribute& attribute : attributes) {
        const std::string_view name = nameOf(tag, attribute);
        keptPrefixes.insert(keepPrefix(name, mKeep));
        if (names.insert(name).second)
            continue;
        // libxml2 lets some repeated namespace declarations pass.
        if (startsWith(name, 0, "xmlns"))
            return std::string(tag);
        // A repeated attribute is fatal: a tag that holds it twice fails the
        // parse as the whole tag would.
        const std::string_view text = tag.substr(attribute.begin, attribute.end - attribute.begin);
        return std::string(tag.substr(0, nameEnd)) + std::string(text) + std::string(text) +
               std::string(tag.substr(tail));
    }
    std::string thinned(tag.substr(0, nameEnd));
    for (const Attribute& attribute : attributes) {
        const std::string_view name = nameOf(tag, attribute);
        const std::string_view prefix = mKeepDeclarations ? "" : boundPrefix(tag, attribute);
        if (!prefix.empty() && keptPrefixes.count(prefix) == 0) {
            if (scoped) {
                mDroppedScopes.push_back({mDepth + 1, std::string(prefix)});
                ++mDroppedCount[std::string(prefix)];
            }
            continue;
        }
        if (!isPlainName(name) || name == mKeep || !isPlainValue(valueOf(tag, attribute)))
            thinned.append(tag.substr(attribute.begin, attribute.end - attribute.begin));
    }
    thinned.append(tag.substr(tail));
    return thinned;
}

// The start tag `tag` with each "P:keep" attribute whose P is bound by a
// dropped declaration renamed to a prefix of its own that the tag binds: the
// parse then names it `keep` as it would have, whatever the tag itself
// declares for P.
std::string XmlThinner::bindKeepPrefixes(std::string_view tag) const {
    std::size_t nameEnd = 0, tail = 0;
    std::vector<Attribute> attributes;
    if (!readAttributes(tag, nameEnd, tail, attributes))
        return std::string(tag);
    std::unordered_set<std::string_view> used; // prefixes of the tag's names and declarations
    for (const Attribute& attribute : attributes) {
        const std::string_view name = nameOf(tag, attribute);
        used.insert(startsWith(name, 0, "xmlns:") ? name.substr(6)
                                                  : name.substr(0, name.find(':')));
    }
    std::unordered_map<std::string_view, std::string> renamed;
    std::string declarations;
    std::size_t next = 0;
    for (const Attribute& attribute : attributes) {
        const std::string_view prefix = keepPrefix(nameOf(tag, attribute), mKeep);
        if (prefix.empty() || mDroppedCount.count(std::string(prefix)) == 0 ||
            renamed.count(prefix) != 0)
            continue;
        std::string fresh;
        do
            fresh = "k" + std::to_string(next++);
        while (used.count(fresh) != 0);
        declarations += " xmlns:" + fresh + "=\"urn:k\"";
        renamed.emplace(prefix, fresh);
    }
    if (renamed.empty())
        return std::string(tag);
    std::string result(tag.substr(0, nameEnd));
    result += declarations;
    std::size_t copied = nameEnd;
    for (const Attribute& attribute : attributes) {
        const auto fresh = renamed.find(keepPrefix(nameOf(tag, attribute), mKeep));
        if (fresh == renamed.end())
            continue;
        result.append(tag.substr(copied, attribute.nameBegin - copied));
        result += fresh->second;
        copied = attribute.nameBegin + fresh->first.size();
    }
    result.append(tag.substr(copied));
    return result;
}

void XmlThinner::closeElement() {
    if (mDepth > 0)
        --mDepth;
    while (!mDroppedScopes.empty() && mDroppedScopes.back().depth > mDepth) {
        const auto count = mDroppedCount.find(mDroppedScopes.back().prefix);
        if (--count->second == 0)
            mDroppedCount.erase(count);
        mDroppedScopes.pop_back();
    }
}

namespace {

// The default value spans of one attribute list declaration ("<!ATTLIST" to
// '>') that are plain, with the attribute's name plain or prefixed by no
// "xmlns"; an empty list when the declaration is not read to its end.
struct DefaultSpan {
    std::size_t begin;
    std::size_t end;
};

std::vector<DefaultSpan> plainDefaults(std::string_view declaration) {
    std::vector<DefaultSpan> spans;
    static const char* const kTypes[] = {"CDATA",  "ID",       "IDREF",   "IDREFS",
                                         "ENTITY", "ENTITIES", "NMTOKEN", "NMTOKENS"};
    std::size_t at = std::strlen("<!ATTLIST");
    if (at >= declaration.size() || !isSpace(declaration[at]))
        return {};
    at = skipSpaces(declaration, at);
    while (at < declaration.size() && !isSpace(declaration[at]) && declaration[at] != '>')
        ++at;
    for (;;) {
        const std::size_t blanks = at;
        at = skipSpaces(declaration, at);
        if (at >= declaration.size())
            return {};
        if (declaration[at] == '>')
            return spans;
        if (at == blanks)
            return {};
        const std::size_t nameBegin = at;
        while (at < declaration.size() && !isSpace(declaration[at]) && declaration[at] != '>')
            ++at;
        const std::string_view name = declaration.substr(nameBegin, at - nameBegin);
        std::size_t typeAt = skipSpaces(declaration, at);
        if (typeAt == at || typeAt >= declaration.size())
            return {};
        if (startsWith(declaration, typeAt, "NOTATION")) {
            at = skipSpaces(declaration, typeAt + 8);
            if (at == typeAt + 8)
                return {};
            typeAt = at;
        }
        if (declaration[typeAt] == '(') {
            const std::size_t close = declaration.find(')', typeAt);
            if (close == kNotFound)
                return {};
            at = close + 1;
        } else {
            at = typeAt;
            while (at < declaration.size() && klx::platform::isAsciiLetter(declaration[at]))
                ++at;
            const std::string_view type = declaration.substr(typeAt, at - typeAt);
            if (std::find(std::begin(kTypes), std::end(kTypes), type) == std::end(kTypes))
                return {};
        }
        const std::size_t defaultAt = skipSpaces(declaration, at);
        if (defaultAt == at || defaultAt >= declaration.size())
            return {};
        at = defaultAt;
        if (startsWith(declaration, at, "#REQUIRED")) {
            at += 9;
            continue;
        }
        if (startsWith(declaration, at, "#IMPLIED")) {
            at += 8;
            continue;
        }
        if (startsWith(declaration, at, "#FIXED")) {
            at = skipSpaces(declaration, at + 6);
            if (at == defaultAt + 6)
                return {};
        }
        const std::size_t valueEnd = skipLiteral(declaration, at);
        if (valueEnd == kNotFound)
            return {};
        const std::string_view value = declaration.substr(at + 1, valueEnd - at - 2);
        if (name.find(':') == kNotFound && name != "xmlns" && isPlainValue(value))
            spans.push_back({defaultAt, valueEnd});
        at = valueEnd;
    }
}

// Whether a document type may give elements "P:keep" attributes that their
// start tags do not show: it names `keep` (a default), or an entity's value
// may hold markup (a '<', or a character reference that may be one).
bool mayHideKeepAttributes(std::string_view declaration, std::string_view keep) {
    if (declaration.find(keep) != kNotFound)
        return true;
    for (std::size_t at = declaration.find("<!ENTITY"); at != kNotFound;
         at = declaration.find("<!ENTITY", at)) {
        std::size_t scan = at + 8;
        while (scan < declaration.size() && declaration[scan] != '>') {
            const std::size_t literalEnd = skipLiteral(declaration, scan);
            if (literalEnd == kNotFound) {
                ++scan;
                continue;
            }
            const std::string_view value = declaration.substr(scan, literalEnd - scan);
            if (value.find('<') != kNotFound || value.find("&#") != kNotFound)
                return true;
            scan = literalEnd;
        }
        if (scan >= declaration.size())
            return true;
        at = scan;
    }
    return false;
}

} // namespace

XmlThinner::XmlThinner(FileBytes& source, const std::string& keep)
    : mSource(source), mKeep(keep), mPrefixedKeep(":" + keep) {}

int XmlThinner::readCallback(void* context, char* buffer, int size) {
    return static_cast<XmlThinner*>(context)->read(buffer, size);
}

int XmlThinner::closeCallback(void*) {
    return 0;
}

int XmlThinner::read(char* buffer, int size) {
    if (size <= 0)
        return 0;
    const std::size_t wanted = static_cast<std::size_t>(size);
    while (mOut.size() - mOutAt < wanted) {
        if (mFailed)
            return -1;
        if (step())
            continue;
        if (mEnded) {
            // Nothing more can be decided: the rest goes as it is.
            emit(mIn.size() - mAt);
            break;
        }
        pull();
    }
    const std::size_t count = std::min(wanted, mOut.size() - mOutAt);
    std::memcpy(buffer, mOut.data() + mOutAt, count);
    mOutAt += count;
    if (mOutAt == mOut.size()) {
        mOut.clear();
        mOutAt = 0;
    } else if (mOutAt >= kPull) {
        mOut.erase(0, mOutAt);
        mOutAt = 0;
    }
    return static_cast<int>(count);
}

bool XmlThinner::pull() {
    if (mAt > 0 && mAt * 2 >= mIn.size()) {
        mIn.erase(0, mAt);
        mAt = 0;
    }
    const std::size_t had = mIn.size();
    mIn.resize(had + kPull);
    const int got = mSource.read(&mIn[had], static_cast<int>(kPull));
    mIn.resize(had + (got > 0 ? static_cast<std::size_t>(got) : 0));
    if (got < 0)
        mFailed = true;
    if (got <= 0)
        mEnded = true;
    return got > 0;
}

void XmlThinner::emit(std::size_t count) {
    mOut.append(mIn, mAt, count);
    mAt += count;
}

bool XmlThinner::unfinished(std::size_t have) {
    if (mEnded || have > kMaxConstruct) {
        passRest();
        return true;
    }
    mRetryAt = have * 2;
    return false;
}

void XmlThinner::passRest() {
    mState = State::Raw;
    emit(mIn.size() - mAt);
}

bool XmlThinner::step() {
    const std::size_t available = mIn.size() - mAt;
    if (available == 0 || (available < mRetryAt && !mEnded))
        return false;
    switch (mState) {
    case State::Start:
        return startDocument();
    case State::Raw:
        passRest();
        return true;
    case State::Comment:
        return through("-->");
    case State::Instruction:
        return through("?>");
    case State::CData:
        return through("]]>");
    case State::Text:
        break;
    }
    const std::size_t open = mIn.find('<', mAt);
    if (open == std::string::npos) {
        emit(available);
        return true;
    }
    if (open > mAt) {
        emit(open - mAt);
        return true;
    }
    return markup();
}

bool XmlThinner::startDocument() {
    const std::string_view in(mIn.data() + mAt, mIn.size() - mAt);
    if (in.size() < 4 && !mEnded)
        return false;
    const std::size_t bom = startsWith(in, 0, "\xEF\xBB\xBF") ? 3 : 0;
    // UTF-16, UCS-4 and EBCDIC: a zero byte or their marks at the start.
    const std::string_view head = in.substr(bom, 4);
    if (head.find('\0') != kNotFound || startsWith(head, 0, "\xFE\xFF") ||
        startsWith(head, 0, "\xFF\xFE") || head == "\x4C\x6F\xA7\x94") {
        passRest();
        return true;
    }
    if (startsWith(in, bom, "<?xml")) {
        const std::size_t end = in.find("?>", bom);
        if (end == kNotFound || end > bom + 1024) {
            if (end == kNotFound && in.size() < bom + 1024 && !mEnded)
                return false;
            passRest();
            return true;
        }
        const std::string_view declaration = in.substr(bom, end - bom);
        const std::size_t encoding = declaration.find("encoding");
        if (encoding != kNotFound) {
            std::size_t at = skipSpaces(declaration, encoding + 8);
            if (at < declaration.size() && declaration[at] == '=')
                at = skipSpaces(declaration, at + 1);
            const std::size_t close = skipLiteral(declaration, at);
            if (close == kNotFound || at == encoding + 8 ||
                !isAsciiEncoding(std::string(declaration.substr(at + 1, close - at - 2)))) {
                passRest();
                return true;
            }
        }
    }
    mState = State::Text;
    return true;
}

bool XmlThinner::through(const char* terminator) {
    const std::size_t length = std::strlen(terminator);
    const std::size_t end = mIn.find(terminator, mAt, length);
    if (end != std::string::npos) {
        emit(end + length - mAt);
        mState = State::Text;
        return true;
    }
    // The terminator may begin in what has not been read yet.
    const std::size_t available = mIn.size() - mAt;
    if (available < length)
        return false;
    emit(available - (length - 1));
    return true;
}

bool XmlThinner::markup() {
    const std::string_view in(mIn.data() + mAt, mIn.size() - mAt);
    if (in.size() < 2)
        return mEnded ? startTag() : false;
    if (in[1] == '/') {
        closeElement();
        emit(2); // an end tag: the text up to the next '<' is its rest
        return true;
    }
    if (in[1] == '?') {
        emit(2);
        mState = State::Instruction;
        return true;
    }
    if (in[1] != '!')
        return startTag();
    struct Opening {
        std::string_view text;
        State state;
    };
    static const Opening kOpenings[] = {{"<!--", State::Comment}, {"<![CDATA[", State::CData}};
    for (const Opening& opening : kOpenings) {
        if (startsWith(in, 0, opening.text)) {
            emit(opening.text.size());
            mState = opening.state;
            return true;
        }
    }
    if (startsWith(in, 0, "<!DOCTYPE"))
        return doctype();
    // Not decided before the opening can be told whole.
    if (in.size() < 9 && !mEnded)
        return false;
    passRest();
    return true;
}

bool XmlThinner::startTag() {
    const std::string_view in(mIn.data() + mAt, mIn.size() - mAt);
    // The tag ends at the first '>' outside quoted values; its quoted values
    // tell at most how many attributes it has.
    char quote = 0;
    std::size_t end = 1, values = 0;
    for (; end < in.size(); ++end) {
        const char c = in[end];
        if (quote != 0) {
            if (c == quote)
                quote = 0;
        } else if (c == '"' || c == '\'') {
            quote = c;
            ++values;
        } else if (c == '>' || c == '<') {
            break;
        }
    }
    if (end == in.size()) {
        // While dropped declarations are in force every tag is read whole,
        // however long: its "P:keep" attributes may need their prefix bound.
        if (!mDroppedCount.empty() && !mEnded) {
            mRetryAt = in.size() * 2;
            return false;
        }
        return unfinished(in.size());
    }
    mRetryAt = 0;
    const std::string_view tag = in.substr(0, end + 1);
    const bool scoped = in[end] == '>' && in[end - 1] != '/';
    const bool renaming =
        !mDroppedCount.empty() && in[end] == '>' && tag.find(mPrefixedKeep) != kNotFound;
    // A tag too long to thin keeps its length, which may decide the parse.
    const bool thinning = values > kFew && end <= kMaxConstruct;
    if (in[end] == '<' || (!thinning && !renaming)) {
        // Passed as it is; a tag cut by '<' does not parse, and the parser
        // tells where it fails.
        emit(in[end] == '<' ? end : end + 1);
    } else {
        if (!renaming) {
            mOut.append(thinStartTag(tag, scoped));
        } else {
            const std::string named = bindKeepPrefixes(tag);
            mOut.append(thinning ? thinStartTag(named, scoped) : named);
        }
        mAt += end + 1;
    }
    if (scoped)
        ++mDepth;
    return true;
}

bool XmlThinner::doctype() {
    const std::string_view in(mIn.data() + mAt, mIn.size() - mAt);
    std::vector<std::size_t> lists; // where the attribute list declarations begin
    std::vector<std::size_t> listEnds;
    std::size_t at = 9, end = kNotFound;
    bool understood = true;
    // The name and external identifier, up to the internal subset or the end.
    while (at < in.size() && end == kNotFound) {
        const char c = in[at];
        if (c == '"' || c == '\'') {
            at = skipLiteral(in, at);
            if (at == kNotFound)
                at = in.size();
        } else if (c == '>') {
            end = at;
        } else if (c == '[') {
            ++at;
            break;
        } else {
            ++at;
        }
    }
    // The internal subset: declarations, comments, processing instructions
    // and parameter entity references, up to ']' and '>'.
    while (end == kNotFound && understood && at < in.size()) {
        at = skipSpaces(in, at);
        if (at >= in.size())
            break;
        std::size_t next = kNotFound;
        if (in[at] == ']') {
            const std::size_t close = skipSpaces(in, at + 1);
            if (close >= in.size())
                break;
            understood = in[close] == '>';
            end = close;
            break;
        } else if (startsWith(in, at, "<!--")) {
            next = in.find("-->", at + 4);
            next = next == kNotFound ? kNotFound : next + 3;
        } else if (startsWith(in, at, "<?")) {
            next = in.find("?>", at + 2);
            next = next == kNotFound ? kNotFound : next + 2;
        } else if (in[at] == '%') {
            next = in.find(';', at);
            next = next == kNotFound ? kNotFound : next + 1;
        } else if (startsWith(in, at, "<!") && !startsWith(in, at, "<![")) {
            std::size_t scan = at + 2;
            while (scan < in.size() && in[scan] != '>') {
                if (in[scan] == '"' || in[scan] == '\'') {
                    scan = skipLiteral(in, scan);
                    if (scan == kNotFound)
                        scan = in.size();
                } else {
                    ++scan;
                }
            }
            if (scan < in.size()) {
                next = scan + 1;
                if (startsWith(in, at, "<!ATTLIST")) {
                    lists.push_back(at);
                    listEnds.push_back(next);
                }
            }
        } else if (in.size() - at >= 4) {
            understood = false;
            break;
        }
        if (next == kNotFound)
            break;
        at = next;
    }
    if (!understood) {
        passRest();
        return true;
    }
    if (end == kNotFound)
        return unfinished(in.size());
    mRetryAt = 0;
    // Defaults and entities can give elements "P:keep" attributes that no
    // start tag shows: declarations of prefixes then all stay.
    mKeepDeclarations = mayHideKeepAttributes(in.substr(0, end + 1), mKeep);

    std::vector<std::vector<DefaultSpan>> spans;
    std::size_t plain = 0;
    for (std::size_t i = 0; i < lists.size(); ++i) {
        spans.push_back(plainDefaults(in.substr(lists[i], listEnds[i] - lists[i])));
        plain += spans.back().size();
    }
    if (plain <= kFew) {
        emit(end + 1);
        return true;
    }
    // Plain default values become #IMPLIED: the parsed document does not hold
    // default attributes, and their types, which decide how values are
    // normalized, stay.
    std::string thinned;
    std::size_t copied = 0;
    for (std::size_t i = 0; i < lists.size(); ++i) {
        for (const DefaultSpan& span : spans[i]) {
            thinned.append(in.substr(copied, lists[i] + span.begin - copied));
            thinned.append("#IMPLIED");
            copied = lists[i] + span.end;
        }
    }
    thinned.append(in.substr(copied, end + 1 - copied));
    mOut.append(thinned);
    mAt += end + 1;
    return true;
}

} // namespace xml
} // namespace klx
