// KLXFile: the open modes and their error codes, sharing, whole-file and positioned reads, and
// writes that cut the file. (Path forms are the platform's: PosixHostTest.)
#include "KLXFile.h"

#include "TestFiles.h"

#include <gtest/gtest.h>

#include <sys/wait.h>
#include <unistd.h>

#include <filesystem>
#include <memory>
#include <string>
#include <tuple>

namespace fs = std::filesystem;

namespace {

struct Probe final : KLXFile {
    Probe(std::string path, int mode) : KLXFile(path, mode), mPath(path) {}
    using KLXFile::mHandle;
    using KLXFile::mLastError;
    using KLXFile::mSize;

    // read(offset, &n): the count it leaves, then the whole buffer with its
    // NUL and zero fill, or "null".
    std::string get(int offset, unsigned long n) {
        unsigned long length = (offset < 0 ? mSize : n) + 1;
        std::unique_ptr<char[]> data(read(offset, &n));
        return std::to_string(n) + ":" + (data ? std::string(data.get(), length) : "null");
    }
    // write(offset, &n, data): the result, the count it leaves, then the file.
    std::string put(int offset, unsigned long n, const char* data) {
        int result = write(offset, &n, data);
        std::string text = std::to_string(result) + " " + std::to_string(n) + ":";
        return text + (fs::exists(mPath) ? klxtest::readBytes(mPath) : "none");
    }
    std::string mPath;
};

std::string zeros(std::size_t n) {
    return std::string(n, '\0');
}

} // namespace

TEST(File, OpenModes) {
    std::string path = (klxtest::freshDir("modes") / "f").string();
    Probe missing(path, 2);
    EXPECT_EQ(missing.mLastError, static_cast<DWORD>(ERROR_FILE_NOT_FOUND));
    EXPECT_EQ(missing.mSize, 0u);
    EXPECT_EQ(missing.get(-1, 77), "77:null");
    EXPECT_EQ(missing.put(0, 4, "data"), "-1 4:none");
    {
        Probe created(path, 0);
        EXPECT_EQ(created.get(-1, 77), "0:" + zeros(1));
        EXPECT_EQ(created.put(0, 8, "abcdefgh"), "0 8:abcdefgh");
        EXPECT_EQ(created.mSize, 0u); // the length at opening, for good
    }
    // Unknown modes act as mode 0: the content stays and can be written.
    for (int mode : {0, 3, -1}) {
        Probe file(path, mode);
        EXPECT_EQ(file.mSize, 8u) << mode;
        EXPECT_EQ(file.put(0, 8, "ABCDEFGH"), "0 8:ABCDEFGH") << mode;
    }
    EXPECT_EQ(Probe(path, 2).put(0, 3, "xyz"), "-1 3:ABCDEFGH");
    EXPECT_EQ(Probe(path, 1).mSize, 0u);
    EXPECT_EQ(klxtest::readBytes(path), "");
}

TEST(File, OpenErrorCodes) {
    fs::path dir = klxtest::freshDir("errors");
    const std::string d = dir.string();
    klxtest::writeBytes(dir / "plain", "x");
    const std::tuple<std::string, int, long> cases[] = {
        {d + "/missing", 2, ERROR_FILE_NOT_FOUND},
        {d + "/none/x", 0, ERROR_PATH_NOT_FOUND},
        {d + "/plain/x", 1, ERROR_PATH_NOT_FOUND},
        {"Q:\\nowhere\\x", 2, ERROR_PATH_NOT_FOUND},
        {"", 0, ERROR_PATH_NOT_FOUND},
        {d, 0, ERROR_ACCESS_DENIED},
        // A name ends at its first NUL.
        {d + "/cut" + std::string("\0*", 2), 0, 0},
    };
    for (const auto& [path, mode, error] : cases) {
        Probe file(path, mode);
        EXPECT_EQ(file.mLastError, static_cast<DWORD>(error)) << path;
        EXPECT_EQ(file.mHandle == INVALID_HANDLE_VALUE, error != 0) << path;
    }
    EXPECT_TRUE(fs::exists(dir / "cut"));
}

TEST(File, Sharing) {
    std::string path = (klxtest::freshDir("share") / "f").string();
    // Modes 0 and 1 share reading and writing; mode 2 only reading.
    const DWORD refused = ERROR_SHARING_VIOLATION;
    const std::tuple<int, int, DWORD> cases[] = {{0, 0, 0},      {0, 1, 0},       {0, 2, refused},
                                                 {2, 2, 0},      {2, 0, refused}, {2, 1, refused},
                                                 {2, 7, refused}};
    for (const auto& [first, opened, error] : cases) {
        SCOPED_TRACE(testing::Message() << first << "->" << opened);
        klxtest::writeBytes(path, "content");
        {
            Probe held(path, first);
            ASSERT_EQ(held.mLastError, 0u);
            // Twice: closing a refused open must not drop the first one's claims.
            for (int attempt = 0; attempt < 2; ++attempt)
                EXPECT_EQ(Probe(path, opened).mLastError, error);
            // Another process is answered the same.
            const pid_t child = fork();
            if (child == 0)
                _exit(Probe(path, opened).mLastError == error ? 0 : 1);
            int status = -1;
            EXPECT_TRUE(waitpid(child, &status, 0) == child && status == 0);
            // A refused mode-1 open leaves the content alone.
            EXPECT_EQ(klxtest::readBytes(path), error == 0 && opened == 1 ? "" : "content");
        }
        // Closing releases the file.
        EXPECT_EQ(Probe(path, opened).mLastError, 0u);
    }
}

TEST(File, Read) {
    std::string path = (klxtest::freshDir("read") / "abc").string();
    klxtest::writeBytes(path, "abcdefgh");
    Probe file(path, 0);
    // In order: each read starts where the one before left the position.
    EXPECT_EQ(file.get(-1, 0), "8:abcdefgh" + zeros(1)); // mSize bytes from the start
    EXPECT_EQ(file.get(4, 3), "3:efg" + zeros(1));       // wherever the position is...
    EXPECT_EQ(file.get(-1, 1000), "1:h" + zeros(8));     // ...and it ends after the bytes
    EXPECT_EQ(file.get(2, 100), "6:cdefgh" + zeros(95)); // more than there is: zeros after
    EXPECT_EQ(file.get(100, 5), "0:" + zeros(6));
    EXPECT_EQ(file.get(0, 0), "0:" + zeros(1));
}

TEST(File, Write) {
    std::string path = (klxtest::freshDir("write") / "w").string();
    klxtest::writeBytes(path, "twenty bytes of text");
    Probe file(path, 0);
    EXPECT_EQ(file.put(0, 5, "hello"), "0 5:hello");
    EXPECT_EQ(file.put(-7, 3, "HEL"), "0 3:HEL");
    EXPECT_EQ(file.put(6, 2, "xy"), "0 2:HEL" + zeros(3) + "xy");
    EXPECT_EQ(file.put(1, 2, "ab"), "0 2:Hab");
    EXPECT_EQ(file.put(0, 0, "zzz"), "-1 0:Hab");
    EXPECT_EQ(file.put(0, 3, nullptr), "-1 3:Hab");
    // The next whole-file read starts after the bytes written last.
    EXPECT_EQ(file.get(-1, 0), "0:" + zeros(21));
    // The stream operations write nothing to a raw file.
    std::string text = "stream";
    EXPECT_EQ(file.write(text) + file.writeln(text), 0);
    EXPECT_EQ(klxtest::readBytes(path), "Hab");
}
