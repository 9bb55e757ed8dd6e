// Starting and stopping: which commands run in which order, and every way to fail.
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <cerrno>
#include <csignal>

#include "kvlinopinitr/iscsi_status.h"
#include "tests/support/agent.h"
#include "tests/support/host.h"

namespace {

using namespace iscsi_status;
using Lines = std::vector<std::string>;

constexpr unsigned int script_failed = 0x300;  // exit status 3 as the shell reports it

class StartStop : public testing::Test {
protected:
    StartStop() {
        host::write_file("/etc/issue", "Red Hat Enterprise Linux\n");
        host::set_initiator_name("iqn.2024-01.example.host:initiator");
        host::write_file("/etc/init.d/iscsid", "");
        initiator.err_msg[0] = '\0';
    }

    void loaded_but_without_daemon() {
        host::install_stack();
        host::stop_stack();
        host::write_file("/proc/modules", "iscsi_tcp 28672 0 - Live 0x0\n");
    }

    OpenInitiator initiator;
};

TEST_F(StartStop, StartWhenNothingIsLoaded) {
    host::install_stack();
    host::stop_stack();
    shell::answer({{0, 0, ""}});
    EXPECT_EQ(initiator.StartInitiator(1), 416u);
    EXPECT_EQ(shell::commands(), Lines{"modprobe iscsi_tcp"});
    EXPECT_EQ(host::log_entries(), Lines{"5 2 open iscsi initiator start failed: driver modules not loaded"});
    EXPECT_STREQ(initiator.err_msg, "");
}

TEST_F(StartStop, StartWhenItRunsAlready) {
    host::start_stack();
    host::remove("/etc/issue");
    shell::answer({{256, 0, ""}});
    EXPECT_EQ(initiator.StartInitiator(1), success);
    EXPECT_EQ(shell::commands(), Lines{"modprobe iscsi_tcp"});
    EXPECT_EQ(op_initiator_started, 1u);
}

// The scripts are answered, not run, so the stack never comes up: 1 behind every script.
TEST_F(StartStop, StartOnTheDistribution) {
    const std::string late = std::string(76, '.') + " Red Hat";
    const struct {
        const char* banner;  // null: no file
        const char* removed;
        unsigned int status;
        const char* command;  // behind modprobe
    } starts[] = {
        {"Red Hat 6\n", nullptr, failure, "/etc/init.d/iscsid start"},
        {"Red Hat 6\n", "/etc/init.d/iscsid", failure, "/etc/init.d/open-iscsi start"},
        {"Welcome to SUSE Linux\n", nullptr, failure, "/etc/init.d/open-iscsi start"},
        {"Welcome to SUSE Linux\n", "/sbin/iscsid", daemon_file_missing, nullptr},
        {"SUSE and Red Hat\n", nullptr, failure, "/etc/init.d/iscsid start"},
        {"Some Other Linux\n", nullptr, failure, nullptr},
        {late.c_str(), nullptr, failure, nullptr},
        {"", nullptr, failure, nullptr},
        {nullptr, nullptr, 98, nullptr},
    };
    loaded_but_without_daemon();
    shell::answer({{0, 0, ""}});
    for (const auto& start : starts) {
        SCOPED_TRACE(start.banner != nullptr ? start.banner : "no banner");
        for (const char* file : {"/sbin/iscsid", "/etc/init.d/iscsid"}) host::write_file(file, "");
        if (start.removed != nullptr) host::remove(start.removed);
        host::remove("/etc/issue");
        if (start.banner != nullptr) host::write_file("/etc/issue", start.banner);
        const std::size_t logged = host::log_entries().size();
        initiator.err_msg[0] = '\0';
        shell::forget();
        EXPECT_EQ(initiator.StartInitiator(1), start.status);
        Lines commands{"modprobe iscsi_tcp"};
        if (start.command != nullptr) commands.emplace_back(start.command);
        EXPECT_EQ(shell::commands(), commands);
        const bool is_logged = start.status == daemon_file_missing;
        EXPECT_EQ(host::log_entries().size(), logged + (is_logged ? 1 : 0));
        EXPECT_STREQ(initiator.err_msg, is_logged ? initiator.GetErrStr(313) : "");
    }
}

TEST_F(StartStop, TheBannerMustBeWritable) {
    chmod("/etc/issue", 0400);
    host::obey_permissions(true);
    int code = 7;
    EXPECT_EQ(get_linux_distro(&code), 98);
    EXPECT_EQ(code, 7);
}

TEST_F(StartStop, TheScriptsResultWhenItRunsAfterwards) {
    const struct {
        const char* script;
        unsigned int status;
    } scripts[] = {{"exit 0", success}, {"exit 3", script_failed}, {"kill -9 $$", 9}};
    for (const auto& [script, status] : scripts) {
        loaded_but_without_daemon();
        host::write_file("/etc/init.d/iscsid",
                         std::string{"#!/bin/bash\nmkdir -p /proc/4000000\n"
                                     "printf '/sbin/iscsid\\0' >/proc/4000000/cmdline\n"} +
                             script + "\n");
        ASSERT_EQ(std::system("chmod +x /etc/init.d/iscsid"), 0);
        EXPECT_EQ(initiator.StartInitiator(1), status) << script;
        EXPECT_EQ(op_initiator_started, 1u);
    }
}

TEST_F(StartStop, AnAgentThatIgnoresChildrenLosesTheResult) {
    std::signal(SIGCHLD, SIG_IGN);
    host::start_stack();
    host::write_file("/etc/init.d/iscsid", "#!/bin/bash\nexit 3\n");
    ASSERT_NE(std::system("chmod +x /etc/init.d/iscsid"), 0) << "the result is lost here too";
    EXPECT_EQ(initiator.StopInitiator(1), success);
    EXPECT_EQ(errno, 0);
    std::signal(SIGCHLD, SIG_DFL);
}

TEST_F(StartStop, StopOnTheDistribution) {
    const std::string long_name(224, 'n');
    const Lines forced{"/etc/init.d/open-iscsi stop", "killall iscsid", "rmmod iscsi_tcp"};
    const Lines redhat{"/etc/init.d/iscsid stop"};
    const struct {
        const char* banner;
        const char* initiator_name;  // null: the file has no name line
        std::vector<shell::Answer> answers;
        unsigned int status;
        Lines commands;
        bool logged;
    } stops[] = {
        {"Red Hat\n", "iqn.x", {{0, 0, ""}}, success, redhat, false},
        {"Red Hat\n", "iqn.x", {{0x300, 0, ""}}, script_failed, redhat, false},
        {"Red Hat\n", "iqn.x", {{-1, ECHILD, ""}}, success, redhat, false},
        {"SUSE\n", "iqn.x", {{0x300, 0, ""}, {0, 0, ""}, {256, 0, ""}}, script_failed, forced, false},
        {"SUSE\n", "iqn.x", {{0x300, 0, ""}, {0, 0, ""}, {-1, ECHILD, ""}}, success, forced, false},
        {"Other\n", "iqn.x", {{0, 0, ""}}, failure, {}, false},
        {"Red Hat\n", long_name.c_str(), {{0, 0, ""}}, initiator_name_too_long, {}, true},
        {"Red Hat\n", "", {{0, 0, ""}}, no_initiator_node, {}, true},
        {"Red Hat\n", nullptr, {{0, 0, ""}}, success, redhat, false},
    };
    host::start_stack();
    for (const auto& stop : stops) {
        host::write_file("/etc/issue", stop.banner);
        host::write_file("/etc/iscsi/initiatorname.iscsi", "# nothing\n");
        if (stop.initiator_name != nullptr) host::set_initiator_name(stop.initiator_name);
        const std::size_t logged = host::log_entries().size();
        shell::answer(stop.answers);
        shell::forget();
        errno = 0;
        EXPECT_EQ(initiator.StopInitiator(1), stop.status) << stop.banner;
        EXPECT_EQ(shell::commands(), stop.commands) << stop.banner;
        EXPECT_EQ(host::log_entries().size(), logged + (stop.logged ? 1 : 0)) << stop.banner;
    }
}

TEST_F(StartStop, RunningTakesModuleAndDaemon) {
    host::start_stack();
    EXPECT_EQ(check_stack_running(), 1);
    host::write_file("/proc/modules", std::string(79, 'x') + "iscsi_tcp not at the start of a line\n");
    EXPECT_EQ(is_module_loaded(), 1) << "a line of 80 characters arrives in two pieces";
    host::write_file("/proc/modules", "libiscsi_tcp 1 0 - Live\nscsi iscsi_tcp");
    EXPECT_EQ(is_module_loaded(), 0);
    EXPECT_EQ(check_stack_running(), 0);
}

TEST_F(StartStop, DaemonsAreCountedByTheirProgram) {
    host::stop_stack();
    const auto process = [](const char* number, std::string_view command_line) {
        host::write_file(std::string{"/proc/"} + number + "/cmdline", command_line);
    };
    EXPECT_EQ(check_iscsid_instances(), 0);
    process("9", "/sbin/iscsid");
    EXPECT_EQ(check_iscsid_instances(), 1);
    host::remove("/proc/9");
    process("4000001", std::string_view{"/usr/sbin/iscsiadm\0iscsid\0", 26});
    process("4000002", "");
    process("5x", "/sbin/iscsid");
    process("x5", "/sbin/iscsid");
    host::make_directory("/proc/4000003");
    host::make_link("/proc/4000004", "nowhere");
    EXPECT_EQ(check_iscsid_instances(), 1);
    process("4000005", std::string(72, '/') + "iscsid");
    EXPECT_EQ(check_iscsid_instances(), 2) << "the path's first 79 characters count";
    process("4000006", "/sbin/iscsid");
    EXPECT_EQ(check_iscsid_instances(), 2) << "never more";
}

}  // namespace
