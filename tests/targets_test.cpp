// Discovery, the target list and removal, over databases of every form.
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <sstream>

#include "include/open_initiator.h"
#include "include/open_initiator_functions.h"
#include "tests/support/host.h"

namespace {

const std::string var = "/var/lib/iscsi/send_targets/", etc = "/etc/iscsi/send_targets/";
const std::string portal_dir = "10.1.1.5,3260/", here = ",10.1.1.5,3260,1,x";
const std::string var_portal = var + portal_dir, etc_portal = etc + portal_dir;

void clear_databases() {
    for (const char* path : {"/var/lib/iscsi", "/etc/iscsi/send_targets", "/etc/iscsi/nodes"})
        host::remove(path);
}

/// Empty files, of names without spaces.
void write_files(const std::string& directory, const std::string& names) {
    std::istringstream words{names};
    for (std::string name; words >> name;) host::write_file(directory + name, "");
}

/// As a target reads in a list: "INDEX NAME[ logged-in][ persistent][ ADDRESS:PORT,TAG]...; ".
std::string describe(const _TargetInformation& target) {
    std::string text = std::to_string(target.node_index) + " " + target.target_name;
    if (std::strcmp(target.info_text, "NOT AVAILABLE") != 0) text += " with wrong information";
    if (target.logged_in == 1) text += " logged-in";
    if (target.persistent == 1) text += " persistent";
    for (const _TargetPortalGroups* portal = target.portals; portal != nullptr;
         portal = next_record(portal)) {
        const auto* address = reinterpret_cast<const char*>(portal->address);
        text += " " + std::string{address, strnlen(address, sizeof portal->address)} + ":" +
                std::to_string(portal->port) + "," + std::to_string(portal->tpgt);
    }
    return text + "; ";
}

std::string release(_TargetInformation* list) {
    std::string text;
    for (const auto* target = list; target != nullptr; target = next_record(target))
        text += describe(*target);
    FreeTargetList(list);
    return text;
}

auto number_of_targets(const std::string& described) {
    return std::count(described.begin(), described.end(), ';');
}

std::string listed(int expected_status = 0, bool with_portals = false, _TargetInformation* own = nullptr) {
    _TargetInformation* list = own;
    EXPECT_EQ(_GetTargetList(&list, with_portals ? 1 : 0), expected_status);
    if (own != nullptr) EXPECT_EQ(list, expected_status == 0 ? own : nullptr);
    return release(list);
}

std::string discovered(const char* address, unsigned int expected_status, unsigned int counted_before = 0) {
    _TargetInformation* list = nullptr;
    unsigned int count = counted_before;
    EXPECT_EQ(_DiscoverTarget(address, 65536 + 3260, &list, &count), expected_status);
    const std::string targets = release(list);
    EXPECT_EQ(count, counted_before + number_of_targets(targets)) << "added, not set";
    return targets;
}

TEST(TargetList, ReadsWhateverTheDatabasesHold) {
    const std::string longest(223, 'n'), address_79(79, '1'), address_80(80, '1');
    const std::string a = portal_dir + "a" + here, empty = portal_dir + "st_config", dir = " " + portal_dir;
    struct {
        std::string in_var, in_etc;
        int status;
        std::string targets = "";
        std::vector<std::string> stale = {};  // portals whose records are deleted
    } const cases[] = {
        {"", "", -1},
        {"st_config", "", -1},
        // Targets, and portals of a target, stand by the value of their numbers.
        {dir + "d10,10.1.1.10,3260,2,x" + dir + "d10,10.1.1.9,3260,1,x" + dir + "d10,10.1.1.9,860,1,x" + dir +
             "st_config" + dir + "d9" + here,
         "", 0, "1 d9 10.1.1.5:3260,1; 1 d10 10.1.1.9:860,1 10.1.1.9:3260,1 10.1.1.10:3260,2; "},
        // Unusable entries and odd fields.
        {dir + "a,10.1.1.5,3260,1", "", 179},
        {a + dir + "a,10.1.1.5,3260,1" + dir + "b" + dir + "e,,," + dir + "z," + address_80 + ",3260,1,x", "",
         0, "1 a 10.1.1.5:3260,1; "},
        {dir + "a,10.1.1.5,68796,257,if,ace" + dir + "b,,x,," + dir + "c," + address_79 + ",1,1," + dir +
             longest + here,
         "", 0,
         "1 a 10.1.1.5:68796,1; 1 b :0,0; 1 c 1111111111111111:1,1; 1 " + longest + " 10.1.1.5:3260,1; "},
        // The second root is read behind an empty first one only.
        {"st_config", a, 0, "1 a 10.1.1.5:3260,1; "},
        {a, "10.1.1.6,3260/b" + here, 0, "1 a 10.1.1.5:3260,1; "},
        {empty, a, -2, "", {"10.1.1.5:3260"}},
        {"10.1.1.5,3260", a, 179},
        {"", empty, 179},
        // Portals that cannot be listed are skipped; the last one tried decides.
        {"1 10.1.1.3,3260 10.1.1.4,3260/st_config 10.1.1.5,3260,x/a" + here + " fe80:0000:0000:0005,3260/a" +
             here + " z",
         "",
         179,
         "",
         {"10.1.1.4:3260"}},
        {a + " 10.1.1.4,68796/st_config 10.1.1.6,;x/st_config $(touch$IFS.x),1/st_config",
         "",
         0,
         "1 a 10.1.1.5:3260,1; ",
         {"'$(touch$IFS.x):1'", "10.1.1.4:3260", "10.1.1.6:0"}},
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
        std::vector<std::string> commands;
        for (const std::string& portal : stale)
            commands.push_back("iscsiadm -m discovery -p " + portal + " -o delete 1&>/tmp/opiscsierr");
        EXPECT_EQ(shell::commands(), commands);
        EXPECT_EQ(number_of_targets(listed(status)), number_of_targets(targets)) << "without portals";
    }
}

TEST(TargetList, ReadsLinksDirectoriesAndFilesAlike) {
    const std::string node = "/etc/iscsi/nodes/iqn.l/10.1.1.5,3260,1",
                      automatic = "node.startup = automatic\n";
    host::write_file(node + "/default", automatic);
    host::make_link(etc_portal + "iqn.l" + here, node);
    host::make_link(etc_portal + "iqn.m" + here, "/nowhere");
    host::write_file(etc_portal + "iqn.n" + here + "/default", automatic);
    host::write_file(etc_portal + "iqn.o" + here, automatic);
    EXPECT_EQ(listed(), "1 iqn.l persistent; 1 iqn.m; 1 iqn.n; 1 iqn.o; ");
}

TEST(TargetList, ProbesAllTargetsOfAPortalWhereItsLastUsableEntryStands) {
    const std::string nodes = "/var/lib/iscsi/nodes/";
    write_files(var_portal, "a,10.1.1.5,3260,1,x b,10.1.1.6,3260,1,x c,10.1.1.6,68797,258,x d,1,2,3");
    write_files(var, "10.1.1.9,3260/a,10.1.1.5,3260,1,x");
    host::write_file(nodes + "a/10.1.1.5,3260,1/default", "node.startup = automatic\n");
    host::write_file(nodes + "b/10.1.1.6,3261,2/default", "node.startup = automatic\n");
    host::add_session({.number = 0, .target = "a", .scsi_host = 1, .address = "10.1.1.5", .port = "3260"});
    host::add_session({.number = 2, .target = "b", .scsi_host = 2, .address = "10.1.1.6", .port = "3260"});
    host::add_session({.number = 3, .target = "c", .scsi_host = 3, .address = "10.1.1.6", .port = "3261"});
    EXPECT_EQ(listed(), "1 a; 1 b persistent; 1 c logged-in; 1 a logged-in persistent; ");
}

TEST(TargetList, TakesPersistenceFromTheFirstDecidingPieceOfTheNodeRecord) {
    const std::string record = "nodes/a/10.1.1.5,3260,1/default", automatic = "node.startup = automatic\n";
    write_files(var_portal, "a" + here);
    struct {
        std::string in_var, in_etc;  // "-": no record
        bool persistent;
    } const cases[] = {
        {"-", automatic, true},
        {automatic, "-", true},
        {"node.startup = manual\n", automatic, false},
        {"", automatic, false},
        {"#" + automatic + "node.startup = manual\n", "-", false},
        {"#node.startup = manual\nnode.startup=automatic", "-", true},
        {"node.conn[0].startup = automatic\n", "-", false},
        {"node.startup = onboot\n" + automatic, "-", false},
        {" #" + automatic, "-", true},
        {std::string(79, '#') + automatic, "-", true},  // behind the 79th character is no comment
    };
    for (const auto& [in_var, in_etc, persistent] : cases) {
        for (const auto& [root, text] : {std::pair{"/var/lib/iscsi/", in_var}, {"/etc/iscsi/", in_etc}}) {
            host::remove(std::string{root} + "nodes");
            if (text != "-") host::write_file(root + record, text);
        }
        EXPECT_EQ(listed(), persistent ? "1 a persistent; " : "1 a; ") << in_var;
    }
    host::remove("/var/lib/iscsi/nodes");
    host::make_directory("/var/lib/iscsi/" + record);
    EXPECT_EQ(listed(), "1 a; ");
}

TEST(TargetList, LeavesTheOutputOfASuccessfulCleanUpOnly) {
    write_files(var_portal, "st_config");
    for (const shell::Answer& answer : {shell::Answer{0, 0, "x"}, {256, 0, "x"}, {-1, ECHILD, "x"}}) {
        shell::answer({answer});
        listed(-2);
        EXPECT_NE(errno, ECHILD);
        EXPECT_EQ(host::exists("/tmp/opiscsierr"), answer.result == 0);
    }
}

TEST(Discovery, ReportsWhatThePortalOffersNowAndNothingElse) {
    struct {
        std::string offered, targets;
    } const cases[] = {
        {"true", ""},
        {"mkdir $d; touch $d/st_config", ""},
        {"mkdir $d; touch $d/a,b", ""},
        {"mkdir $d; cd $d; touch st_config {b,a}',10.1.1.5,3260,1,x' a,10.1.1.6,3260,1,x; exit 1",
         "0 a 10.1.1.5:3260,1 10.1.1.6:3260,1; 0 b 10.1.1.5:3260,1; "},
    };
    const std::string command = "/run/simhost/override/iscsiadm";
    for (const std::string& root : {var, etc}) {
        const std::string portal = root + portal_dir;
        for (const auto& [offered, targets] : cases) {
            SCOPED_TRACE(root + ": " + offered);
            clear_databases();
            const std::string kept[] = {"/tmp/node/default", "/var/lib/iscsi/nodes/n/default",
                                        root + "10.1.1.6,3260/b"};
            for (const std::string& file : kept) host::write_file(file, "");
            write_files(portal, "st_config");
            host::make_directory(portal + "directory" + here);
            host::make_link(portal + "link" + here, "/tmp/node");
            host::write_file(command, "#!/bin/bash\nd=" + portal + "; [ ! -e $d ] || exit; " + offered);
            chmod(command.c_str(), 0755);
            shell::forget();
            EXPECT_EQ(discovered("10.1.1.5", targets.empty() ? 179 : 0), targets);
            EXPECT_EQ(shell::commands(),
                      std::vector<std::string>{"iscsiadm -m discovery -t st -p 10.1.1.5:3260"});
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
    discovered("10.1.1.5", 179);
    EXPECT_FALSE(host::exists(etc_portal)) << "an empty directory of the first root is passed over";
    write_files(var_portal, "kept" + here + "/file old" + here);
    write_files(etc_portal, "hidden" + here);
    EXPECT_EQ(discovered("10.1.1.5", 0, 5), "0 kept 10.1.1.5:3260,1; ");
    EXPECT_TRUE(host::exists(etc_portal + "hidden" + here));
}

TEST(Removal, AsksTheFirstTargetWhoseFirstPortalItIs) {
    host::start_stack();
    write_files(var_portal, "a,10.1.1.4,3260,1,x a,10.1.1.8,3260,1,x b" + here + " c" + here);
    write_files(var, "10.1.1.6,3260/d,10.1.1.6,68796,1,x");
    OpenInitiator initiator;
    struct {
        unsigned char address[4];
        std::uint16_t port;
        const char* logged_in;
        shell::Answer answer;
        unsigned int status;
        std::size_t commands;
    } cases[] = {
        {{10, 1, 1, 4}, 3260, "", {0, 0, ""}, 0, 1},
        {{10, 1, 1, 8}, 3260, "", {0, 0, ""}, 179, 0},
        {{10, 1, 1, 5}, 3261, "", {0, 0, ""}, 179, 0},
        {{10, 1, 1, 6}, 3260, "", {0, 0, ""}, 179, 0},
        {{10, 1, 1, 5}, 3260, "", {0, 0, ""}, 0, 1},
        {{10, 1, 1, 5}, 3260, "c", {256, 0, "but a session is using it."}, 167, 1},
        {{10, 1, 1, 5}, 3260, "b", {0, 0, ""}, 167, 0},
    };
    int number = 0;
    for (auto& [address, port, target, answer, status, commands] : cases) {
        SCOPED_TRACE(++number);
        host::add_session({.number = number, .target = target, .scsi_host = number, .address = "10.1.1.5"});
        shell::forget();
        shell::answer({answer});
        EXPECT_EQ(initiator.RemoveTarget(1, address, port, nullptr), status);
        EXPECT_EQ(shell::commands().size(), commands);
    }
}

/// Against the simulated host's own iscsiadm, whichever root its databases have.
TEST(Databases, OfBothRootsServeTheWholeLife) {
    host::write_file("/run/simhost/network.json", R"({"portals": [{"portal": "10.0.0.1:3260"}],
        "targets": [{"name": "iqn.o", "portals": ["10.0.0.1:3260"]}]})");
    for (const bool in_var : {true, false}) {
        SCOPED_TRACE(in_var);
        clear_databases();
        host::make_directory(in_var ? "/var/lib/iscsi" : "/etc/iscsi");
        EXPECT_EQ(discovered("10.0.0.1", 0), "0 iqn.o 10.0.0.1:3260,1; ");
        discovered("10.0.0.9", 179);
        const std::string refused = (in_var ? var : etc) + "10.0.0.9,3260";
        EXPECT_TRUE(host::exists(refused)) << "an empty record is left";
        EXPECT_EQ(listed(), "1 iqn.o; ");
        EXPECT_EQ(host::exists(refused), !in_var);
        EXPECT_EQ(_remove_iscsi_dirs("10.0.0.1", 3260), 0u);
        EXPECT_EQ(_remove_iscsi_dirs("10.0.0.1", 3260), 179u);
        EXPECT_EQ(_remove_persistent_entry(nullptr, "10.0.0.1", 3260, nullptr), 1u);
        EXPECT_EQ(listed(in_var ? -2 : 179), "");
        EXPECT_EQ(listed(in_var ? -1 : 179), "");
    }
}

}  // namespace
