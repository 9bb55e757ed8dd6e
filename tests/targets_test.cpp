// Discovery, the target list and removal, over databases of every form.
#include "tests/support/test.h"

namespace {

const std::string var = "/var/lib/iscsi/send_targets/", etc = "/etc/iscsi/send_targets/";
const std::string portal_dir = "10.1.1.5,3260/", here = ",10.1.1.5,3260,1,x";
const std::string var_portal = var + portal_dir, etc_portal = etc + portal_dir;

void clear_databases() {
    for (const char* path : {"/var/lib/iscsi", "/etc/iscsi"}) host::remove(path);
}

/// Empty files, of names without spaces.
void write_files(const std::string& directory, const std::string& names) {
    std::istringstream words{names};
    for (std::string name; words >> name;) host::write_file(directory + name, "");
}

/// Releases a list, as "INDEX NAME[ logged-in][ persistent][ ADDRESS:PORT,TAG]...; " of each target.
std::string release(_TargetInformation* list) {
    std::string text;
    for (const auto* target = list; target != nullptr; target = next_record(target)) {
        text += std::to_string(target->node_index) + " " + target->target_name;
        if (std::strcmp(target->info_text, "NOT AVAILABLE") != 0) text += " with wrong information";
        if (target->logged_in == 1) text += " logged-in";
        if (target->persistent == 1) text += " persistent";
        for (const auto* portal = target->portals; portal != nullptr; portal = next_record(portal)) {
            const auto* address = reinterpret_cast<const char*>(portal->address);
            text += " " + std::string{address, strnlen(address, sizeof portal->address)} + ":" +
                    std::to_string(portal->port) + "," + std::to_string(portal->tpgt);
        }
        text += "; ";
    }
    FreeTargetList(list);
    return text;
}

auto number_of_targets(const std::string& described) {
    return std::count(described.begin(), described.end(), ';');
}

std::string listed(int expected_status = 0, bool with_portals = false, _TargetInformation* own = nullptr) {
    _TargetInformation* list = own;
    EXPECT_EQ(_GetTargetList(&list, with_portals ? 1 : 0), expected_status);
    EXPECT_TRUE(own == nullptr || list == (expected_status == 0 ? own : nullptr));
    return release(list);
}

std::string discovered(unsigned int expected_status, unsigned int counted_before = 0) {
    _TargetInformation* list = nullptr;
    unsigned int count = counted_before;
    EXPECT_EQ(_DiscoverTarget("10.1.1.5", 65536 + 3260, &list, &count), expected_status);
    const std::string targets = release(list);
    EXPECT_EQ(count, counted_before + number_of_targets(targets)) << "added, not set";
    return targets;
}

TEST(TargetList, ReadsWhateverTheDatabasesHold) {
    const std::string a = portal_dir + "a" + here, empty = portal_dir + "st_config", dir = " " + portal_dir;
    struct {
        std::string in_var, in_etc;
        int status;
        std::string targets = "", stale = "";  // portals whose records are deleted
    } const cases[] = {
        {"st_config", "", -1},
        // Targets, and portals of a target, stand by the value of their numbers.
        {dir + "d10,10.1.1.10,3260,2,x" + dir + "d10,10.1.1.9,3260,1,x" + dir + "d10,10.1.1.9,860,1,x" + dir +
             "st_config" + dir + "d9" + here,
         "", 0, "1 d9 10.1.1.5:3260,1; 1 d10 10.1.1.9:860,1 10.1.1.9:3260,1 10.1.1.10:3260,2; "},
        {a + dir + "a,10.1.1.5,3260,1" + dir + "b" + dir + "z," + std::string(80, '1') + ",3260,1,x", "", 0,
         "1 a 10.1.1.5:3260,1; "},
        {dir + "a,10.1.1.5,68796,257,if,ace" + dir + "b,,x,," + dir + "c," + std::string(79, '1') + ",1,1,",
         "", 0, "1 a 10.1.1.5:68796,1; 1 b :0,0; 1 c 1111111111111111:1,1; "},
        // The second root is read behind an empty first one only.
        {"st_config", a, 0, "1 a 10.1.1.5:3260,1; "},
        {a, "10.1.1.6,3260/b" + here, 0, "1 a 10.1.1.5:3260,1; "},
        {empty, a, -2, "", "10.1.1.5:3260"},
        {"10.1.1.5,3260", a, 179},
        {"", empty, 179},
        // Portals that cannot be listed are skipped; the last one tried decides.
        {"1 10.1.1.3,1 10.1.1.4,3260/st_config 10.1.1.5,3260,x/a,1,2,3, z", "", 179, "", "10.1.1.4:3260"},
        {a + " fd00::1,1/st_config 10.1.1.4,68796/st_config 10.1.1.6,;x/st_config $(touch$IFS.x),1/st_config",
         "", 0, "1 a 10.1.1.5:3260,1; ", "'$(touch$IFS.x):1' 10.1.1.4:3260 10.1.1.6:0 '[fd00::1]:1'"},
    };
    shell::answer({{0, 0, ""}});
    for (const auto& [in_var, in_etc, status, targets, stale] : cases) {
        SCOPED_TRACE(in_var + " | " + in_etc);
        clear_databases();
        shell::forget();
        write_files(var, in_var);
        write_files(etc, in_etc);
        auto* own = static_cast<_TargetInformation*>(std::calloc(1, sizeof(_TargetInformation) + 8));
        EXPECT_EQ(listed(status, true, own), targets);
        std::istringstream portals{stale};
        std::vector<std::string> commands;
        for (std::string portal; portals >> portal;)
            commands.push_back("iscsiadm -m discovery -p " + portal + " -o delete 1&>/tmp/opiscsierr");
        EXPECT_EQ(shell::commands(), commands);
        EXPECT_EQ(number_of_targets(listed(status)), number_of_targets(targets)) << "without portals";
    }
}

TEST(TargetList, LooksIntoTheSecondRootWhereTheFirstIsNoDirectory) {
    for (const std::string root : {"", "-> send_targets", "-> nowhere", "/"}) {
        clear_databases();
        host::put(var.substr(0, var.size() - 1), root);
        write_files(etc_portal, "a" + here);
        EXPECT_EQ(listed(), "1 a; ") << root;
        host::install_iscsiadm("mkdir -p " + etc_portal + "; touch " + etc_portal + "b" + here);
        EXPECT_EQ(discovered(0), "0 b 10.1.1.5:3260,1; ") << root;
    }
}

TEST(TargetList, ProbesEntriesOfAllKindsWhereTheLastUsableOneStands) {
    const std::string nodes = "/var/lib/iscsi/nodes/", startup = "node.startup = automatic\n";
    host::write_file(nodes + "a/10.1.1.5,3260,1/default", startup);
    host::write_file(nodes + "b/10.1.1.6,3261,2/default", startup);
    host::make_link(var_portal + "a,10.1.1.5,3260,1,x", nodes + "a/10.1.1.5,3260,1");
    host::make_link(var_portal + "b,10.1.1.6,3260,1,x", "/nowhere");
    host::write_file(var_portal + "c,10.1.1.6,68797,258,x/default", startup);
    write_files(var, "10.1.1.9,3260/a,10.1.1.5,3260,1,x 10.1.1.5,3260/d,1,2,3");
    host::add_session({.number = 0, .target = "a", .scsi_host = 1, .address = "10.1.1.5", .port = "3260"});
    host::add_session({.number = 2, .target = "b", .scsi_host = 2, .address = "10.1.1.6", .port = "3260"});
    host::add_session({.number = 3, .target = "c", .scsi_host = 3, .address = "10.1.1.6", .port = "3261"});
    for (const int no_connection : {4, 5})
        host::add_session({no_connection, "b", no_connection, "10.1.1.6", "3261"});
    host::remove("/sys/class/iscsi_host/host4/ipaddress");
    host::remove("/sys/class/iscsi_connection/connection5:0/port");
    host::add_session({6, "six", 6, "fd00:0000:0000:0000:0000:0000:0000:0001", "3260"});
    host::add_session({7, "seven", 6, "fd00::2", "3260"});
    write_files(var, "fd00::1,3260/seven,fd00::1,3260,1,x fd00::1,3260/six,fd00::1,3260,1,x");
    EXPECT_EQ(listed(),
              "1 a; 1 b persistent; 1 c logged-in; 1 a logged-in persistent; 1 seven; 1 six logged-in; ");
    char name[] = "a";
    _TargetPortalGroups* portals = nullptr;
    EXPECT_EQ(_GetPortalGroups(name, name, &portals), 0);
    EXPECT_EQ(next_record(portals), nullptr) << "those of the first directory alone";
    std::free(portals);
}

TEST(TargetList, TakesPersistenceFromTheFirstDecidingPieceOfTheNodeRecord) {
    const std::string record = "nodes/a/10.1.1.5,3260,1/default", automatic = "node.startup = automatic\n";
    write_files(var_portal, "a" + here);
    const std::tuple<std::string, std::string, bool> cases[] = {
        {"-", automatic, true},  // "-": no record
        {"", automatic, false},
        {"#node.startup = manual\nnode.startup=automatic", "-", true},
        {"node.startup = onboot\n" + automatic, "-", false},
        {std::string(79, '#') + automatic, "-", true},  // behind the 79th character is no comment
    };
    for (const auto& [in_var, in_etc, persistent] : cases) {
        for (const auto& [root, text] : {std::pair{"/var/lib/iscsi/", in_var}, {"/etc/iscsi/", in_etc}}) {
            host::remove(std::string{root} + "nodes");
            if (text != "-") host::write_file(root + record, text);
        }
        EXPECT_EQ(listed(), persistent ? "1 a persistent; " : "1 a; ") << in_var;
    }
    host::write_file("/etc/iscsi/" + record, automatic);
    host::put("/var/lib/iscsi/nodes", "no directory");
    EXPECT_EQ(listed(), "1 a persistent; ");
    host::remove("/var/lib/iscsi/nodes");
    host::write_file("/var/lib/iscsi/" + record, automatic);
    chmod(("/var/lib/iscsi/" + record).c_str(), 0400);
    host::obey_permissions(true);
    EXPECT_EQ(listed(), "1 a; ") << "a record that cannot be opened for writing too";
}

TEST(Discovery, ReportsWhatThePortalOffersNowAndNothingElse) {
    const std::pair<std::string, std::string> cases[] = {
        {"true", ""},
        {"mkdir $d; touch $d/a,b", ""},
        {"mkdir $d; cd $d; touch st_config {b,a}',10.1.1.5,3260,1,x' a,10.1.1.6,3260,1,x; exit 1",
         "0 a 10.1.1.5:3260,1 10.1.1.6:3260,1; 0 b 10.1.1.5:3260,1; "},
    };
    for (const std::string& root : {var, etc}) {
        const std::string portal = root + portal_dir;
        for (const auto& [offered, targets] : cases) {
            SCOPED_TRACE(root + ": " + offered);
            clear_databases();
            const std::string kept[] = {"/tmp/node/default", root + "10.1.1.6,3260/b"};
            for (const std::string& file : kept) host::write_file(file, "");
            write_files(portal, "st_config");
            host::make_directory(portal + "directory" + here);
            host::make_link(portal + "link" + here, "/tmp/node");
            host::install_iscsiadm("d=" + portal + "; [ ! -e $d ] || exit; " + offered);
            shell::forget();
            EXPECT_EQ(discovered(targets.empty() ? 179 : 0), targets);
            EXPECT_EQ(shell::commands().at(0), "iscsiadm -m discovery -t st -p 10.1.1.5:3260");
            EXPECT_EQ(host::exists(portal), offered != "true");
            for (const std::string& file : kept) EXPECT_TRUE(host::exists(file)) << file;
        }
    }
}

TEST(Discovery, EmptiesTheFirstDirectoryWithEntriesAndSurvivesWhatCannotBeRemoved) {
    host::make_directory(var_portal);
    write_files(etc_portal, "old" + here);
    shell::answer({{-1, ECHILD, ""}});
    errno = ECHILD;
    discovered(179);
    EXPECT_FALSE(host::exists(etc_portal)) << "an empty directory of the first root is passed over";
    write_files(var_portal, "kept" + here + "/file old" + here);
    write_files(etc_portal, "hidden" + here);
    EXPECT_EQ(discovered(0, 5), "0 kept 10.1.1.5:3260,1; ");
    EXPECT_TRUE(host::exists(etc_portal + "hidden" + here));
    chmod(var_portal.c_str(), 0);
    host::obey_permissions(true);
    discovered(179);
    EXPECT_TRUE(host::exists(etc_portal + "hidden" + here))
        << "nothing is deleted on account of a failed look";
    host::obey_permissions(false);
}

TEST(Removal, AsksTheFirstTargetWhoseFirstPortalItIs) {
    host::start_stack();
    write_files(var_portal, "a,10.1.1.4,3260,1,x a,10.1.1.8,3260,1,x b" + here + " c" + here);
    write_files(var, "10.1.1.6,3260/d,10.1.1.6,68796,1,x");
    const std::tuple<unsigned char, std::uint16_t, const char*, unsigned int, std::size_t> cases[] = {
        {4, 3260, "", 0, 1},   {8, 3260, "", 179, 0},  {5, 3261, "", 179, 0},
        {6, 3260, "", 179, 0}, {5, 3260, "c", 167, 1}, {5, 3260, "b", 167, 0}};
    int number = 0;
    for (const auto& [last_byte, port, target, status, commands] : cases) {
        SCOPED_TRACE(++number);
        unsigned char address[] = {10, 1, 1, last_byte};
        host::add_session({.number = number, .target = target, .scsi_host = number, .address = "10.1.1.5"});
        shell::forget();
        shell::answer({{status == 0 ? 0 : 256, 0, "but a session is using it."}});
        EXPECT_EQ(OpenInitiator{}.RemoveTarget(1, address, port, nullptr), status);
        EXPECT_EQ(shell::commands().size(), commands);
    }
}

TEST(Removal, IsRefusedOnAccountOfWhatMayBeTheTargetsAlone) {
    const std::string sysfs = "/sys/class/", address = sysfs + "iscsi_connection/connection1:0/address";
    const std::tuple<std::string, std::string, unsigned int> cases[] = {
        // target of the session, what cannot be read or, with "!", is gone, status
        {"b", var + "10.1.1.6,3260", 0},
        {"b", var + "10.1.1.4,3260", 99},
        {"b", address, 0},
        {"a", address, 99},
        {"b", sysfs + "iscsi_session/session1/targetname", 99},
        {"a", "!" + sysfs + "iscsi_session/session1/device !" + sysfs + "iscsi_host/host3/ipaddress", 167},
        {"a", "!" + sysfs + "iscsi_host/host3/ipaddress", 0},
    };
    host::start_stack();
    shell::answer({{0, 0, ""}});
    for (const auto& [target, sick, status] : cases) {
        SCOPED_TRACE(target + sick);
        clear_databases();
        host::remove("/sys");
        write_files(var, "10.1.1.4,3260/x,10.1.1.4,3260,1,x 10.1.1.5,3260/a" + here +
                             " 10.1.1.6,3260/y,1.1.1.1,1,1,x");
        host::add_session({.number = 1, .target = target, .address = "10.1.1.5"});
        std::istringstream paths{sick};
        for (std::string path; paths >> path;)
            path[0] == '!' ? host::remove(path.substr(1)) : static_cast<void>(chmod(path.c_str(), 0));
        host::obey_permissions(true);
        unsigned char portal[] = {10, 1, 1, 5};
        EXPECT_EQ(OpenInitiator{}.RemoveTarget(1, portal, 3260, nullptr), status);
        host::obey_permissions(false);
    }
}

}  // namespace
