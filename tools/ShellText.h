// Values that a shell must read back exactly as they were written.
//
// The library writes ".cvlrc" lines as 'export NAME="value"' and batch file
// lines as 'SET NAME=value', both without escaping, so the programs refuse
// what the shell reading the line would take for syntax.
#ifndef KLX_TOOLS_SHELL_TEXT_H
#define KLX_TOOLS_SHELL_TEXT_H

#include <string>

// Why bash would not read `value` back from between double quotes, or run
// part of it: a line break, a double quote, a backquote, a "$" that is not a
// variable reference at the start of the value ("$KLCOREHOME\OS" stays
// allowed), a backslash at the end. "" when it is safe.
std::string rcValueProblem(const std::string& value);

// Why cmd would not read `value` back from a 'SET NAME=value' line: a line
// break, an operator (& | < > ^) or a "%", which cmd expands. "" when it is
// safe.
std::string batchValueProblem(const std::string& value);

// The text with its line breaks written as \n and \r, so that a message
// naming it stays on one line.
std::string oneLine(const std::string& text);

#endif // KLX_TOOLS_SHELL_TEXT_H
