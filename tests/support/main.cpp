// Test programs write files at real paths, so no case ever runs on the machine itself. Run by hand, a program
// enters a simulated host of its own for each case, as ctest has it do.
#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <string>

namespace {

class EachCaseInside : public testing::EmptyTestEventListener {
    // The cases are chosen by now, and none has begun.
    void OnTestProgramStart(const testing::UnitTest& cases) override {
        const std::string program = std::filesystem::read_symlink("/proc/self/exe");
        const std::string enter = SIMHOST_ENTER " --project " SIMHOST_PROJECT " ";
        std::string failed;
        for (int i = 0; i < cases.total_test_suite_count(); ++i) {
            const testing::TestSuite& suite = *cases.GetTestSuite(i);
            for (int j = 0; j < suite.total_test_count(); ++j) {
                const std::string name = std::string{suite.name()} + "." + suite.GetTestInfo(j)->name();
                if (!suite.GetTestInfo(j)->should_run()) continue;
                const std::string inside = enter + program + " '--gtest_filter=" + name + "'";
                if (std::system(inside.c_str()) != 0) failed += "\n    " + name;
            }
        }
        if (!failed.empty()) std::printf("failed:%s\n", failed.c_str());
        std::exit(failed.empty() ? 0 : 1);
    }
};

}  // namespace

int main(int argc, char** argv) {
    testing::InitGoogleTest(&argc, argv);
    if (std::getenv("SIMHOST") == nullptr) {
        testing::UnitTest::GetInstance()->listeners().Append(new EachCaseInside);
    }
    return RUN_ALL_TESTS();
}
