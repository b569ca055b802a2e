// The remove and replace operations: replace a match, search the whole text
// again, until nothing matches.
//
// Rewrites can take many steps ("ab" -> "ba" sorts the text, one swap a
// step), so a step searches only where the last replacement can have made or
// unmade a match instead of from the start. Some rewrites never end, and the
// operation must end all the same:
// - a replacement that holds a match of its own is found again after every
//   step: it is made once per occurrence, in one pass. Ignoring case, the
//   comparison stops at a NUL that both sides hold, so a pattern with a NUL
//   matches wherever its bytes up to that NUL lie; a replacement that holds
//   those bytes plants a match at every step, and such rewrites can count in
//   binary through exponentially many texts;
// - any other rewrite that does not lengthen the text comes back to a text
//   that it produced before (there are finitely many texts of a length), or
//   ends: it stops at the first text that comes back;
// - a rewrite that lengthens the text ("ab" -> "bba" doubles the b's for
//   every a) stops once the text is four times longer than replacing every
//   occurrence once would make it.
#include "KLXStrProcess.h"

#include "TemplateSearch.h"

#include <cstdint>
#include <limits>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

using klx::templates::kNoPos;
using klx::templates::TemplateSearch;

namespace {

struct Span {
    std::size_t start;
    std::size_t length;
};

// The list item around the match at `at`: with the separator before it, or
// with the one after it when it is the first item.
Span itemAround(const std::string& text, std::size_t at, const std::string& separator) {
    std::size_t before = text.rfind(separator, at);
    if (before == std::string::npos)
        before = 0;
    std::size_t after = text.find(separator, at);
    if (after == std::string::npos)
        after = text.size();
    if (before != 0)
        return {before, after - before};
    return {0, std::min(after + separator.size(), text.size())};
}

// Powers of the text hash's base, grown on demand and shared by the rewrites
// of one operation.
class HashPowers {
public:
    std::uint64_t at(std::size_t i) {
        if (mPowers.empty())
            mPowers.push_back(1);
        while (mPowers.size() <= i)
            mPowers.push_back(mPowers.back() * kBase);
        return mPowers[i];
    }
    static constexpr std::uint64_t kBase = 0x100000001B3ull;

private:
    std::vector<std::uint64_t> mPowers;
};

// One text under rewriting: replaces the match that the operation's search
// finds, keeps a hash of the text for the repeat check, and remembers where
// the next search has to start.
class TemplateRewrite {
public:
    static constexpr std::size_t kHashedLength = 256;

    TemplateRewrite(std::string text, const std::string& pattern, const std::string& separator,
                    const std::string& replacement, bool wholeItem, int searchFlags,
                    HashPowers& powers)
        : mText(std::move(text)), mPattern(pattern), mSeparator(separator),
          mReplacement(replacement), mWholeItem(wholeItem), mFlags(searchFlags), mPowers(powers) {
        const TemplateSearch search(mText, mPattern, mFlags);
        mBackward = search.backward;
        mWholeWord = search.wholeWord;
        mFrom = search.initialStart();
    }

    const std::string& text() const { return mText; }
    // The hash is computed when first asked for after a change of length,
    // so that rewrites that shrink the text do not hash it at every step.
    std::uint64_t hash() {
        if (!mHashed) {
            mHash = hashOf(mText, mPowers);
            mHashed = true;
        }
        return mHash;
    }
    // Takes the other rewrite's text, to compare later texts with it.
    void takeTextOf(const TemplateRewrite& other) {
        mText = other.mText;
        mHash = other.mHash;
        mHashed = other.mHashed;
    }
    // Whether the text equals the other rewrite's. Short texts are compared
    // at once; long ones only when their hashes agree.
    bool sameText(TemplateRewrite& other) {
        if (other.mText.size() != mText.size())
            return false;
        if (mText.size() > kHashedLength && other.hash() != hash())
            return false;
        return other.mText == mText;
    }

    // Replaces the next match; false when nothing matches.
    bool step() {
        if (mExhausted)
            return false;
        const TemplateSearch search(mText, mPattern, mFlags);
        std::size_t start = mFrom;
        if (mWholeWord)
            start = chainResume();
        mDropped.clear();
        const std::size_t at = search.findFrom(start, mWholeWord ? &mDropped : nullptr);
        if (at == kNoPos) {
            mExhausted = true;
            return false;
        }
        const std::size_t oldLength = mText.size();
        for (std::size_t dropped : mDropped)
            mChain.push_back(mBackward ? oldLength - dropped : dropped);

        const Span span =
            mWholeItem ? itemAround(mText, at, mSeparator) : Span{at, mPattern.size()};
        replaceSpan(span.start, span.length);
        planNextSearch(at, span.start, span.length, oldLength);
        return true;
    }

    // The hash of a text: the sum of byte * base^index.
    static std::uint64_t hashOf(const std::string& text, HashPowers& powers) {
        std::uint64_t hash = 0;
        for (std::size_t i = 0; i < text.size(); ++i)
            hash += static_cast<unsigned char>(text[i]) * powers.at(i);
        return hash;
    }

private:
    void replaceSpan(std::size_t at, std::size_t length) {
        if (length == mReplacement.size() && mHashed) {
            // Same length: the hash follows the changed bytes alone.
            for (std::size_t i = 0; i < length; ++i) {
                const std::uint64_t weight = mPowers.at(at + i);
                mHash -= static_cast<unsigned char>(mText[at + i]) * weight;
                mHash += static_cast<unsigned char>(mReplacement[i]) * weight;
            }
            mText.replace(at, length, mReplacement);
            return;
        }
        mText.replace(at, length, mReplacement);
        mHashed = false;
    }

    // Where a match can be after the span [at, at + length) of a text of
    // `oldLength` bytes became the replacement. The last search found no
    // match before (forward) or after (backward) the one at `match`, and the
    // text outside the span did not change. The span holds the start of the
    // match, except for an item removal whose pattern holds the separator,
    // whose span may end before the match.
    void planNextSearch(std::size_t match, std::size_t at, std::size_t length,
                        std::size_t oldLength) {
        const std::size_t m = mPattern.size(), n = mText.size(), r = mReplacement.size();
        if (mWholeWord) {
            // The candidates that the whole-word test dropped stay dropped,
            // and the search goes on after them, while neither the text they
            // and their neighbours lie in nor the rule that lets the search go
            // on after them changed. Forward the chain holds positions,
            // backward distances from the end.
            while (!mChain.empty()) {
                const std::size_t c = mChain.back();
                const bool kept = mBackward ? oldLength - c > at + length && n - c > 1
                                            : c + m < at && c + 2 * m < n;
                if (kept)
                    break;
                mChain.pop_back();
            }
            return;
        }
        if (!mBackward) {
            // A match that ends before the span lay there before.
            mFrom = at >= m - 1 ? at - (m - 1) : 0;
        } else if (match >= at + length) {
            // The match itself is still there, moved with the text after the
            // span; nothing after it matched.
            mFrom = match + r - length;
        } else if (at + r == 0) {
            // The text is what followed the span, where nothing matched.
            mExhausted = true;
        } else {
            // A match that begins after the replacement lay there before.
            mFrom = at + r - 1;
        }
    }

    std::size_t chainResume() const {
        if (mChain.empty())
            return mBackward ? mText.size() : 0;
        const std::size_t c = mChain.back();
        return mBackward ? mText.size() - c - 1 : c + mPattern.size();
    }

    std::string mText;
    const std::string& mPattern;
    const std::string& mSeparator;
    const std::string& mReplacement;
    bool mWholeItem;
    int mFlags;
    HashPowers& mPowers;
    bool mBackward = false;
    bool mWholeWord = false;
    bool mExhausted = false;
    std::size_t mFrom = 0;
    std::vector<std::size_t> mChain;
    std::vector<std::size_t> mDropped;
    std::uint64_t mHash = 0;
    bool mHashed = false;
};

// Whether the replacement holds a match that its own bytes decide, whatever
// lies around it: `compared`, the part of the pattern that the comparison
// reads, lies in it.
bool holdsMatchOfItsOwn(const std::string& replacement, std::string_view compared,
                        const TemplateSearch& search) {
    TemplateSearch inReplacement = search;
    inReplacement.text = replacement;
    inReplacement.pattern = compared;
    inReplacement.wholeWord = false;
    return inReplacement.find() != kNoPos;
}

// Replaces every match in one pass, going on after each replacement: for a
// replacement that holds the pattern, which would be found again for ever.
bool replaceEachOnce(std::string& copy, const std::string& pattern, const std::string& separator,
                     const std::string& replacement, bool wholeItem, int searchFlags) {
    const std::size_t m = pattern.size();
    const bool backward = (searchFlags & KLX_TEMPLATE_DIRECTION_MASK) != 0;
    std::size_t resume = backward ? copy.size() : 0;
    bool replaced = false;
    for (;;) {
        const std::size_t at = TemplateSearch(copy, pattern, searchFlags).findFrom(resume);
        if (at == kNoPos)
            break;
        const Span span = wholeItem ? itemAround(copy, at, separator) : Span{at, m};
        copy.replace(span.start, span.length, replacement);
        replaced = true;
        if (!backward) {
            resume = span.start + replacement.size();
        } else {
            // Only occurrences that end before the inserted text.
            if (span.start < m)
                break;
            resume = span.start - m;
        }
    }
    return replaced;
}

} // namespace

bool KLXStrProcess::processTemplate(std::string& text, std::string& pattern, std::string& separator,
                                    std::string& replacement, int start, bool wholeItem,
                                    int flags) {
    if ((wholeItem && separator.empty()) || pattern.empty())
        return false;
    // The first `start` characters take no part; a start outside the text
    // leaves nothing to search.
    if (start < 0 || static_cast<std::size_t>(start) >= text.size())
        return false;
    std::string copy = text.substr(static_cast<std::size_t>(start));

    // The position is forced to anywhere; a caller's at-end becomes 3, which
    // never matches.
    const int searchFlags = flags | KLX_TEMPLATE_ANYWHERE;
    if ((searchFlags & KLX_TEMPLATE_POSITION_MASK) != KLX_TEMPLATE_ANYWHERE)
        return false;
    const unsigned limit =
        static_cast<unsigned>(flags & KLX_TEMPLATE_MAX_COUNT_MASK) / KLX_TEMPLATE_MAX_COUNT_UNIT;

    // Without the whole-word test every occurrence is a candidate, so an
    // occurrence inside each replacement keeps the rewrite going for ever.
    // With it a literal occurrence can be refused by its neighbours, and the
    // rewrite ends or repeats like any other; one that stops at a NUL still
    // plants a match at every step.
    const TemplateSearch search(copy, pattern, searchFlags);
    const std::size_t nul = search.exactCase ? std::string::npos : pattern.find('\0');
    const bool stopsAtNul = nul != std::string::npos;
    const std::string_view compared =
        std::string_view(pattern).substr(0, stopsAtNul ? nul + 1 : pattern.size());
    if (limit == 0 && (!search.wholeWord || stopsAtNul) &&
        holdsMatchOfItsOwn(replacement, compared, search)) {
        if (!replaceEachOnce(copy, pattern, separator, replacement, wholeItem, searchFlags))
            return false;
        text.replace(static_cast<std::size_t>(start), std::string::npos, copy);
        return true;
    }

    // The text becomes its first `start` characters and what the copy became.
    auto finish = [&text, start](const std::string& rewritten) {
        text.replace(static_cast<std::size_t>(start), std::string::npos, rewritten);
        return true;
    };
    const std::size_t n = copy.size(), m = pattern.size();
    HashPowers powers;
    TemplateRewrite rewrite(std::move(copy), pattern, separator, replacement, wholeItem,
                            searchFlags, powers);
    if (!rewrite.step())
        return false;

    if (limit != 0) {
        for (unsigned made = 1; made < limit && rewrite.step(); ++made) {
        }
        return finish(rewrite.text());
    }

    const std::size_t onceEach = (n / m + 1) * replacement.size() + n;
    const std::size_t maxLength = onceEach > (std::numeric_limits<std::size_t>::max() - 64) / 4
                                      ? std::numeric_limits<std::size_t>::max()
                                      : 4 * onceEach + 64;
    // Most rewrites end within a step per byte: only after that is the
    // search for a repeat worth its copies. It may start anywhere in the
    // sequence of texts, and the first text that comes back is found from
    // the start in any case.
    for (std::size_t free = n; free > 0; --free) {
        if (!rewrite.step())
            return finish(rewrite.text());
    }
    TemplateRewrite tortoise(rewrite.text(), pattern, separator, replacement, wholeItem,
                             searchFlags, powers);
    if (!rewrite.step())
        return finish(rewrite.text());
    // Brent's cycle search over the texts: the hare rewrites, the tortoise is
    // the text at the last power of two of steps; when they meet, the texts
    // repeat with period `period`.
    std::size_t power = 1, period = 1;
    bool repeats = false;
    for (;;) {
        if (rewrite.sameText(tortoise)) {
            repeats = true;
            break;
        }
        if (power == period) {
            tortoise.takeTextOf(rewrite);
            power *= 2;
            period = 0;
        }
        if (rewrite.text().size() > maxLength)
            break;
        if (!rewrite.step())
            break;
        ++period;
    }

    if (!repeats)
        return finish(rewrite.text());
    // The first text that comes back: step a second rewrite `period` texts
    // ahead of a first, then both until they meet.
    const std::string original = text.substr(static_cast<std::size_t>(start));
    TemplateRewrite first(original, pattern, separator, replacement, wholeItem, searchFlags,
                          powers);
    TemplateRewrite ahead(original, pattern, separator, replacement, wholeItem, searchFlags,
                          powers);
    for (std::size_t i = 0; i < period; ++i)
        ahead.step();
    while (!ahead.sameText(first)) {
        first.step();
        ahead.step();
    }
    return finish(first.text());
}
