// KLXFile: opening in the three modes, Windows error codes, whole-file and
// positioned reads, writes that cut the file, and paths in Windows form.
#include "KLXFile.h"

#include "TestFiles.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <csignal>
#include <cstring>
#include <fcntl.h>
#include <filesystem>
#include <memory>
#include <string>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

namespace fs = std::filesystem;

namespace {

struct Probe : KLXFile {
    using KLXFile::KLXFile;
    using KLXFile::mHandle;
    using KLXFile::mLastError;
    using KLXFile::mSize;
};

using Buffer = std::unique_ptr<char[]>;

std::string fileWith(const std::string& name, const std::string& bytes) {
    fs::path path = klxtest::freshDir("file") / name;
    klxtest::writeBytes(path, bytes);
    return path.string();
}

DWORD openError(std::string path, int mode) {
    Probe file(path, mode);
    EXPECT_EQ(file.mHandle, INVALID_HANDLE_VALUE) << path;
    EXPECT_EQ(file.mSize, 0u) << path;
    return file.mLastError;
}

} // namespace

TEST(File, OpenModes) {
    // Mode 2 does not create.
    std::string missing = (klxtest::freshDir("modes") / "missing.txt").string();
    {
        Probe file(missing, 2);
        EXPECT_EQ(file.mHandle, INVALID_HANDLE_VALUE);
        EXPECT_EQ(file.mSize, 0u);
        EXPECT_EQ(file.mLastError, static_cast<DWORD>(ERROR_FILE_NOT_FOUND));
        unsigned long n = 77;
        EXPECT_EQ(file.read(-1, &n), nullptr);
        EXPECT_EQ(file.read(0, &n), nullptr);
        EXPECT_EQ(n, 77u);
        EXPECT_EQ(file.write(0, &n, "data"), -1);
        EXPECT_EQ(n, 77u);
    }
    EXPECT_FALSE(fs::exists(missing));

    // Mode 0 creates an empty file, and any unknown mode acts as mode 0.
    for (int mode : {0, 3, -1, 42}) {
        std::string path = (klxtest::freshDir("modes") / "new.txt").string();
        Probe file(path, mode);
        EXPECT_NE(file.mHandle, INVALID_HANDLE_VALUE);
        EXPECT_EQ(file.mLastError, 0u);
        EXPECT_EQ(file.mSize, 0u);
        unsigned long n = 99;
        Buffer data(file.read(-1, &n));
        ASSERT_NE(data, nullptr);
        EXPECT_EQ(n, 0u);
        EXPECT_EQ(data[0], '\0');
        EXPECT_TRUE(fs::is_regular_file(path));
        n = 2;
        EXPECT_EQ(file.write(0, &n, "rw"), 0);
        EXPECT_EQ(klxtest::readBytes(path), "rw");
    }

    // Mode 0 keeps what is there; mSize is the length at opening, for good.
    std::string existing = fileWith("existing.txt", "abcdefgh");
    {
        Probe file(existing, 0);
        EXPECT_EQ(file.mSize, 8u);
        unsigned long n = 20;
        EXPECT_EQ(file.write(0, &n, "01234567890123456789"), 0);
        EXPECT_EQ(file.mSize, 8u);
    }
    EXPECT_EQ(klxtest::readBytes(existing), "01234567890123456789");

    // Mode 1 empties an existing file.
    {
        Probe file(existing, 1);
        EXPECT_NE(file.mHandle, INVALID_HANDLE_VALUE);
        EXPECT_EQ(file.mSize, 0u);
        EXPECT_EQ(fs::file_size(existing), 0u);
    }

    // Mode 2 reads but does not write.
    klxtest::writeBytes(existing, "keep");
    {
        Probe file(existing, 2);
        EXPECT_EQ(file.mSize, 4u);
        unsigned long n = 3;
        EXPECT_EQ(file.write(0, &n, "xyz"), -1);
        EXPECT_EQ(n, 3u);
        Buffer data(file.read(-1, &n));
        ASSERT_NE(data, nullptr);
        EXPECT_STREQ(data.get(), "keep");
    }
    EXPECT_EQ(klxtest::readBytes(existing), "keep");

    // The handle does not leak into started programs.
    Probe file(existing, 0);
    int fd = static_cast<int>(reinterpret_cast<std::intptr_t>(file.mHandle));
    EXPECT_TRUE(::fcntl(fd, F_GETFD) & FD_CLOEXEC);
}

TEST(File, OpenErrors) {
    fs::path dir = klxtest::freshDir("errors");
    klxtest::writeBytes(dir / "plain", "x");
    for (int mode : {0, 1, 2}) {
        EXPECT_EQ(openError((dir / "missing" / "x").string(), mode), ERROR_PATH_NOT_FOUND);
        EXPECT_EQ(openError((dir / "plain" / "x").string(), mode), ERROR_PATH_NOT_FOUND);
        EXPECT_EQ(openError(dir.string(), mode), ERROR_ACCESS_DENIED);
        EXPECT_EQ(openError(dir.string() + "/", mode), ERROR_ACCESS_DENIED);
        EXPECT_EQ(openError("", mode), ERROR_PATH_NOT_FOUND);
        EXPECT_EQ(openError(std::string("\0x", 2), mode), ERROR_PATH_NOT_FOUND);
        EXPECT_EQ(openError("Q:\\nowhere\\x", mode), ERROR_PATH_NOT_FOUND);
        for (const char* bad : {"a<b", "a>b", "a\"b", "a|b", "a?b", "a*b", "a\nb", "\x1f"})
            EXPECT_EQ(openError((dir / bad).string(), mode), ERROR_INVALID_NAME) << bad;
        EXPECT_EQ(openError((dir / std::string(300, 'n')).string(), mode),
                  ERROR_FILENAME_EXCED_RANGE);
    }
    EXPECT_FALSE(fs::exists(dir / "missing"));
    EXPECT_EQ(openError((dir / "missing.txt").string(), 2), ERROR_FILE_NOT_FOUND);

    fs::create_symlink("loop2", dir / "loop1");
    fs::create_symlink("loop1", dir / "loop2");
    EXPECT_EQ(openError((dir / "loop1").string(), 0), ERROR_CANT_RESOLVE_FILENAME);

    // A name is taken as a C string; a colon is an ordinary character.
    std::string withNul = (dir / "cut.txt").string() + std::string("\0.bak", 5);
    { Probe file(withNul, 0); }
    EXPECT_TRUE(fs::exists(dir / "cut.txt"));
    std::string colon = (dir / "a:b").string();
    Probe file(colon, 0);
    EXPECT_EQ(file.mLastError, 0u);
}

TEST(File, PermissionDeniedIsAccessDenied) {
    std::string path = fileWith("private.txt", "secret");
    fs::permissions(path, fs::perms::none);
    pid_t child = ::fork();
    ASSERT_GE(child, 0);
    if (child == 0) {
        // Root reads anything: test as nobody.
        if (::geteuid() == 0 && (::setgid(65534) != 0 || ::setuid(65534) != 0))
            ::_exit(2);
        Probe file(path, 2);
        ::_exit(file.mLastError == ERROR_ACCESS_DENIED ? 0 : 1);
    }
    int status = 0;
    ASSERT_EQ(::waitpid(child, &status, 0), child);
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << status;
}

TEST(File, Read) {
    std::string path = fileWith("abc.txt", "abcdefgh");
    Probe file(path, 0);

    // A whole-file read moves to the end; a positioned one reads where it is
    // told, whatever the position, and leaves the position after its bytes.
    unsigned long n = 0;
    Buffer all(file.read(-1, &n));
    ASSERT_NE(all, nullptr);
    EXPECT_EQ(n, 8u);
    EXPECT_STREQ(all.get(), "abcdefgh");

    n = 3;
    Buffer part(file.read(4, &n));
    ASSERT_NE(part, nullptr);
    EXPECT_EQ(n, 3u);
    EXPECT_STREQ(part.get(), "efg");

    n = 1000;
    Buffer rest(file.read(-1, &n));
    ASSERT_NE(rest, nullptr);
    EXPECT_EQ(n, 1u);
    EXPECT_STREQ(rest.get(), "h");
    for (int i = 1; i <= 8; ++i)
        EXPECT_EQ(rest[i], '\0') << i;

    // Asking for more than there is: the bytes there are, zeros after them.
    n = 100;
    Buffer tail(file.read(2, &n));
    ASSERT_NE(tail, nullptr);
    EXPECT_EQ(n, 6u);
    EXPECT_EQ(std::string(tail.get(), 101), "cdefgh" + std::string(95, '\0'));

    n = 5;
    Buffer beyond(file.read(100, &n));
    ASSERT_NE(beyond, nullptr);
    EXPECT_EQ(n, 0u);
    EXPECT_EQ(std::string(beyond.get(), 6), std::string(6, '\0'));

    n = 0;
    Buffer none(file.read(0, &n));
    ASSERT_NE(none, nullptr);
    EXPECT_EQ(none[0], '\0');

    // Counts that no 32-bit read or allocation can hold fail cleanly.
    for (unsigned long huge : {0xFFFFFFFFul, 0x100000000ul, ~0ul}) {
        n = huge;
        EXPECT_EQ(file.read(0, &n), nullptr);
        EXPECT_EQ(n, huge);
    }

    // Binary data comes back whole; the NUL only ends the C string early.
    std::string binary("a\0b\xff", 4);
    std::string binPath = fileWith("bin", binary);
    Probe bin(binPath, 2);
    n = 0;
    Buffer bytes(bin.read(-1, &n));
    ASSERT_NE(bytes, nullptr);
    EXPECT_EQ(std::string(bytes.get(), n + 1), binary + '\0');
}

TEST(File, Write) {
    std::string path = fileWith("w.txt", "twenty bytes of text");
    {
        Probe file(path, 0);
        EXPECT_EQ(file.mSize, 20u);
        unsigned long n = 5;
        EXPECT_EQ(file.write(0, &n, "hello"), 0);
        EXPECT_EQ(n, 5u);
    }
    EXPECT_EQ(klxtest::readBytes(path), "hello");

    Probe file(path, 0);
    unsigned long n = 3;
    EXPECT_EQ(file.write(-7, &n, "HEL"), 0);
    EXPECT_EQ(klxtest::readBytes(path), "HEL");

    // Past the end the gap reads as zeros; the file ends after the data.
    n = 2;
    EXPECT_EQ(file.write(6, &n, "xy"), 0);
    EXPECT_EQ(klxtest::readBytes(path), std::string("HEL\0\0\0xy", 8));
    n = 2;
    EXPECT_EQ(file.write(1, &n, "ab"), 0);
    EXPECT_EQ(klxtest::readBytes(path), "Hab");

    // The next whole-file read starts after the written bytes.
    n = 0;
    Buffer after(file.read(-1, &n));
    ASSERT_NE(after, nullptr);
    EXPECT_EQ(n, 0u);

    // Nothing to write: nothing happens.
    n = 0;
    EXPECT_EQ(file.write(0, &n, "zzz"), -1);
    n = 3;
    EXPECT_EQ(file.write(0, &n, nullptr), -1);
    EXPECT_EQ(n, 3u);
    EXPECT_EQ(klxtest::readBytes(path), "Hab");

    // The stream operations write nothing to a raw file.
    std::string text = "stream";
    EXPECT_EQ(file.write(text), 0);
    EXPECT_EQ(file.writeln(text), 0);
    EXPECT_EQ(klxtest::readBytes(path), "Hab");
}

TEST(File, LargeRoundTrip) {
    std::string data(5 * 1024 * 1024 + 3, '\0');
    unsigned state = 12345;
    for (char& c : data) {
        state = state * 1103515245u + 12345u;
        c = static_cast<char>(state >> 16);
    }
    std::string path = (klxtest::freshDir("large") / "big.bin").string();
    {
        Probe file(path, 1);
        unsigned long n = data.size();
        EXPECT_EQ(file.write(0, &n, data.data()), 0);
        EXPECT_EQ(n, data.size());
    }
    Probe file(path, 2);
    EXPECT_EQ(file.mSize, data.size());
    unsigned long n = 0;
    Buffer back(file.read(-1, &n));
    ASSERT_NE(back, nullptr);
    ASSERT_EQ(n, data.size());
    EXPECT_TRUE(std::memcmp(back.get(), data.data(), n) == 0);
    EXPECT_EQ(back[n], '\0');
}

TEST(File, FailedWriteKeepsTheLength) {
    std::string path = fileWith("limit.txt", "0123456789");
    Probe file(path, 0);

    // A file-size limit makes writes past it fail, as a full disk would.
    struct rlimit saved;
    ASSERT_EQ(::getrlimit(RLIMIT_FSIZE, &saved), 0);
    struct rlimit limited = saved;
    limited.rlim_cur = 64;
    void (*previous)(int) = std::signal(SIGXFSZ, SIG_IGN);
    ASSERT_EQ(::setrlimit(RLIMIT_FSIZE, &limited), 0);

    std::string big(200, 'B');
    unsigned long n = big.size();
    int atStart = file.write(0, &n, big.data());
    unsigned long countAtStart = n;
    n = 30;
    int pastEnd = file.write(50, &n, big.data());
    unsigned long countPastEnd = n;
    std::string afterFailures = klxtest::readBytes(path);
    n = 4;
    int inside = file.write(2, &n, "wxyz");

    ::setrlimit(RLIMIT_FSIZE, &saved);
    std::signal(SIGXFSZ, previous);

    EXPECT_EQ(atStart, -1);
    EXPECT_EQ(countAtStart, 200u);
    EXPECT_EQ(pastEnd, -1);
    EXPECT_EQ(countPastEnd, 30u);
    // The length is kept; whether bytes before the limit were overwritten
    // depends on the file system's space reservation.
    EXPECT_EQ(afterFailures.size(), 10u);
    EXPECT_EQ(inside, 0);
    std::string final = klxtest::readBytes(path);
    EXPECT_EQ(final.size(), 6u);
    EXPECT_EQ(final.substr(2), "wxyz");
}

TEST(File, WindowsPaths) {
    fs::path driveC = klxtest::testRoot() / "prefix" / "drive_c";
    {
        std::string probe = "C:\\probe.txt";
        Probe file(probe, 0);
        EXPECT_EQ(file.mLastError, 0u);
    }
    fs::create_directories(driveC / "data");
    klxtest::writeBytes(driveC / "data" / "file.txt", "content");

    std::string mixed = "C:\\Data\\File.TXT";
    Probe found(mixed, 2);
    EXPECT_EQ(found.mSize, 7u);
    std::string cygwin = "/cygdrive/c/data/FILE.txt";
    Probe same(cygwin, 2);
    EXPECT_EQ(same.mSize, 7u);

    std::string created = "c:/DATA/New.txt";
    { Probe file(created, 0); }
    EXPECT_TRUE(fs::exists(driveC / "data" / "New.txt"));
    std::string again = "C:\\data\\NEW.TXT";
    { Probe file(again, 1); }
    EXPECT_FALSE(fs::exists(driveC / "data" / "NEW.TXT"));

    fs::path host = klxtest::freshDir("host") / "linux.txt";
    klxtest::writeBytes(host, "linux");
    std::string viaU = "U:" + host.string();
    Probe viaLinuxRoot(viaU, 2);
    EXPECT_EQ(viaLinuxRoot.mSize, 5u);

    EXPECT_EQ(openError("Q:\\file.txt", 0), ERROR_PATH_NOT_FOUND);
    EXPECT_EQ(openError("C:\\nodir\\file.txt", 0), ERROR_PATH_NOT_FOUND);
    EXPECT_EQ(openError("C:\\data\\nofile.txt", 2), ERROR_FILE_NOT_FOUND);
}
