// Test programs write files at real paths, so no case ever runs on the machine itself. Run by hand, a program
// enters a simulated host of its own for each case, as ctest has it do.
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <string>

namespace {

bool passes_inside(const std::string& program, const std::string& name) {
    const pid_t child = fork();
    if (child == 0) {
        execl(SIMHOST_ENTER, SIMHOST_ENTER, "--project", SIMHOST_PROJECT, program.c_str(),
              ("--gtest_filter=" + name).c_str(), nullptr);
        std::perror(SIMHOST_ENTER);
        _exit(127);
    }
    int status = 1;
    return child > 0 && waitpid(child, &status, 0) == child && status == 0;
}

class EachCaseInside : public testing::EmptyTestEventListener {
    // The cases are chosen by now, and none has begun.
    void OnTestProgramStart(const testing::UnitTest& cases) override {
        const std::string program = std::filesystem::read_symlink("/proc/self/exe");
        std::string failed;
        for (int i = 0; i < cases.total_test_suite_count(); ++i) {
            const testing::TestSuite& suite = *cases.GetTestSuite(i);
            for (int j = 0; j < suite.total_test_count(); ++j) {
                const std::string name = std::string{suite.name()} + "." + suite.GetTestInfo(j)->name();
                if (!suite.GetTestInfo(j)->should_run()) continue;
                if (!passes_inside(program, name)) failed += "\n    " + name;
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
