// Starting and stopping: which commands run in which order, and every way to fail.
#include <gtest/gtest.h>

#include <cerrno>
#include <csignal>

#include "include/iscsi_status.h"
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
    EXPECT_EQ(initiator.StartInitiator(1), module_not_loaded);
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

struct Start {
    const char* name;
    const char* banner;  // null: no file
    const char* removed;
    unsigned int status;
    Lines commands;  // behind modprobe
};
std::ostream& operator<<(std::ostream& out, const Start& start) {
    return out << start.name;
}

class Starts : public StartStop, public testing::WithParamInterface<Start> {};

// The scripts are answered, not run, so the stack never comes up: 1 behind every script.
TEST_P(Starts, OnTheDistribution) {
    loaded_but_without_daemon();
    host::remove("/etc/issue");
    if (GetParam().banner != nullptr) host::write_file("/etc/issue", GetParam().banner);
    host::write_file("/sbin/iscsid", "");
    if (*GetParam().removed != '\0') host::remove(GetParam().removed);
    shell::answer({{0, 0, ""}});
    EXPECT_EQ(initiator.StartInitiator(1), GetParam().status);
    Lines commands{"modprobe iscsi_tcp"};
    commands.insert(commands.end(), GetParam().commands.begin(), GetParam().commands.end());
    EXPECT_EQ(shell::commands(), commands);
    const bool logged = GetParam().status == daemon_file_missing;
    EXPECT_EQ(host::log_entries().size(), logged ? 1u : 0u);
    EXPECT_STREQ(initiator.err_msg, logged ? initiator.GetErrStr(313) : "");
}

INSTANTIATE_TEST_SUITE_P(
    Table, Starts,
    testing::Values(
        Start{"RedHat", "Red Hat 6\n", "", failure, {"/etc/init.d/iscsid start"}},
        Start{"RedHatWithoutScript",
              "Red Hat 6\n",
              "/etc/init.d/iscsid",
              failure,
              {"/etc/init.d/open-iscsi start"}},
        Start{"Suse", "Welcome to SUSE Linux\n", "", failure, {"/etc/init.d/open-iscsi start"}},
        Start{"SuseWithoutDaemon", "Welcome to SUSE Linux\n", "/sbin/iscsid", daemon_file_missing, {}},
        Start{"BothIsRedHat", "SUSE and Red Hat\n", "", failure, {"/etc/init.d/iscsid start"}},
        Start{"Neither", "Some Other Linux\n", "", failure, {}},
        Start{"NamedTooLate",
              "0123456789012345678901234567890123456789012345678901234567890123456789012345 Red Hat",
              "",
              failure,
              {}},
        Start{"EmptyBanner", "", "", failure, {}}, Start{"NoBanner", nullptr, "", cannot_open_file, {}}),
    [](const auto& parameter) { return std::string{parameter.param.name}; });

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

struct Stop {
    const char* name;
    const char* banner;
    const char* initiator_name;  // null: the file stays without a name line
    std::vector<shell::Answer> answers;
    unsigned int status;
    Lines commands;
    bool logged;
};
std::ostream& operator<<(std::ostream& out, const Stop& stop) {
    return out << stop.name;
}

class Stops : public StartStop, public testing::WithParamInterface<Stop> {};

TEST_P(Stops, OnTheDistribution) {
    host::start_stack();
    host::write_file("/etc/issue", GetParam().banner);
    host::write_file("/etc/iscsi/initiatorname.iscsi", "# nothing\n");
    if (GetParam().initiator_name != nullptr) host::set_initiator_name(GetParam().initiator_name);
    shell::answer(GetParam().answers);
    EXPECT_EQ(initiator.StopInitiator(1), GetParam().status);
    EXPECT_EQ(shell::commands(), GetParam().commands);
    EXPECT_EQ(host::log_entries().size(), GetParam().logged ? 1u : 0u);
}

const std::string long_name(224, 'n');
const Lines forced{"/etc/init.d/open-iscsi stop", "killall iscsid", "rmmod iscsi_tcp"};
INSTANTIATE_TEST_SUITE_P(
    Table, Stops,
    testing::Values(
        Stop{"RedHat", "Red Hat\n", "iqn.x", {{0, 0, ""}}, success, {"/etc/init.d/iscsid stop"}, false},
        Stop{"RedHatFails",
             "Red Hat\n",
             "iqn.x",
             {{0x300, 0, ""}},
             script_failed,
             {"/etc/init.d/iscsid stop"},
             false},
        Stop{"RedHatLost",
             "Red Hat\n",
             "iqn.x",
             {{-1, ECHILD, ""}},
             success,
             {"/etc/init.d/iscsid stop"},
             false},
        Stop{"SuseSurvivor",
             "SUSE\n",
             "iqn.x",
             {{0x300, 0, ""}, {0, 0, ""}, {256, 0, ""}},
             script_failed,
             forced,
             false},
        Stop{"SuseLostAtLast",
             "SUSE\n",
             "iqn.x",
             {{0x300, 0, ""}, {0, 0, ""}, {-1, ECHILD, ""}},
             success,
             forced,
             false},
        Stop{"Neither", "Other\n", "iqn.x", {{0, 0, ""}}, failure, {}, false},
        Stop{"NameTooLong", "Red Hat\n", long_name.c_str(), {{0, 0, ""}}, initiator_name_too_long, {}, true},
        Stop{"NameEmpty", "Red Hat\n", "", {{0, 0, ""}}, no_initiator_node, {}, true},
        Stop{"NoNameLine", "Red Hat\n", nullptr, {{0, 0, ""}}, success, {"/etc/init.d/iscsid stop"}, false}),
    [](const auto& parameter) { return std::string{parameter.param.name}; });

TEST_F(StartStop, ASessionKeepsItUp) {
    host::start_stack();
    host::add_session({1});
    EXPECT_EQ(initiator.StopInitiator(1), cannot_stop_session_active);
    EXPECT_TRUE(shell::commands().empty());
    EXPECT_TRUE(host::log_entries().empty());
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
