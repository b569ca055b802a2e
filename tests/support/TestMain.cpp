// Runs the tests with KLX_PREFIX and HOME in a temporary directory of their
// own, so that no test touches the user's files, and removes it afterwards.
#include "TestFiles.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <string>

namespace {

class TemporaryHome : public ::testing::Environment {
public:
    void SetUp() override {
        std::string pattern = (std::filesystem::temp_directory_path() / "klx-test-XXXXXX").string();
        ASSERT_NE(mkdtemp(pattern.data()), nullptr);
        mRoot = pattern;
        std::filesystem::create_directories(mRoot / "home");
        setenv("HOME", (mRoot / "home").c_str(), 1);
        setenv("KLX_PREFIX", (mRoot / "prefix").c_str(), 1);
        klxtest::setTestRoot(mRoot);
    }
    void TearDown() override {
        std::error_code ignored;
        std::filesystem::remove_all(mRoot, ignored);
    }

private:
    std::filesystem::path mRoot;
};

} // namespace

int main(int argc, char** argv) {
    ::testing::InitGoogleTest(&argc, argv);
    ::testing::AddGlobalTestEnvironment(new TemporaryHome);
    return RUN_ALL_TESTS();
}
