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

int main(int argc, char** argv) {
    ::testing::InitGoogleTest(&argc, argv);
    // A name no other test process has taken: create_directory is false for
    // one that exists.
    std::random_device random;
    std::filesystem::path root;
    do
        root = std::filesystem::temp_directory_path() /
               ("klx-test-" + std::to_string(random()) + std::to_string(random()));
    while (!std::filesystem::create_directory(root));
    std::filesystem::permissions(root, std::filesystem::perms::owner_all);
    std::filesystem::create_directories(root / "home");
    klxtest::setEnv("HOME", (root / "home").string());
    klxtest::setEnv("KLX_PREFIX", (root / "prefix").string());
    klxtest::setTestRoot(root);
    klxtest::isolateRegistry();
    const int failed = RUN_ALL_TESTS();
    klxtest::endRegistryIsolation();
    std::error_code ignored;
    std::filesystem::remove_all(root, ignored);
    return failed;
}
