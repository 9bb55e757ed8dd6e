// Discovery, the target list and removal, over databases of every form.
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>

#include "include/open_initiator.h"
#include "include/open_initiator_functions.h"
#include "tests/support/host.h"

namespace {

using Names = std::vector<std::string>;

const std::string var_portals = "/var/lib/iscsi/send_targets/", etc_portals = "/etc/iscsi/send_targets/";
const std::string portal_dir = "10.1.1.5,3260/", here = ",10.1.1.5,3260,1,default";
const std::string var_portal = var_portals + portal_dir, etc_portal = etc_portals + portal_dir;

std::string stale_delete(const std::string& portal) {
    return "iscsiadm -m discovery -p " + portal + " -o delete 1&>/tmp/opiscsierr";
}

void clear_databases() {
    for (const char* path : {"/var/lib/iscsi", "/etc/iscsi/send_targets", "/etc/iscsi/nodes"})
        host::remove(path);
}

/// As a target reads in a list: "INDEX NAME[ logged-in][ persistent][ ADDRESS:PORT,TAG]...".
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
    return text;
}

Names release(_TargetInformation* list) {
    Names names;
    for (const _TargetInformation* target = list; target != nullptr; target = next_record(target)) {
        names.push_back(describe(*target));
    }
    FreeTargetList(list);
    return names;
}

Names listed(int expected_status = 0, bool with_portals = false) {
    _TargetInformation* list = nullptr;
    EXPECT_EQ(_GetTargetList(&list, with_portals ? 1 : 0), expected_status);
    return release(list);
}

TEST(TargetList, ReadsWhateverTheDatabasesHold) {
    const std::string longest(223, 'n'), address_79(79, '1'), address_80(80, '1');
    const Names iqn_a = {"1 iqn.a 10.1.1.5:3260,1"};
    struct {
        const char* what;
        Names files;
        Names targets;
        int status = 0;
        Names commands = {};
    } const cases[] = {
        {"no database", {}, {}, -1},
        {"nothing but a setting", {var_portals + "st_config"}, {}, -1},
        {"one target", {var_portal + "st_config", var_portal + "iqn.a" + here}, iqn_a},
        {"portals of a target, and targets, by the value of their numbers",
         {var_portal + "d10,10.1.1.10,3260,2,default", var_portal + "d10,10.1.1.9,3260,1,default",
          var_portal + "d9" + here, var_portal + "d10,10.1.1.9,860,1,default"},
         {"1 d9 10.1.1.5:3260,1", "1 d10 10.1.1.9:860,1 10.1.1.9:3260,1 10.1.1.10:3260,2"}},
        {"unusable entries",
         {var_portal + "a,10.1.1.5,3260,1", var_portal + "b", var_portal + "iqn.a" + here,
          var_portal + "z," + address_80 + ",3260,1,default", var_portal + "e,,,"},
         iqn_a},
        {"unusable entries only", {var_portal + "a,10.1.1.5,3260,1"}, {}, 179},
        {"odd fields",
         {var_portal + "a,10.1.1.5,68796,257,if,ace", var_portal + "b,,x,,",
          var_portal + "c," + address_79 + ",1,1,"},
         {"1 a 10.1.1.5:68796,1", "1 b :0,0", "1 c 1111111111111111:1,1"}},
        {"the longest name", {var_portal + longest + here}, {"1 " + longest + " 10.1.1.5:3260,1"}},
        {"the second root behind an empty one",
         {var_portals + "st_config", etc_portal + "iqn.a" + here},
         iqn_a},
        {"the first root hides the second",
         {var_portal + "iqn.a" + here, etc_portals + "10.1.1.6,3260/b" + here},
         iqn_a},
        {"an empty portal of the first root hides the second one's",
         {var_portal + "st_config", etc_portal + "iqn.a" + here},
         {},
         -2,
         {stale_delete("10.1.1.5:3260")}},
        {"a portal of the first root that cannot be listed hides the second one's",
         {var_portals + "10.1.1.5,3260", etc_portal + "iqn.a" + here},
         {},
         179},
        {"an empty portal of the second root", {etc_portal + "st_config"}, {}, 179},
        {"portals that are not listed are skipped; the last one tried decides",
         {var_portals + "1", var_portals + "10.1.1.3,3260", var_portals + "10.1.1.4,3260/st_config",
          var_portals + "10.1.1.5,3260,x/a" + here, var_portals + "fe80:0000:0000:0005,3260/a" + here,
          var_portals + "z"},
         {},
         179,
         {stale_delete("10.1.1.4:3260")}},
        {"empty portals around one with targets",
         {var_portals + "10.1.1.4,68796/st_config", var_portal + "iqn.a" + here,
          var_portals + "10.1.1.6,;x/st_config", var_portals + "$(touch x),1/st_config"},
         iqn_a,
         0,
         {stale_delete("'$(touch x):1'"), stale_delete("10.1.1.4:3260"), stale_delete("10.1.1.6:0")}},
    };
    shell::answer({{0, 0, ""}});
    for (const auto& [what, files, targets, status, commands] : cases) {
        SCOPED_TRACE(what);
        clear_databases();
        shell::forget();
        for (const std::string& file : files) host::write_file(file, "");
        EXPECT_EQ(listed(status, true), targets);
        EXPECT_EQ(shell::commands(), commands);
        EXPECT_EQ(listed(status).size(), targets.size()) << "without portals";
    }
}

TEST(TargetList, TakesTheCallersFirstRecord) {
    const auto make = [] {
        return static_cast<_TargetInformation*>(std::calloc(1, sizeof(_TargetInformation) + 8));
    };
    _TargetInformation* list = make();
    EXPECT_EQ(_GetTargetList(&list, 0), -1);
    EXPECT_EQ(list, nullptr);
    host::write_file(var_portal + "iqn.a" + here, "");
    _TargetInformation* own = list = make();
    EXPECT_EQ(_GetTargetList(&list, 0), 0);
    EXPECT_EQ(list, own);
    EXPECT_EQ(release(list), Names{"1 iqn.a"});
}

TEST(TargetList, ReadsLinksDirectoriesAndFilesAlike) {
    const std::string node = "/etc/iscsi/nodes/iqn.l/10.1.1.5,3260,1";
    host::write_file(node + "/default", "node.startup = automatic\n");
    host::make_link(etc_portal + "iqn.l" + here, node);
    host::make_link(etc_portal + "iqn.m" + here, "/nowhere");
    host::write_file(etc_portal + "iqn.n" + here + "/default", "node.startup = automatic\n");
    host::write_file(etc_portal + "iqn.o" + here, "node.startup = automatic\n");
    EXPECT_EQ(listed(), (Names{"1 iqn.l persistent", "1 iqn.m", "1 iqn.n", "1 iqn.o"}));
}

TEST(TargetList, ProbesAllTargetsOfAPortalWhereItsLastUsableEntryStands) {
    const std::string nodes = "/var/lib/iscsi/nodes/";
    for (const char* entry :
         {"a,10.1.1.5,3260,1,x", "b,10.1.1.6,3260,1,x", "c,10.1.1.6,68797,258,x", "d,1,2,3"}) {
        host::write_file(var_portal + entry, "");
    }
    host::write_file(var_portals + "10.1.1.9,3260/a,10.1.1.5,3260,1,x", "");
    host::write_file(nodes + "a/10.1.1.5,3260,1/default", "node.startup = automatic\n");
    host::write_file(nodes + "b/10.1.1.6,3261,2/default", "node.startup = automatic\n");
    host::add_session({.number = 0, .target = "a", .scsi_host = 1, .address = "10.1.1.5", .port = "3260"});
    host::add_session({.number = 2, .target = "b", .scsi_host = 2, .address = "10.1.1.6", .port = "3260"});
    host::add_session({.number = 3, .target = "c", .scsi_host = 3, .address = "10.1.1.6", .port = "3261"});
    EXPECT_EQ(listed(), (Names{"1 a", "1 b persistent", "1 c logged-in", "1 a logged-in persistent"}));
}

TEST(TargetList, TakesPersistenceFromTheFirstDecidingPieceOfTheNodeRecord) {
    const std::string record = "nodes/a/10.1.1.5,3260,1/default";
    host::write_file(var_portal + "a" + here, "");
    struct {
        const char* in_var;
        const char* in_etc;
        bool persistent;
    } const cases[] = {
        {nullptr, nullptr, false},
        {"node.startup = automatic\n", nullptr, true},
        {nullptr, "node.startup = automatic", true},
        {"node.startup = manual\n", "node.startup = automatic\n", false},
        {"", "node.startup = automatic\n", false},
        {"#node.startup = automatic\nnode.startup = manual\n", nullptr, false},
        {"#node.startup = manual\nnode.startup=automatic\n", nullptr, true},
        {"node.conn[0].startup = automatic\nnode.name = a\n", nullptr, false},
        {"node.startup = onboot\nnode.startup = automatic\n", nullptr, false},
        {" #node.startup = automatic\n", nullptr, true},
        // The piece behind the 79th character of a comment is no comment.
        {"#234567890123456789012345678901234567890123456789012345678901234567890123456789"
         "node.startup = automatic\n",
         nullptr, true},
    };
    for (const auto& [in_var, in_etc, persistent] : cases) {
        SCOPED_TRACE(in_var != nullptr ? in_var : "");
        host::remove("/var/lib/iscsi/nodes");
        host::remove("/etc/iscsi/nodes");
        if (in_var != nullptr) host::write_file("/var/lib/iscsi/" + record, in_var);
        if (in_etc != nullptr) host::write_file("/etc/iscsi/" + record, in_etc);
        EXPECT_EQ(listed(), (Names{persistent ? "1 a persistent" : "1 a"}));
    }
    host::remove("/var/lib/iscsi/nodes");
    host::make_directory("/var/lib/iscsi/" + record);
    EXPECT_EQ(listed(), Names{"1 a"});
}

TEST(TargetList, LeavesTheOutputOfASuccessfulCleanUpOnly) {
    host::write_file(var_portal + "st_config", "");
    for (const shell::Answer& answer : {shell::Answer{0, 0, "x"}, {256, 0, "x"}, {-1, ECHILD, "x"}}) {
        shell::answer({answer});
        listed(-2);
        EXPECT_NE(errno, ECHILD);
        EXPECT_EQ(host::exists("/tmp/opiscsierr"), answer.result == 0);
    }
}

TEST(Discovery, ReportsWhatThePortalOffersNowAndNothingElse) {
    struct {
        std::string offered;
        unsigned int status;
        Names targets;
    } const cases[] = {
        {"true", 179, {}},
        {"mkdir $d; touch $d/st_config", 179, {}},
        {"mkdir $d; touch $d/a,b", 179, {}},
        {"mkdir $d; cd $d; touch st_config {b,a}',10.1.1.5,3260,1,x' a,10.1.1.6,3260,1,x; exit 1",
         0,
         {"0 a 10.1.1.5:3260,1 10.1.1.6:3260,1", "0 b 10.1.1.5:3260,1"}},
    };
    const std::string command = "/run/simhost/override/iscsiadm";
    for (const std::string& root : {var_portals, etc_portals}) {
        const std::string portal = root + portal_dir;
        for (const auto& [offered, status, targets] : cases) {
            SCOPED_TRACE(root + ": " + offered);
            clear_databases();
            for (const char* kept : {"/tmp/node/default", "/var/lib/iscsi/nodes/n/default"})
                host::write_file(kept, "kept");
            host::write_file(portal + "st_config", "");
            host::make_directory(portal + "directory" + here);
            host::make_link(portal + "link" + here, "/tmp/node");
            host::write_file(root + "10.1.1.6,3260/other" + here, "");
            host::write_file(command, "#!/bin/bash\nd=" + portal + "; [ ! -e $d ] || exit; " + offered);
            chmod(command.c_str(), 0755);
            shell::forget();
            _TargetInformation* list = nullptr;
            unsigned int count = 0;
            EXPECT_EQ(_DiscoverTarget("10.1.1.5", 65536 + 3260, &list, &count), status);
            EXPECT_EQ(count, targets.size());
            EXPECT_EQ(release(list), targets);
            EXPECT_EQ(shell::commands(), Names{"iscsiadm -m discovery -t st -p 10.1.1.5:3260"});
            EXPECT_EQ(host::exists(portal), offered != "true");
            EXPECT_EQ(
                host::read_file("/tmp/node/default") + host::read_file("/var/lib/iscsi/nodes/n/default"),
                "keptkept");
            EXPECT_TRUE(host::exists(root + "10.1.1.6,3260/other" + here));
        }
    }
}

TEST(Discovery, EmptiesTheFirstDirectoryWithEntriesAndSurvivesWhatCannotBeRemoved) {
    host::make_directory(var_portal);
    host::write_file(etc_portal + "old" + here, "");
    shell::answer({{-1, ECHILD, ""}});
    _TargetInformation* list = nullptr;
    unsigned int count = 0;
    errno = ECHILD;
    EXPECT_EQ(_DiscoverTarget("10.1.1.5", 3260, &list, &count), 179u);
    EXPECT_FALSE(host::exists(etc_portal)) << "an empty directory of the first root is passed over";

    host::write_file(var_portal + "kept" + here + "/file", "");
    host::write_file(var_portal + "old" + here, "");
    host::write_file(etc_portal + "hidden" + here, "");
    count = 5;
    EXPECT_EQ(_DiscoverTarget("10.1.1.5", 3260, &list, &count), 0u);
    EXPECT_EQ(release(list), Names{"0 kept 10.1.1.5:3260,1"});
    EXPECT_EQ(count, 6u) << "added, not set";
    EXPECT_TRUE(host::exists(etc_portal + "hidden" + here));
}

TEST(Removal, AsksTheFirstTargetWhoseFirstPortalItIs) {
    host::start_stack();
    for (const char* entry :
         {"a,10.1.1.4,3260,1,x", "a,10.1.1.8,3260,1,x", "b,10.1.1.5,3260,1,x", "c,10.1.1.5,3260,1,x"}) {
        host::write_file(var_portal + entry, "");
    }
    host::write_file(var_portals + "10.1.1.6,3260/d,10.1.1.6,68796,1,x", "");
    const auto session = [](int number, const char* target) {
        host::add_session({.number = number, .target = target, .scsi_host = number, .address = "10.1.1.5"});
    };
    OpenInitiator initiator;
    struct {
        std::uint8_t last_byte;
        std::uint16_t port;
        const char* logged_in;
        shell::Answer answer;
        unsigned int status;
        std::size_t commands;
    } const cases[] = {
        {4, 3260, "", {0, 0, ""}, 0, 1},    {8, 3260, "", {0, 0, ""}, 179, 0},
        {5, 3261, "", {0, 0, ""}, 179, 0},  {6, 3260, "", {0, 0, ""}, 179, 0},
        {5, 3260, "", {0, 0, ""}, 0, 1},    {5, 3260, "c", {256, 0, "but a session is using it."}, 167, 1},
        {5, 3260, "b", {0, 0, ""}, 167, 0},
    };
    int number = 0;
    for (const auto& [last_byte, port, logged_in, answer, status, commands] : cases) {
        if (*logged_in != '\0') session(++number, logged_in);
        shell::forget();
        shell::answer({answer});
        unsigned char address[] = {10, 1, 1, last_byte};
        EXPECT_EQ(initiator.RemoveTarget(1, address, port, nullptr), status) << int{last_byte} << ":" << port;
        EXPECT_EQ(shell::commands().size(), commands);
    }
}

/// The whole life of targets against the simulated host's own iscsiadm, over both database roots.
TEST(Life, OfTargetsOnTheSimulatedNetwork) {
    for (const std::string& root : {std::string{"/etc/iscsi/"}, std::string{"/var/lib/iscsi/"}}) {
        SCOPED_TRACE(root);
        clear_databases();
        host::make_directory(root);
        host::write_file("/run/simhost/network.json",
                         R"({"portals": [{"portal": "10.0.0.1:3260"}], "targets": [
            {"name": "iqn.2024-01.x:chap", "portals": ["10.0.0.1:3260"], "chap": {"user": "u$r", "secret": "it's"}},
            {"name": "iqn.2024-01.x:open", "portals": ["10.0.0.1:3260"], "luns": [{"lun": 0, "size_bytes": 8388608}]}
            ]})");
        const auto login = [](const char* target, const char* secret) {
            _LoginParams params{};
            std::strcpy(params.target_name, target);
            params.target_port = 3260;
            params.auth_method = *secret != '\0' ? 1 : 0;
            params.persistent = 1;
            std::strcpy(params.username, "u$r");
            std::strcpy(params.password, secret);
            return _LoginTarget(&params, "10.0.0.1");
        };
        const auto discover = [](const char* address) {
            _TargetInformation* list = nullptr;
            unsigned int count = 0;
            const unsigned int status = _DiscoverTarget(address, 3260, &list, &count);
            return std::make_pair(status, release(list).size());
        };
        EXPECT_EQ(discover("10.0.0.1"), std::make_pair(0u, std::size_t{2}));
        EXPECT_EQ(discover("10.0.0.9"), std::make_pair(179u, std::size_t{0}))
            << "refused: leaves an empty record";
        EXPECT_EQ(listed(), (Names{"1 iqn.2024-01.x:chap", "1 iqn.2024-01.x:open"}));
        EXPECT_EQ(host::exists(root + "send_targets/10.0.0.9,3260"), root == "/etc/iscsi/");

        EXPECT_EQ(login("iqn.2024-01.x:open", ""), 0u);
        EXPECT_EQ(login("iqn.2024-01.x:open", ""), 0u) << "a repeated login is not told from the first";
        EXPECT_EQ(login("iqn.2024-01.x:gone", ""), 199u);
        EXPECT_EQ(login("iqn.2024-01.x:chap", "wrong"), 199u);
        EXPECT_EQ(login("iqn.2024-01.x:chap", "it's"), 0u);
        EXPECT_EQ(listed(), (Names{"1 iqn.2024-01.x:chap logged-in persistent",
                                   "1 iqn.2024-01.x:open logged-in persistent"}));
        EXPECT_EQ(_remove_persistent_entry(nullptr, "10.0.0.1", 3260, nullptr), 0u);
        EXPECT_EQ(listed().back(), "1 iqn.2024-01.x:open logged-in");
        EXPECT_EQ(_remove_iscsi_dirs("10.0.0.1", 3260), 167u);
        for (int number = 0; number < 20; ++number) {
            unsigned char session[16] = {static_cast<unsigned char>(number)};
            if (host::exists("/sys/class/iscsi_session/session" + std::to_string(number))) {
                EXPECT_EQ(_LogoutTarget(session), 0u);
            }
        }
        EXPECT_EQ(_remove_iscsi_dirs("10.0.0.1", 3260), 0u);
        EXPECT_EQ(_remove_iscsi_dirs("10.0.0.1", 3260), 179u);
        EXPECT_EQ(login("iqn.2024-01.x:open", ""), 205u) << "no record to update";
        const bool in_var = root == "/var/lib/iscsi/";
        EXPECT_EQ(listed(in_var ? -2 : 179), Names{});
        EXPECT_EQ(listed(in_var ? -1 : 179), Names{});
    }
}

}  // namespace
