// Starting and stopping: which commands run in which order, and every way to fail.
#include "tests/support/test.h"

namespace {

using Lines = std::vector<std::string>;

constexpr int exit_3 = 0x300;  // as the shell reports it
const std::string iscsid = "/etc/init.d/iscsid", open_iscsi = "/etc/init.d/open-iscsi",
                  binary = "/sbin/iscsid", systemd = "/run/systemd", none = iscsid + ";" + open_iscsi + ";";
const Lines redhat_stop{iscsid + " stop"}, suse_stop{open_iscsi + " stop"};
const Lines forced{suse_stop[0], "killall iscsid", "rmmod iscsi_tcp"};

class StartStop : public testing::Test {
protected:
    StartStop() {
        host::start_stack();
        host::set_initiator_name("iqn.2024-01.example.host:initiator");
        initiator.err_msg[0] = '\0';
    }

    /// All is there but what is missing; a plain file in systemd's place is no sign of it.
    static void lay_out(const std::string& banner, const std::string& os_release,
                        const std::string& missing) {
        for (const std::string& file : {binary, iscsid, open_iscsi})
            host::put(file, missing.find(file + ";") == missing.npos ? "" : host::nothing);
        host::remove(systemd);
        host::put(systemd + (missing.ends_with(systemd) ? "/system" : "/system/x"), "");
        host::put("/etc/os-release", os_release);
        host::put("/etc/issue", banner.empty() ? host::nothing : banner);
        shell::forget();
    }

    void expect_log(const Lines& lines) {
        EXPECT_EQ(host::log_entries(), lines);
        host::forget_log();
    }

    OpenInitiator initiator;
};

TEST_F(StartStop, StartsOnTheDistribution) {
    const std::string redhat = iscsid + " start", suse = open_iscsi + " start",
                      units = "systemctl start iscsid", late = std::string(75, '.') + "SUSE SUSE",
                      later = std::string(77, '.') + "SUSE";
    const std::tuple<std::string, std::string, std::string, int, unsigned int, std::string> starts[] = {
        // banner, os-release, missing files, how the command ends if it starts anything, status, command
        {"Red Hat 6\n", "", "", -1, 1, redhat},
        {"Red Hat 6\n", "", "", exit_3, exit_3, redhat},
        {"Red Hat 6\n", "", iscsid + ";" + binary + ";", -1, 1, suse},
        {"Red Hat 6\n", "", none, 0, 0, units},
        {"Red Hat 6\n", "", none + systemd, -1, 1, suse},
        {"Welcome to SUSE Linux\n", "", binary + ";", -1, 313, ""},
        {"SUSE and Red Hat\n", "", "", -1, 1, redhat},
        {"Other", "NAME=suse\nID=\"sles\"\n", none, 0, 0, units},
        {"Other", "ID=other\nID_LIKE=\"some fedora\"\n", "", 0, 0, redhat},
        {"Other", "# ID=rhel\nID=rhel2\n", systemd, 0, 1, ""},
        {"Other", "ID=debian\n", "", 0, 0, units},  // scripts of these names do other things there
        {late, "", "", -1, 1, suse},                // in the first 80 characters
        {later, "", none + systemd, -1, 1, ""},
    };
    for (const auto& [banner, os_release, missing, end, status, command] : starts) {
        SCOPED_TRACE(banner + os_release + missing);
        host::stop_stack();
        host::write_file("/proc/modules", "iscsi_tcp 28672 0 - Live 0x0\n");
        lay_out(banner, os_release, missing);
        shell::answer({{0, 0, ""}, {std::max(end, 0), EPERM, ""}}, [script = end](std::string_view run) {
            if (script >= 0 && run.find(" start") != run.npos) host::start_stack();
        });
        EXPECT_EQ(initiator.StartInitiator(1), status);
        Lines commands{"modprobe iscsi_tcp"};
        if (!command.empty()) commands.push_back(command);
        EXPECT_EQ(shell::commands(), commands);
        const std::string message = std::string{"5 2 "} + initiator.GetErrStr(313);
        expect_log(status == 313 ? Lines{message} : Lines{});
    }
    host::start_stack();
    shell::answer({{256, 0, ""}});
    EXPECT_EQ(initiator.StartInitiator(1), 0U) << "it runs already";
    host::stop_stack();
    initiator.err_msg[0] = '\0';
    EXPECT_EQ(initiator.StartInitiator(1), 416U) << "no module";
    expect_log({"5 2 open iscsi initiator start failed: driver modules not loaded"});
    EXPECT_STREQ(initiator.err_msg, "");
}

TEST_F(StartStop, StopsOnTheDistribution) {
    using Answers = std::vector<shell::Answer>;
    const Answers good{{0, 0, ""}}, bad{{exit_3, 0, ""}, {0, 0, ""}, {256, 0, ""}};
    const Answers lost_at_last{{exit_3, 0, ""}, {0, 0, ""}, {-1, ECHILD, ""}};
    const Answers lost_at_first{{-1, ECHILD, ""}, {0, 0, ""}, {256, EPERM, ""}};
    const std::tuple<std::string, std::string, Answers, bool, unsigned int, Lines> stops[] = {
        // banner, missing files, answers of the commands, whether the first one stops anything
        {"Red Hat\n", "", bad, true, exit_3, redhat_stop},
        {"Red Hat\n", none, good, true, 0, {"systemctl stop iscsid.socket iscsid.service"}},
        {"Other\n", "", good, true, 0, {"systemctl stop iscsid.socket iscsid.service"}},
        {"SUSE\n", "", good, true, 0, suse_stop},
        {"SUSE\n", "", bad, false, exit_3, forced},
        {"SUSE\n", "", lost_at_last, false, 0, forced},
        {"SUSE\n", "", lost_at_first, false, ~0U, forced},
    };
    for (const auto& [banner, missing, answers, stop, status, commands] : stops) {
        SCOPED_TRACE(banner + missing);
        host::start_stack();
        lay_out(banner, "", missing);
        errno = 0;
        shell::answer(answers, [stops_it = stop](std::string_view) {
            if (stops_it) host::stop_stack();
        });
        EXPECT_EQ(initiator.StopInitiator(1), status);
        EXPECT_EQ(shell::commands(), commands);
        expect_log({});
    }
    lay_out("SUSE\n", "", "");
    host::start_stack();
    host::set_initiator_name("");
    EXPECT_EQ(initiator.StopInitiator(1), 191U);
    expect_log({std::string{"5 2 "} + initiator.GetErrStr(191)});
    host::write_file("/etc/iscsi/initiatorname.iscsi", "# nothing");
    EXPECT_NE(initiator.StopInitiator(1), 191U);
}

TEST_F(StartStop, TheBannerMustBeWritable) {
    host::write_file("/etc/issue", "Other\n");
    int code;
    for (const auto& [id, family] : {std::pair{"rhel", DISTRO_REDHAT},
                                     {"fedora", DISTRO_REDHAT},
                                     {"'centos'", DISTRO_REDHAT},
                                     {"suse", DISTRO_SUSE},
                                     {"opensuse", DISTRO_SUSE},
                                     {"sles\t", DISTRO_SUSE}}) {
        host::obey_permissions(false);
        host::write_file("/etc/os-release", std::string{"ID="} + id + "\n");
        chmod("/etc/os-release", 0400);
        host::obey_permissions(true);
        EXPECT_EQ(get_linux_distro(&code), 0) << id;
        EXPECT_EQ(code, family) << id;
    }
    chmod("/etc/issue", 0400);
    EXPECT_EQ(get_linux_distro(&code), 98);
}

TEST_F(StartStop, RunningTakesModuleAndDaemon) {
    EXPECT_EQ(check_stack_running(), 1);
    const std::pair<std::string, int> modules[] = {
        {std::string(79, 'x') + "iscsi_tcp not at the start of a line\n", 1},  // two pieces
        {std::string(78, 'x') + "iscsi_tcp\n", 0},
        {"libiscsi_tcp 1 0 - Live\nscsi iscsi_tcp", 0}};
    for (const auto& [text, loaded] : modules) {
        host::write_file("/proc/modules", text);
        EXPECT_EQ(is_module_loaded(), loaded) << text;
        EXPECT_EQ(check_stack_running(), loaded) << text;
    }
    host::stop_stack();
    host::write_file("/proc/modules", "iscsi_tcp\n");
    for (const char* pid : {"4000002\n", "0\n", "self\n", ""}) {
        host::write_file("/run/iscsid.pid", pid);
        EXPECT_EQ(check_stack_running(), 0) << pid;
    }
    // Where processes cannot be listed, only the daemon's own file tells, if it is a plain one.
    host::write_file("/proc/4000001/cmdline", "iscsid");
    host::write_file("/run/told", "4000001\n");
    chmod("/proc", 0100);
    alarm(20);  // a FIFO would be waited for
    const std::function<void(const char*)> files[] = {[](auto path) { host::write_file(path, "4000001\n"); },
                                                      [](auto path) { host::make_link(path, "/run/told"); },
                                                      [](auto path) { mkfifo(path, 0600); }};
    for (int expected = 1; const auto& make : files) {
        host::remove("/run/iscsid.pid");
        make("/run/iscsid.pid");
        host::obey_permissions(true);
        EXPECT_EQ(check_stack_running(), std::exchange(expected, 0)) << &make - files;
        host::obey_permissions(false);
    }
    const std::string module = host::module_file();
    for (const std::string& form : {module, module + ".xz", module + ".zst", module + ".gz"}) {
        host::remove_stack();
        host::write_file("/etc/iscsi/iscsid.conf", "");
        EXPECT_EQ(check_stack_available(), 0);
        host::write_file(form, "");
        EXPECT_EQ(check_stack_available(), 1) << form;
        host::remove(form);
    }
}

TEST_F(StartStop, DaemonsAreCountedByTheirProgram) {
    host::stop_stack();
    const std::tuple<const char*, std::string, int> processes[] = {
        {"9", "/sbin/iscsid", 1},
        {"4000001", {"/usr/sbin/iscsiadm\0iscsid", 25}, 0},
        {"5x", "/sbin/iscsid", 1},                        // a name that begins with a digit
        {"4000005", std::string(73, '/') + "iscsid", 1},  // its first 79 characters count
        {"4000006", std::string(74, '/') + "iscsid", 0},
    };
    for (const auto& [number, command_line, count] : processes) {
        const std::string directory = std::string{"/proc/"} + number;
        host::write_file(directory + "/cmdline", command_line);
        EXPECT_EQ(check_iscsid_instances(), count) << directory;
        host::remove(directory);
    }
    host::make_link("/proc/4000004", "nowhere");
    int process = 4000010;
    for (const int count : {1, 2, 2}) {
        host::write_file("/proc/" + std::to_string(process++) + "/cmdline", "iscsid");
        EXPECT_EQ(check_iscsid_instances(), count) << "never more than 2";
    }
}

}  // namespace
