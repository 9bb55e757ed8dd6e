// Captured commands under each shell that /bin/sh may be. This program has no system() of its own.
#include "tests/support/test.h"

namespace {

using namespace std::string_literals;

_LoginParams request() {
    _LoginParams params{};
    params.target_port = 3260;
    std::strcpy(params.target_name, "iqn.a");
    return params;
}
unsigned int log_in() {
    _LoginParams params = request();
    return _LoginTarget(&params, "10.1.1.5");
}
unsigned int remove() {
    return _remove_iscsi_dirs("10.1.1.5", 3260);
}
unsigned int forget() {
    return static_cast<unsigned int>(_remove_persistent_entry(nullptr, "10.1.1.5", 3260, nullptr));
}

class UnderShell : public testing::TestWithParam<const char*> {};

TEST_P(UnderShell, CommandsAreWaitedForAndRead) {
    host::make_link("/bin/sh", GetParam());
    const std::tuple<unsigned int (*)(), std::string, unsigned int> cases[] = {
        {log_in, "echo 'Login successful.'", 0},
        {log_in, "echo 'iscsiadm: initiator reported error (24 - authorization failure)' >&2; exit 24", 199},
        {log_in, "echo 'error: already exists'; exit 15", 197},
        {log_in, "echo 'iscsiadm: No records found' >&2; exit 21", 199},
        {remove, "", 0},
        {remove, "echo 'a session is using it' >&2; exit 15", 167},
        {forget, "", 0},
        {forget, "exit 21", 1},
    };
    for (const auto& [operation, script, status] : cases) {
        host::remove("/tmp/ended");
        host::install_iscsiadm("sleep 0.1; echo \"$@\" >/tmp/ended; " + script);
        EXPECT_EQ(operation(), status) << script;
        EXPECT_TRUE(host::read_file("/tmp/ended").ends_with(" 1\n")) << script;
    }
}
INSTANTIATE_TEST_SUITE_P(Each, UnderShell, testing::Values("bash", "dash"),
                         [](const auto& row) { return std::string{row.param}; });

TEST(Shell, IsGivenTheContractsTextWhereItIsBash) {
    const std::string contract = " 1&>/tmp/opiscsierr", portable = " 1 >/tmp/opiscsierr 2>&1";
    const std::tuple<std::string, std::string, std::string> cases[] = {
        // what /bin/sh is a link to, and what that is in turn
        {"/tmp/bash", "", contract},          {"/tmp/dash", "", portable},
        {"/tmp/bash5", "", portable},         {"/tmp/x/sh", "/tmp/bash", contract},
        {"/tmp/x/sh", "/tmp/dash", portable},
    };
    for (const auto& [first, second, ending] : cases) {
        const std::string program = second.empty() ? first : second;
        host::write_file(program, "#!/bin/bash\nprintf %s \"${@: -1}\" >/tmp/text");
        chmod(program.c_str(), 0700);
        if (!second.empty()) host::make_link(first, second);
        host::make_link("/bin/sh", first);
        log_in();
        EXPECT_EQ(host::read_file("/tmp/text"), "iscsiadm -m node -l -p 10.1.1.5:3260 -T iqn.a" + ending)
            << first;
        host::remove(first);
    }
}

TEST(Shell, ThatCannotBeStartedPrintsNothing) {
    host::write_file("/tmp/opiscsierr", "error: already exists\n");
    host::remove("/bin/sh");
    EXPECT_EQ(log_in(), 0u) << "nothing that an earlier command printed is believed";
}

}  // namespace
