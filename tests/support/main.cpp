// Test programs write files at real paths, so no case ever runs on the machine itself. Run by hand, a program
// enters a simulated host of its own for each case, as ctest has it do.
#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdlib>

namespace {

// Listing the cases that are chosen runs none of them.
constexpr const char* each_case_inside = R"(
for name in $(SIMHOST=1 "$0" "$1" --gtest_list_tests | awk '/^[^ ]/ { suite = $1 } /^ / { print suite $1 }'); do
    )" SIMHOST_ENTER " --project " SIMHOST_PROJECT R"( "$0" --gtest_filter="$name" || failed+=" $name"
done
[ -z "$failed" ] || { echo "failed:$failed" && exit 1; })";

}  // namespace

int main(int argc, char** argv) {
    testing::InitGoogleTest(&argc, argv);
    const std::string chosen = "--gtest_filter=" + testing::GTEST_FLAG(filter);
    if (std::getenv("SIMHOST") == nullptr && !testing::GTEST_FLAG(list_tests))
        return execl("/bin/bash", "bash", "-c", each_case_inside, argv[0], chosen.c_str(), nullptr);
    return RUN_ALL_TESTS();
}
