// Runs the tests with KLX_PREFIX and HOME in a temporary directory of their
// own, so that no test touches the user's files, and removes it afterwards.
// A Windows build ignores both variables (the machine itself is used): there
// the registry roots are redirected to scratch keys instead.
#include "Environment.h"
#include "TestFiles.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <random>
#include <string>

namespace {

class TemporaryHome : public ::testing::Environment {
public:
    void SetUp() override {
        // A name no other test process has taken: create_directory is false
        // for one that exists.
        std::random_device random;
        do
            mRoot = std::filesystem::temp_directory_path() /
                    ("klx-test-" + std::to_string(random()) + std::to_string(random()));
        while (!std::filesystem::create_directory(mRoot));
        std::filesystem::permissions(mRoot, std::filesystem::perms::owner_all);
        std::filesystem::create_directories(mRoot / "home");
        klxtest::setEnv("HOME", (mRoot / "home").string());
        klxtest::setEnv("KLX_PREFIX", (mRoot / "prefix").string());
        klxtest::setTestRoot(mRoot);
        klxtest::isolateRegistry();
    }
    void TearDown() override {
        klxtest::endRegistryIsolation();
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
