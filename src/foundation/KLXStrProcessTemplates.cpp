// Template operations: the flag-driven search and the count, remove and
// replace operations built on it.
#include "KLXStrProcess.h"

#include "TemplateSearch.h"

using klx::templates::kNoPos;
using klx::templates::TemplateSearch;

namespace {

unsigned int toResult(std::size_t at) {
    return at == kNoPos ? KLXStrProcess::npos : static_cast<unsigned int>(at);
}

} // namespace

unsigned int KLXStrProcess::findTemplate(std::string& text, std::string& pattern, int flags) {
    return toResult(TemplateSearch(text, pattern, flags).find());
}

int KLXStrProcess::countTemplate(std::string& text, std::string& pattern) {
    // An empty pattern occurs nowhere, as in the other template operations.
    if (pattern.empty())
        return 0;
    // Searching on from the end of each match is the same as cutting the
    // matched prefix off a copy and searching again, without the copies.
    const TemplateSearch search(text, pattern, KLX_TEMPLATE_ANYWHERE);
    int count = 0;
    std::size_t at = search.nextNoCase(0);
    while (at != kNoPos) {
        ++count;
        at = search.nextNoCase(at + pattern.size());
    }
    return count;
}

bool KLXStrProcess::replaceTemplate(std::string& text, std::string& pattern, std::string& separator,
                                    std::string& replacement, int start) {
    return processTemplate(text, pattern, separator, replacement, start, false, 0);
}

bool KLXStrProcess::removeTemplate(std::string& text, std::string& pattern, std::string& separator,
                                   int start) {
    return removeTemplate(text, pattern, separator, start, 0);
}

bool KLXStrProcess::removeTemplate(std::string& text, std::string& pattern, std::string& separator,
                                   int start, int flags) {
    std::string nothing;
    return processTemplate(text, pattern, separator, nothing, start, true, flags);
}
