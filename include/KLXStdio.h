// KlxCore: the stream that goes to the process's standard output.
#ifndef KLX_STDIO_H
#define KLX_STDIO_H

#include "KLXDataStream.h"

class KLX_API KLXStdio : public KLXDataStream {
public:
    KLXStdio() {}
    ~KLXStdio() {}

    // Writes the text to standard output, unchanged.
    static void out(std::string& text);
    // Writes the text and a line end, and flushes standard output.
    static void outln(std::string& text);

    int write(std::string& text) override;
    int writeln(std::string& text) override;
};

#endif // KLX_STDIO_H
