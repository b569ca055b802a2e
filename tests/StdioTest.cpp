// Standard output through the stream interface, and the streams that write
// nothing.
#include "KLXDataStream.h"
#include "KLXStdio.h"
#include "TestFiles.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <unistd.h>

TEST(Stdio, WritesTextAsItIsAndFlushesEachLine) {
    // Standard output goes to a file (in binary, so that Windows adds no
    // "\r"), read after each line before anything else flushes the stream.
    std::fflush(stdout);
    const std::string path = (klxtest::freshDir("stdio") / "out").string();
    std::FILE* file = std::fopen(path.c_str(), "wb");
    ASSERT_NE(file, nullptr);
    const int saved = ::dup(1);
    ::dup2(::fileno(file), 1);
    std::string x = "x", yz = "y z", lines;
    KLXStdio::out(yz);
    KLXStdio stdio;
    KLXDataStream plain;
    // Through the base interface, as a caller that holds any stream would.
    for (KLXDataStream* stream : {static_cast<KLXDataStream*>(&stdio), &plain}) {
        EXPECT_EQ(stream->writeln(x), 0);
        lines += klxtest::readBytes(path) + "|";
        EXPECT_EQ(stream->write(yz), 0);
    }
    std::fflush(stdout);
    ::dup2(saved, 1);
    ::close(saved);
    std::fclose(file);
    EXPECT_EQ(lines + klxtest::readBytes(path), "y zx\n|y zx\n|y zx\ny z");
}
