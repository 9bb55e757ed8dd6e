// The checks that open every operation, and how failures are recorded and logged.
#include <gtest/gtest.h>

#include <cstring>
#include <functional>
#include <ostream>

#include "kvlinopinitr/iscsi_status.h"
#include "tests/support/agent.h"
#include "tests/support/host.h"

// The hooks are called by their exported names, so an agent's developer can put own ones in their place.
static std::vector<std::string> hooks;
extern "C" {
int print_session_info(_SessionInformation* list, unsigned int count) {
    hooks.push_back("sessions " + std::to_string(count) + (list != nullptr ? "" : " null"));
    return 0;
}
int print_connection_info(_ConnectionInformation* list) {
    hooks.push_back(list != nullptr ? "connection" : "no connection");
    return 0;
}
int print_kv_settings(_iSCSI_Property* properties, unsigned int count) {
    hooks.push_back("settings " + std::to_string(properties[0].id) + " of " + std::to_string(count));
    return 0;
}
}

namespace {

using namespace iscsi_status;

unsigned char session_id[16] = {1};
unsigned char address[4] = {10, 0, 0, 1};

unsigned int len, count;
_iSCSI_Property no_settings[] = {{78, ""}};

unsigned int log_in(OpenInitiator& initiator, int index) {
    _LoginParams params{};
    params.node_index = static_cast<unsigned int>(index);
    return initiator.LoginTarget(&params);
}

struct Operation {
    const char* name;
    std::function<unsigned int(OpenInitiator&, int index)> call;
    unsigned int wrong_index;    // what index 2 gives; 0: no index check
    unsigned int not_installed;  // what a host without the stack gives; 0: no stack check
    unsigned int stopped;        // the same with the stack installed but stopped

    friend std::ostream& operator<<(std::ostream& out, const Operation& item) { return out << item.name; }
};

const Operation table[] = {
    {"StartInitiator", [](auto& o, int i) { return o.StartInitiator(i); }, 176, 182, 0},
    {"StopInitiator", [](auto& o, int i) { return o.StopInitiator(i); }, 176, 182, 183},
    {"GetInitiatorList", [](auto& o, int) { return o.GetInitiatorList(nullptr, &len); }, 0, 182, 0},
    {"GetInitiatorGlobals", [](auto& o, int) { return o.GetInitiatorGlobals(nullptr, &len); }, 0, 182, 0},
    {"GetTargetList", [](auto& o, int i) { return o.GetTargetList(i, 0, nullptr, &len); }, 176, 0, 0},
    {"DiscoverTarget",
     [](auto& o, int i) { return o.DiscoverTarget(i, address, 3260, nullptr, nullptr, &count, &len); }, 0,
     182, 183},
    {"LoginTarget", log_in, 176, 182, 183},
    {"LogoutTarget", [](auto& o, int i) { return o.LogoutTarget(i, session_id); }, 176, 182, 183},
    {"QuerySessionCount", [](auto& o, int) { return o.QuerySessionCount(&count); }, 0, 182, 183},
    {"QuerySessionList", [](auto& o, int) { return o.QuerySessionList(nullptr, &count, &len); }, 0, 182, 183},
    {"QueryDiskCount", [](auto& o, int) { return o.QueryDiskCount(session_id, &count); }, 0, 182, 183},
    {"QueryDisks", [](auto& o, int) { return o.QueryDisks(session_id, nullptr, &count, &len); }, 0, 182, 183},
    {"RemoveTarget", [](auto& o, int i) { return o.RemoveTarget(i, address, 3260, nullptr); }, 176, 182, 183},
    {"RemovePersistentTarget",
     [](auto& o, int i) { return o.RemovePersistentTarget(i, nullptr, address, 3260, nullptr); }, 176, 182,
     183},
    {"GetProperty", [](auto& o, int i) { return o.GetProperty(i, 7, nullptr, &len); }, 176, 182, 0},
    {"SetProperty", [](auto& o, int i) { return o.SetProperty(i, no_settings); }, 176, 182, 0},
    {"GetList40", [](auto& o, int i) { return o.GetList(i, 40, nullptr, &len, "iqn.none"); }, 176, 182, 183},
    {"GetList7", [](auto& o, int i) { return o.GetList(i, 7, nullptr, &len); }, 176, 182, 183},
    {"GetList41", [](auto& o, int i) { return o.GetList(i, 41, nullptr, &len, nullptr); }, 176, 0, 0},
};

class Checks : public testing::TestWithParam<Operation> {
protected:
    Checks() {
        initiator.err_msg[0] = '\0';
        shell::answer({{0, 0, ""}});
        op_init_stack_avail = op_initiator_started = 7;
    }
    OpenInitiator initiator;
};

TEST_P(Checks, IndexThenStack) {
    const Operation& operation = GetParam();
    const auto expect_refusal = [&](unsigned int expected, int index, const char* state) {
        if (expected == success) return;
        EXPECT_EQ(operation.call(initiator, index), expected) << state;
        EXPECT_TRUE(shell::commands().empty()) << state;
    };
    host::remove_stack();
    expect_refusal(operation.wrong_index, 2, "wrong index");
    if (operation.wrong_index != success) {
        EXPECT_EQ(op_init_stack_avail, 7u) << "the index is checked before any probe";
        EXPECT_EQ(op_initiator_started, 7u);
    }
    expect_refusal(operation.not_installed, 1, "not installed");
    host::install_stack();
    expect_refusal(operation.stopped, 1, "stopped");

    std::vector<std::string> log;
    const std::string message = "There is NO multiple initiators support.";
    if (std::string{operation.name} == "GetProperty") log = {"5 2 " + message};
    EXPECT_EQ(host::log_entries(), log);
    EXPECT_EQ(initiator.err_msg, log.empty() ? "" : message);
}

TEST_P(Checks, GoesAheadWhereTheTableSaysSo) {
    const Operation& operation = GetParam();
    host::set_initiator_name("iqn.2024-01.example.host:initiator");
    if (operation.not_installed == success) {
        host::remove_stack();
        EXPECT_NE(operation.call(initiator, 1), 182u);
    }
    if (operation.stopped == success && std::string{operation.name} != "StartInitiator") {
        host::install_stack();
        host::stop_stack();
        EXPECT_NE(operation.call(initiator, 1) | 1u, 183u) << "neither 182 nor 183";
    }
}

INSTANTIATE_TEST_SUITE_P(Operations, Checks, testing::ValuesIn(table),
                         [](const auto& parameter) { return std::string{parameter.param.name}; });

TEST(Frame, FixedAnswersNeedNoStack) {
    host::remove_stack();
    OpenInitiator o;
    const std::vector<unsigned int> answers{o.AddConnection(0, nullptr, nullptr, nullptr, 0),
                                            o.RemoveConnection(0, nullptr, nullptr),
                                            o.AddTargetEntry(0, nullptr, nullptr, 0),
                                            o.AddTargetChapEntry(0, nullptr, nullptr),
                                            o.DelTargetChapEntry(0, nullptr, nullptr),
                                            o.AddInitiatorNode(nullptr, nullptr),
                                            o.RemoveInitiatorNode(1),
                                            o.GetTargetList(-1, 0, nullptr, nullptr),
                                            o.GetTargetList(0, 0, nullptr, nullptr),
                                            o.IsServiceAvailable()};
    EXPECT_EQ(answers, (std::vector<unsigned int>{89, 89, 89, 89, 89, 176, 184, 172, 176, 0}));
    EXPECT_TRUE(host::log_entries().empty());
}

TEST(Frame, NullWhereItHasNoMeaningIsRefused) {
    host::start_stack();
    OpenInitiator o;
    const unsigned int answers[] = {o.LoginTarget(nullptr),
                                    o.LogoutTarget(1, nullptr),
                                    o.SetProperty(1, nullptr),
                                    o.DiscoverTarget(1, nullptr, 1, nullptr, nullptr, &count, nullptr),
                                    o.DiscoverTarget(1, address, 1, nullptr, nullptr, nullptr, nullptr),
                                    o.QuerySessionCount(nullptr),
                                    o.QuerySessionList(nullptr, nullptr, nullptr),
                                    o.QueryDiskCount(nullptr, &count),
                                    o.QueryDisks(session_id, nullptr, nullptr, nullptr),
                                    o.RemoveTarget(1, nullptr, 1, nullptr),
                                    o.RemovePersistentTarget(1, nullptr, nullptr, 1, nullptr)};
    for (const unsigned int answer : answers) EXPECT_EQ(answer, bad_parameters);
    host::remove("/etc/iscsi/iscsid.conf");
    EXPECT_EQ(o.QuerySessionCount(&count), success) << "it runs without a configuration file";
    EXPECT_EQ(op_init_stack_avail, 0u);
}

TEST(Frame, FailuresAreRecordedThroughTheTableAndLogged) {
    struct OwnMessages : OpenInitiator {
        const char* GetErrStr(int code) override { return code == 166 ? "no such thing" : "?"; }
    };
    host::start_stack();
    OwnMessages initiator;
    EXPECT_EQ(initiator.QueryDisks(session_id, nullptr, &count, &len), no_such_session);
    EXPECT_STREQ(initiator.err_msg, "no such thing");
    EXPECT_EQ(host::log_entries(), std::vector<std::string>{"5 2 no such thing"});
    EXPECT_EQ(initiator.QueryDiskCount(session_id, &count), no_such_session);
    EXPECT_EQ(host::log_entries().size(), 1u) << "the count does not log";
}

TEST(Frame, HooksSeeTheListsThatAreReturned) {
    host::start_stack();
    host::set_initiator_name("iqn.2024-01.example.host:initiator");
    host::write_file("/etc/iscsi/iscsid.conf", "node.startup = manual\n");
    host::add_session({1});
    OpenInitiator initiator;
    hooks.clear();
    _SessionInformation session{};
    ASSERT_EQ(initiator.QuerySessionList(&session, &count, &len), success);
    ASSERT_EQ(initiator.GetList(1, LIST_CONNECTIONS, nullptr, nullptr, &session), success);
    ASSERT_EQ(initiator.GetProperty(1, 0, nullptr, nullptr), success);
    ASSERT_EQ(initiator.GetInitiatorGlobals(nullptr, nullptr), success);
    EXPECT_EQ(hooks,
              (std::vector<std::string>{"sessions 1", "connection", "settings 1 of 2", "settings 1 of 2"}));
}

}  // namespace
