#include "tests/support/operations.h"

#include <cstring>

#include "kvlinopinitr/iscsi_records.h"
#include "tests/support/faults.h"
#include "tests/support/host.h"

using namespace std::string_literals;

namespace operations {
namespace {

using Commands = std::vector<std::string>;

unsigned char address[3][4] = {{10, 0, 0, 1}, {10, 0, 0, 3}, {10, 0, 0, 7}};
unsigned char session[3][16] = {{1}, {2}, {9}};

// Static, since a secret on the caller's own stack is not the library's.
_LoginParams login;
_iSCSI_Property settings[40];

template <class Record, std::size_t size>
Record with(char (Record::*field)[size], const std::string& text) {
    Record record{};
    text.copy(record.*field, size);
    return record;
}
char known[] = "iqn.d", unknown[] = "iqn";
auto known_target = with(&_TargetInformation::target_name, "iqn.d");
auto unknown_target = with(&_TargetInformation::target_name, std::string(256, 'n'));
_SessionInformation known_session, unknown_session;

constexpr auto start = [](Call& c) { return c.o.StartInitiator(c.index); };
constexpr auto stop = [](Call& c) { return c.o.StopInitiator(c.index); };
constexpr auto list_initiator = [](Call& c) { return c.o.GetInitiatorList(c.buffer, &c.bytes); };
constexpr auto get_globals = [](Call& c) { return c.o.GetInitiatorGlobals(c.buffer, &c.bytes); };
constexpr auto get_property = [](Call& c) { return c.o.GetProperty(c.index, 7, c.buffer, &c.bytes); };
constexpr auto get_by_index_2 = [](Call& c) { return c.o.GetProperty(2, 7, c.buffer, &c.bytes); };
constexpr auto list_targets = [](Call& c) { return c.o.GetTargetList(c.index, 0, c.buffer, &c.bytes); };
constexpr auto list_by_minus_1 = [](Call& c) { return c.o.GetTargetList(-1, 0, c.buffer, &c.bytes); };
constexpr auto count_sessions = [](Call& c) { return c.o.QuerySessionCount(&c.count); };
constexpr auto list_sessions = [](Call& c) { return c.o.QuerySessionList(c.buffer, &c.count, &c.bytes); };

template <int n>
constexpr auto log_out = [](Call& c) { return c.o.LogoutTarget(c.index, session[n]); };
template <int n>
constexpr auto count_disks = [](Call& c) { return c.o.QueryDiskCount(session[n], &c.count); };
template <int n>
constexpr auto list_disks = [](Call& c) { return c.o.QueryDisks(session[n], c.buffer, &c.count, &c.bytes); };
template <int n>
constexpr auto remove_target = [](Call& c) { return c.o.RemoveTarget(c.index, address[n], 3260, nullptr); };
template <int type, auto& object>
constexpr auto list = [](Call& c) { return c.o.GetList(c.index, type, c.buffer, &c.bytes, &object); };
template <int type>
constexpr auto list_null = [](Call& c) { return c.o.GetList(c.index, type, c.buffer, &c.bytes, nullptr); };
unsigned int list_connections(Call& c) {
    known_session.SessionId[0] = 1;
    return list<42, known_session>(c);
}
unsigned int make_manual(Call& c) {
    return c.o.RemovePersistentTarget(c.index, nullptr, address[0], 3260, nullptr);
}
unsigned int discover(Call& c) {
    c.count = 0;
    return c.o.DiscoverTarget(c.index, address[2], 3260, nullptr, c.buffer, &c.count, &c.bytes);
}
unsigned int library_version(Call& c) {
    c.bytes = 24;
    return c.o.GetLibVersion(reinterpret_cast<_Version*>(c.buffer));
}
unsigned int module_version(Call& c) {
    return c.o.GetInitiatorVersion(reinterpret_cast<char*>(c.buffer), &c.bytes);
}

_LoginParams& plain_login(const Call& c) {
    login = with(&_LoginParams::target_name, known);
    login.node_index = static_cast<unsigned int>(c.index);
    std::memcpy(login.target_address, address[1], 4);
    login.target_port = 3260;
    return login;
}
constexpr auto log_in = [](Call& c) { return c.o.LoginTarget(&plain_login(c)); };
unsigned int log_in_with_all(Call& c) {
    _LoginParams& params = plain_login(c);
    params.persistent = params.header_digest = params.data_digest = 1;
    params.auth_method = 2;
    std::strcpy(params.username, "user");
    std::strcpy(params.password, faults::secret);
    std::strcpy(params.username_in, "user_in");
    std::strcpy(params.password_in, faults::secret);
    return c.o.LoginTarget(&params);
}

unsigned int set(Call& c, std::initializer_list<std::pair<unsigned int, const char*>> properties) {
    std::memset(settings, 0, sizeof settings);
    _iSCSI_Property* next = settings;
    for (const auto& [id, value] : properties) {
        next->id = id;
        std::strncpy((next++)->value, value, sizeof next->value);
    }
    next->id = 78;
    return c.o.SetProperty(c.index, settings);
}
const std::string session_class = "/sys/class/iscsi_session", n224(224, 'n');
constexpr auto set_some = [](Call& c) { return set(c, {{1, "iqn.new"}, {7, "No"}, {24, faults::secret}}); };
constexpr auto set_unknown = [](Call& c) { return set(c, {{4, "None"}}); };
constexpr auto set_long_name = [](Call& c) { return set(c, {{1, n224.c_str()}}); };

const std::string secret = faults::secret, to_file = " 1&>/tmp/opiscsierr", iscsiadm = "iscsiadm -m ";
const std::string at_3 = iscsiadm + "node -p 10.0.0.3:3260 ", update = at_3 + "-o update \t\t\t-n node.";
const std::string auth = update + "session.auth.", digest = update + "conn[0].iscsi.";
const Commands login_only = {iscsiadm + "node -l -p 10.0.0.3:3260 -T iqn.d" + to_file};
const Commands login_all = {
    digest + "HeaderDigest -v CRC32C", digest + "DataDigest -v CRC32C", auth + "authmethod -v CHAP",
    auth + "username -v user",         auth + "password -v " + secret,  auth + "username_in -v user_in",
    auth + "password_in -v " + secret, update + "startup -v automatic", login_only[0]};
const Commands stale = {iscsiadm + "discovery -p 10.0.0.9:3260 -o delete" + to_file};
const Commands deletes = {stale[0], at_3 + "-o delete" + to_file};
const Commands manual = {iscsiadm + "node -p 10.0.0.1:3260 -o update \t\t-n node.startup -v manual" +
                         to_file};
const Commands discovery = {iscsiadm + "discovery -t st -p 10.0.0.7:3260"};
const Commands forced_stop = {"/etc/init.d/open-iscsi stop", "killall iscsid", "rmmod iscsi_tcp"};
const Commands start_script = {"modprobe iscsi_tcp", "/etc/init.d/iscsid start"};
const Commands stop_script = {"/etc/init.d/iscsid stop"};
const Commands logout_1 = {iscsiadm + "session -r 1 -u"}, logout_2 = {iscsiadm + "session -r 2 -u"};

const std::string properties =
    "0=\1|4=" + initiator + "|260=\x0f|264=manual|520=\x17|524=" + secret + "|780=\7|784=Yes";
const std::string node = "4=\1|8=" + initiator + "|520=" + initiator + "|796=\1|797=\1|801=" + initiator +
                         "|1057=\x0f|1061=manual|1317=\x17|1321=" + secret + "|1577=\7|1581=Yes|1837=\x4e";
const std::string library = "0=libkvlinopinitr|16=\xAA\xAA\xAA\xAA\2\0\2"s;
const std::string module = "0=iscsi_tcp|64=" + std::string(63, 'v') + "|128=" + std::string(127, 't');
const std::string recorded =
    "0=\1|4=iqn.a|260=NOT AVAILABLE|516=\1|9676=\1|9680=iqn.b|9936=NOT AVAILABLE|10193=\1|"
    "19352=\1|19356=iqn.c|19612=NOT AVAILABLE|19868=\1|29028=\1|29032=iqn.d|29288=NOT AVAILABLE";
const std::string discovered = "4=iqn.e|260=NOT AVAILABLE|9628=*|9680=iqn.f|9936=NOT AVAILABLE|19304=*";
const std::string sessions = "0=" + initiator + "|256=iqn.a|512=\1|528=\1|544=\1|546=*|554=" + initiator +
                             "|810=iqn.c|1066=\2|1082=\2|1098=\1|1100=*";
const std::string disks = "0=4096|64=sdb|96=\3|101=VEND|133=MODEL|197=" + initiator + "|453=iqn.a|" +
                          "709=8192|773=sdc|805=\3|808=\1|810=VEND|842=MODEL|906=" + initiator +
                          "|1162=iqn.a";
// The second portal's address fills its field, so it has no end; of its numbers the low 8 bits count. The
// third one's has no form of 4 bytes.
const std::string portals =
    "0=\x0a\0\0\3.0.3|16=\1\xbc\x0c|29=\xd2\x39"s + "34567890.12345|45=\2|46=\x70\x11\1|74=\1|75=\xbc\x0c"s;
const std::string target_end = "17=\x0a\0\0\1|35=\xbc\x0c"s, connection = "1=\x0a\0\0\x64|"s + target_end;

Outcome lists(unsigned int bytes, const std::string& content, const Commands& commands = {}) {
    return {0, commands, silent, untouched, bytes, content};
}

const Outcome found = {0, discovery, silent, 2, 19352, discovered};

constexpr Checks index_only{176, 0, 0}, installed{0, 182, 0}, running{0, 182, 183};
constexpr Checks index_installed{176, 182, 0}, index_running{176, 182, 183};

using Codes = std::vector<unsigned int>;
const Codes start_codes = {1, 98, 182, 416}, stop_codes = {1, 98, 99, 182, 183, 191},
            no_stop = {98, 99, 182, 183, 191};
const Codes of_portals = {1, 2, 182, 183, 191}, of_connection = {1, 182, 183, 191, 0xFFFFFFFF},
            offered = {2, 179, 182, 183};
const Codes probes = {99, 182, 183}, of_session = {99, 166, 182, 183}, removal = {99, 179, 182, 183};

void usual() {}
void without_sessions() {
    host::remove(session_class);
    host::start_stack();
}
/// A target without a session whose first portal is that of a target in use.
constexpr auto another_at_the_portal = [] {
    host::write_file(send_targets + "10.0.0.5,3260/iqn.x,10.0.0.1,3260,1,default", "");
};
void daemon_dies() {
    host::remove("/proc/4000000");
    shell::answer({{0, 0, ""}}, [](std::string_view command) {
        if (command.ends_with(" start")) host::start_stack();
    });
}
void offer() {
    host::remove(send_targets + "10.0.0.7,3260");
    add_targets("10.0.0.7", "z");
    shell::answer({{0, 0, ""}}, [](std::string_view command) {
        if (command.find(" -m discovery ") != command.npos) add_targets("10.0.0.7", "ef");
    });
}
constexpr auto short_settings = [] { new_settings(); };
/// More than is read at once.
constexpr auto long_settings = [] { new_settings(std::string(16'384, '#')); };
constexpr auto nothing_recorded = [] { host::remove(send_targets); };
constexpr auto no_name = [] { host::write_file("/etc/iscsi/initiatorname.iscsi", "# none\n"); };
constexpr auto long_name = [] { host::set_initiator_name(n224); };
constexpr auto no_device = [] { host::remove("/sys/class/iscsi_session/session1/device"); };
constexpr auto fail_all = [] { shell::answer({{256, 0, ""}}); };
constexpr auto log_in_quietly = [] { shell::answer({{0, 0, secret + "\n" + std::string(1000, 'x')}}); };
constexpr auto refuse_login = [] {
    shell::answer({{256, 0, "error " + secret + ": Authorization Failure\n"}});
};
void suse_without_sessions() {
    without_sessions();
    host::write_file("/etc/issue", "SUSE\n");
    host::remove("/sbin/iscsid");
}
}  // namespace

const std::vector<Operation> table = {
    {"IsServiceAvailable", [](Call& c) { return c.o.IsServiceAvailable(); }, {1}},
    {"AddConnection", [](Call& c) { return c.o.AddConnection(0, nullptr, nullptr, nullptr, 0); }, {89}},
    {"RemoveConnection", [](Call& c) { return c.o.RemoveConnection(0, nullptr, nullptr); }, {89}},
    {"AddInitiatorNode", [](Call& c) { return c.o.AddInitiatorNode(nullptr, nullptr); }, {176}},
    {"RemoveInitiatorNode", [](Call& c) { return c.o.RemoveInitiatorNode(1); }, {184}},
    {"AddTargetEntry", [](Call& c) { return c.o.AddTargetEntry(0, nullptr, nullptr, 0); }, {89}},
    {"AddTargetChapEntry", [](Call& c) { return c.o.AddTargetChapEntry(0, nullptr, nullptr); }, {89}},
    {"DelTargetChapEntry", [](Call& c) { return c.o.DelTargetChapEntry(0, nullptr, nullptr); }, {89}},
    {"GetLibVersion", library_version, lists(24, library)},
    {"GetInitiatorVersion", module_version, lists(257, module), usual, {99}},
    {"GetInitiatorVersion_NoModule", module_version, {7}, host::remove_stack},

    {"StartInitiator", start, {0, start_script}, daemon_dies, start_codes, index_installed},
    {"StopInitiator", stop, {0, stop_script}, without_sessions, stop_codes, index_running},
    {"StopInitiator_Suse", stop, {0, forced_stop}, suse_without_sessions, stop_codes},
    {"StopInitiator_Sessions", stop, {189}, usual, no_stop},
    {"StopInitiator_NameTooLong", stop, {198, {}, logged}, long_name},

    {"GetInitiatorList", list_initiator, lists(10165, node), usual, {182, 191}, installed},
    {"GetInitiatorList_NoName", list_initiator, {191, {}, logged}, no_name},
    {"GetInitiatorGlobals", get_globals, lists(1040, properties), long_settings, {182, 191}, installed},
    {"GetProperty", get_property, lists(1040, properties), usual, {182, 191}, index_installed},
    {"GetProperty_WrongIndex", get_by_index_2, {176, {}, logged}},
    {"GetProperty_NameTooLong", get_property, {198, {}, logged}, long_name},
    {"SetProperty", set_some, {0, {}, logged}, short_settings, {182, 0xFFFFFFFF}, index_installed},
    {"SetProperty_Unknown", set_unknown, {168, {}, logged}},
    {"SetProperty_NameTooLong", set_long_name, {198, {}, logged}},

    {"GetTargetList", list_targets, lists(38704, recorded, stale), usual, {2, 179}, index_only},
    {"GetTargetList_NegativeIndex", list_by_minus_1, {172}},
    {"GetTargetList_NothingRecorded", list_targets, {179}, nothing_recorded},
    {"DiscoverTarget", discover, found, offer, offered, running},
    {"DiscoverTarget_NothingOffered", discover, {179, discovery, silent, 0}},

    {"LoginTarget", log_in_with_all, {0, login_all}, log_in_quietly, {99, 182, 183, 205}, index_running},
    {"LoginTarget_Refused", log_in, {199, login_only, logged}, refuse_login, {0, 99, 182, 183}},
    {"LogoutTarget", log_out<1>, {0, logout_2}, usual, {1, 99, 166, 182, 183}, index_running},
    {"LogoutTarget_Fails", log_out<0>, {1, logout_1, logged}, fail_all},
    {"LogoutTarget_NoSession", log_out<2>, {166, {}, logged}},

    {"QuerySessionCount", count_sessions, {0, {}, silent, 2}, usual, probes, running},
    {"QuerySessionCount_None", count_sessions, {0}, without_sessions},
    {"QuerySessionList", list_sessions, {0, {}, silent, 2, 1108, sessions}, usual, of_session, running},
    {"QuerySessionList_None", list_sessions, {166}, without_sessions},
    {"QueryDiskCount", count_disks<0>, {0, {}, silent, 2}, usual, of_session, running},
    {"QueryDiskCount_NoSession", count_disks<2>, {166}},
    {"QueryDisks", list_disks<0>, {0, {}, silent, 2, 1418, disks}, usual, of_session, running},
    {"QueryDisks_NoSession", list_disks<2>, {166, {}, logged, untouched, 0}},

    {"RemoveTarget", remove_target<1>, {0, deletes}, usual, removal, index_running},
    {"RemoveTarget_InUse", remove_target<0>, {167, stale, logged}, another_at_the_portal, removal},
    {"RemoveTarget_NotRecorded", remove_target<2>, {179, stale, logged}},
    {"RemovePersistentTarget", make_manual, {0, manual}, usual, {1, 99, 182, 183}, index_running},
    {"RemovePersistentTarget_Fails", make_manual, {1, manual}, fail_all},

    {"GetList_Groups", list<40, known>, lists(87, portals, stale), usual, of_portals, index_running},
    {"GetList_GroupsOfUnknown", list<40, unknown>, {1, stale, silent, untouched, 0}},
    {"GetList_GroupsOfNull", list_null<40>, {1, {}, silent, untouched, 0}},
    {"GetList_Portals", list<41, known_target>, lists(87, portals, stale), usual, {2, 179, 191}, index_only},
    {"GetList_PortalsOfUnknown", list<41, unknown_target>, {0, stale, silent, untouched, 0}},
    {"GetList_PortalsOfNull", list_null<41>, {0, stale, silent, untouched, 0}},
    {"GetList_Connections", list_connections, lists(74, connection), usual, of_connection, index_running},
    {"GetList_ConnectionNoHost", list_connections, {~0U, {}, silent, untouched, 74, target_end}, no_device},
    {"GetList_ConnectionOfUnknown", list<42, unknown_session>, {1, {}, silent, untouched, 0}},
    {"GetList_ConnectionOfNull", list_null<42>, {1, {}, silent, untouched, 0}},
    {"GetList_Other", list_null<7>, {0}, usual, {}, index_running},
    {"GetList_NoName", list_null<7>, {191, {}, logged}, no_name},
};

std::string expected_buffer(const Outcome& outcome, const std::string& actual) {
    std::string buffer(outcome.bytes == untouched ? 0 : outcome.bytes, '\0');
    for (std::size_t at = 0; at < outcome.content.size();) {
        const std::size_t equals = outcome.content.find('=', at);
        const std::size_t offset = std::stoul(outcome.content.substr(at, equals - at));
        const std::size_t end = std::min(outcome.content.find('|', equals), outcome.content.size());
        std::string text = outcome.content.substr(equals + 1, end - equals - 1);
        if (text == "*") text = actual.substr(offset, sizeof(void*));
        buffer.replace(offset, text.size(), text);
        at = end + 1;
    }
    buffer.resize(actual.size(), filling);
    return buffer;
}

}  // namespace operations
