// Every operation through the object: its checks, and in each situation of the table its whole answer.
#include "tests/support/operations.h"

#include <map>

#include "tests/support/test.h"

// The hooks are called by their exported names, so an agent's developer can put own ones in their place.
static std::vector<std::string> hooks;
static bool hooks_throw = false;
static int hook(const char* what, const void* list, unsigned int count) {
    hooks.push_back(what + std::string{list != nullptr ? " " : " null "} + std::to_string(count));
    if (hooks_throw) throw what;
    return 0;
}
extern "C" {
int print_target_info(_TargetInformation* list, int count) {
    return hook("targets", list, static_cast<unsigned int>(count));
}
int print_portals_info(_TargetPortalGroups* list, unsigned int) {
    return hook("portals", list, list != nullptr ? list->address[0] : 0U);
}
int print_session_info(_SessionInformation* list, unsigned int count) {
    return hook("sessions", list, count);
}
int print_connection_info(_ConnectionInformation* list) {
    return hook("connection", list, list != nullptr ? list->TargetPort : 0U);
}
int print_kv_settings(_iSCSI_Property* properties, unsigned int count) {
    return hook("settings", properties, count);
}
}

namespace {

using namespace operations;
using Lines = std::vector<std::string>;

constexpr std::size_t buffer_size = 40'000;

/// The calls of hooks; all others show nothing.
const std::map<std::string, std::string> shown = {{"DiscoverTarget", "targets 2"},
                                                  {"QuerySessionList", "sessions 2"},
                                                  {"GetProperty", "settings 4"},
                                                  {"GetInitiatorGlobals", "settings 4"},
                                                  {"GetList_Groups", "portals 10"},
                                                  {"GetList_Portals", "portals 10"},
                                                  {"GetList_GroupsOfUnknown", "portals null 0"},
                                                  {"GetList_GroupsOfNull", "portals null 0"},
                                                  {"GetList_Connections", "connection 3260"},
                                                  {"GetList_ConnectionNoHost", "connection 3260"},
                                                  {"GetList_ConnectionOfUnknown", "connection null 0"},
                                                  {"GetList_ConnectionOfNull", "connection null 0"}};

struct OwnMessages : OpenInitiator {
    const char* GetErrStr(int code) override {
        return code == 166 ? "no such thing" : throw std::string{"no message"};
    }
};

class Operations : public testing::Test {
protected:
    unsigned int call(const Operation& operation, OpenInitiator& on, int index = 1) {
        static unsigned char buffer[buffer_size];
        Call arguments{on, buffer, index};
        return operation.call(arguments);
    }

    void expect_in_full(const Operation& operation, const Outcome& expected, bool wants_list) {
        populate_host();
        operation.situation();
        std::string buffer(buffer_size, filling);
        Call call{initiator, wants_list ? reinterpret_cast<unsigned char*>(buffer.data()) : nullptr};
        initiator.err_msg[0] = '\0';
        shell::forget();
        hooks.clear();
        EXPECT_EQ(operation.call(call), expected.status);
        EXPECT_EQ(hooks, shown.contains(operation.name) ? Lines{shown.at(operation.name)} : Lines{});
        EXPECT_EQ(call.count, expected.count);
        EXPECT_EQ(call.bytes, expected.bytes);
        EXPECT_EQ(shell::commands(), expected.commands);
        const std::string message = initiator.GetErrStr(static_cast<int>(expected.status));
        EXPECT_EQ(host::log_entries(), expected.log == logged ? Lines{"5 2 " + message} : Lines{});
        EXPECT_EQ(initiator.err_msg, expected.log == logged ? message : "");
        const std::string content = expected_buffer(expected, buffer);
        const auto differs = std::mismatch(buffer.begin(), buffer.end(), content.begin());
        const auto begin = static_cast<std::size_t>(differs.first - buffer.begin());
        EXPECT_EQ(buffer.substr(begin, 40), content.substr(begin, 40)) << "from byte " << begin;
    }

    /// A check that answers 0 is none: the operation goes ahead as on a healthy host.
    void expect_check(const Operation& operation, unsigned int refusal, int index) {
        op_init_stack_avail = op_initiator_started = 7;
        shell::forget();
        EXPECT_EQ(call(operation, initiator, index), refusal != 0 ? refusal : operation.healthy.status);
        EXPECT_EQ(shell::commands(), refusal != 0 ? Lines{} : operation.healthy.commands);
    }

    OpenInitiator initiator;
};

TEST_F(Operations, AnswerInFull) {
    for (const Operation& operation : table) {
        SCOPED_TRACE(operation.name);
        expect_in_full(operation, operation.healthy, true);
        if (operation.healthy.bytes == untouched) continue;
        if (std::string{operation.name}.ends_with("Version")) continue;  // these want a buffer
        Outcome without_list = operation.healthy;
        without_list.bytes = untouched;
        without_list.content.clear();
        expect_in_full(operation, without_list, false);
    }
    _InitiatorNode nodes[2] = {};
    hooks.clear();
    EXPECT_EQ(print_initiator_info(nodes, 1, 4), 0);
    EXPECT_TRUE(hooks.empty()) << "of the settings, where they were not asked for";
}

TEST_F(Operations, CheckTheIndexThenTheStack) {
    for (const Operation& operation : table) {
        if (!operation.checks) continue;
        const std::string name = operation.name;
        SCOPED_TRACE(name);
        const auto [wrong_index, not_installed, stopped] = *operation.checks;
        initiator.err_msg[0] = '\0';
        for (const int index : {0, 2}) {
            populate_host();
            operation.situation();
            expect_check(operation, wrong_index, index);
            EXPECT_TRUE(wrong_index == 0 || op_init_stack_avail + op_initiator_started == 14U)
                << "the index is checked before any probe";
        }
        operation.situation();
        host::stop_stack();
        if (name == "StartInitiator") host::write_file("/proc/modules", "iscsi_tcp 28672 0 - Live 0x0\n");
        expect_check(operation, stopped, 1);
        EXPECT_TRUE(wrong_index != 0 || op_initiator_started == 0U) << "both are probed";
        operation.situation();
        host::remove_stack();
        expect_check(operation, not_installed, 1);
        const bool logs = name == "SetProperty" || name == "GetProperty";
        EXPECT_EQ(host::log_entries().size(), logs ? 1U : 0U);
        EXPECT_EQ(initiator.err_msg[0] == '\0', !logs);
    }
}

TEST_F(Operations, LetNoExceptionThroughAndReportByTheTable) {
    OwnMessages own;
    hooks_throw = true;
    for (const Operation& operation : table) {
        SCOPED_TRACE(operation.name);
        populate_host();
        operation.situation();
        hooks.clear();
        const unsigned int status = call(operation, initiator);
        EXPECT_EQ(status, hooks.empty() ? operation.healthy.status : 1U);
        EXPECT_NO_THROW(call(operation, own));
        const bool own_message = operation.healthy.status == 166 && operation.healthy.log == logged;
        EXPECT_STREQ(own.err_msg, own_message ? "no such thing" : "");
        own.err_msg[0] = '\0';
    }
    hooks_throw = false;
}

TEST_F(Operations, RefuseNullWhereItHasNoMeaning) {
    populate_host();
    OpenInitiator& o = initiator;
    unsigned char session[16] = {1}, address[4] = {10, 0, 0, 1};
    unsigned int count;
    const unsigned int answers[] = {o.LoginTarget(nullptr),
                                    o.LogoutTarget(1, nullptr),
                                    o.SetProperty(1, nullptr),
                                    o.DiscoverTarget(1, nullptr, 1, nullptr, nullptr, &count, nullptr),
                                    o.DiscoverTarget(1, address, 1, nullptr, nullptr, nullptr, nullptr),
                                    o.QuerySessionCount(nullptr),
                                    o.QuerySessionList(nullptr, nullptr, nullptr),
                                    o.QueryDiskCount(nullptr, &count),
                                    o.QueryDisks(session, nullptr, nullptr, nullptr),
                                    o.RemoveTarget(1, nullptr, 1, nullptr),
                                    o.RemovePersistentTarget(1, nullptr, nullptr, 1, nullptr)};
    for (const unsigned int answer : answers) EXPECT_EQ(answer, 205u);
    EXPECT_TRUE(host::log_entries().empty());
    host::remove("/etc/iscsi/iscsid.conf");
    EXPECT_EQ(o.QuerySessionCount(&count), 0u) << "it runs without a configuration file";
    EXPECT_EQ(op_init_stack_avail, 0u);
}

}  // namespace
