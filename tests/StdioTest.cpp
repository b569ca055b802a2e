// Standard output through the stream interface, and the streams that write
// nothing.
#include "KLXDataStream.h"
#include "KLXStdio.h"

#include <gtest/gtest.h>

TEST(Stdio, WritesTextAsItIsAndLinesWithOneEnd) {
    ::testing::internal::CaptureStdout();
    std::string a = "x";
    std::string b = "y z";
    std::string empty;
    KLXStdio::outln(a);
    KLXStdio::out(b);
    KLXStdio stream;
    EXPECT_EQ(stream.write(empty), 0);
    EXPECT_EQ(stream.writeln(a), 0);
    // Through the base interface, as a caller that holds any stream would.
    KLXDataStream& base = stream;
    EXPECT_EQ(base.write(b), 0);
    EXPECT_EQ(::testing::internal::GetCapturedStdout(), "x\ny zx\ny z");
}

TEST(Stdio, PlainStreamWritesNothing) {
    ::testing::internal::CaptureStdout();
    KLXDataStream stream;
    std::string text = "lost";
    EXPECT_EQ(stream.write(text), 0);
    EXPECT_EQ(stream.writeln(text), 0);
    EXPECT_EQ(::testing::internal::GetCapturedStdout(), "");
}
