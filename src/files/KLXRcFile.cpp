#include "KLXRcFile.h"

#include "KLXStrProcess.h"

namespace {
const char kQuote = '"';
}

KLXRcFile::KLXRcFile(std::string& path, int mode) : KLXTextFile(path, KLX_TEXT_FILE_UNX, mode) {}

std::string& KLXRcFile::getValue(std::string& name) {
    static std::string value;
    // The result is emptied before the name is looked up: a caller that
    // passes the previous result back in as the name looks up the empty name.
    value.clear();
    int index = getVariableDefinitionLine(name);
    std::size_t templateLength = getVariableDefinitionTemplate(name).size();
    if (index < 0)
        return value;
    value.assign(mLines[index], templateLength, std::string::npos);
    if (!value.empty() && value.front() == kQuote)
        value.erase(0, 1);
    if (!value.empty() && value.back() == kQuote)
        value.pop_back();
    return value;
}

void KLXRcFile::setValue(std::string& name, std::string& value) {
    std::string line = getVariableDefinitionTemplate(name);
    line += kQuote;
    line += value;
    line += kQuote;
    int index = getVariableDefinitionLine(name);
    if (index >= 0)
        mLines[index] = std::move(line);
    else
        mLines.push_back(std::move(line));
}

int KLXRcFile::getVariableDefinitionLine(std::string& name) {
    // At the start of the line, exact case: only 'export NAME=' itself.
    return findLine(getVariableDefinitionTemplate(name), KLX_TEMPLATE_CASE_SENSITIVE, 0);
}

std::string& KLXRcFile::getVariableDefinitionTemplate(std::string& name) {
    static std::string definition;
    std::string text = "export ";
    text += name;
    text += KLX_STR_EQUAL;
    definition = std::move(text);
    return definition;
}
