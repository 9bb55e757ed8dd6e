// A target's whole life through the raw table, against the simulated host's own commands.
#include <gtest/gtest.h>

#include <cstring>

#include "kvlinopinitr/iscsi_status.h"
#include "tests/support/agent.h"
#include "tests/support/host.h"

namespace {

using namespace iscsi_status;

enum Slot {
    start_initiator = 2,
    stop_initiator = 3,
    get_target_list = 10,
    discover_target = 13,
    login_target = 14,
    logout_target = 15,
    query_session_count = 16,
    query_session_list = 17,
    query_disks = 19,
    remove_target = 20,
    remove_persistent_target = 21,
    set_property = 23,
    get_list = 24,
};

class LifeCycle : public testing::Test {
protected:
    template <class... Arguments>
    unsigned int call(int slot, Arguments... arguments) {
        return call_slot(initiator, slot, arguments...);
    }

    unsigned int log_in(const char* target, const char* secret, bool persistent = false) {
        _LoginParams params{};
        params.node_index = 1;
        std::strcpy(params.target_name, target);
        std::memcpy(params.target_address, address, sizeof address);
        params.target_port = 3260;
        params.persistent = persistent;
        if (secret != nullptr) {
            params.auth_method = 1;
            std::strcpy(params.username, "user1");
            std::strcpy(params.password, secret);
        }
        return call(login_target, &params);
    }

    unsigned int discover() {
        count = 0;
        return call(discover_target, 1, address, static_cast<unsigned short>(3260), nothing,
                    static_cast<void*>(targets), &count, &bytes);
    }

    // "+" logged in, "*" persistent.
    std::string listed() {
        const unsigned int status = call(get_target_list, 1, 0, static_cast<void*>(targets), &bytes);
        if (status != success) return std::to_string(status);
        std::string text;
        for (unsigned int i = 0; i < bytes / sizeof targets[0]; ++i) {
            if (i != 0) text += ' ';
            text += std::strrchr(targets[i].target_name, ':') + 1;
            if (targets[i].logged_in != 0) text += '+';
            if (targets[i].persistent != 0) text += '*';
        }
        return text;
    }

    OpenInitiator initiator;
    unsigned char address[4] = {10, 0, 0, 1};
    unsigned char* nothing = nullptr;
    _TargetInformation targets[10];
    unsigned int count = 0;
    unsigned int bytes = 0;
};

TEST_F(LifeCycle, FromStoppedToStopped) {
    ASSERT_EQ(std::system("/etc/init.d/open-iscsi stop && rmmod iscsi_tcp"), 0);
    EXPECT_EQ(call(query_session_count, &count), initiator_not_started);
    ASSERT_EQ(call(start_initiator, 1), success);
    EXPECT_EQ(call(query_session_count, &count), success);

    _iSCSI_Property settings[] = {{16, "7"}, {78, ""}};
    ASSERT_EQ(call(set_property, 1, settings), success);
    EXPECT_NE(host::read_file("/etc/iscsi/iscsid.conf").find("\nnode.conn[0].timeo.login_timeout = 7\n"),
              std::string::npos);

    ASSERT_EQ(discover(), success);
    EXPECT_EQ(count, 4u);
    EXPECT_EQ(bytes, 4u * 9676);
    EXPECT_EQ(listed(), "chap disks empty mutual");

    EXPECT_EQ(log_in("iqn.2024-01.example.array:chap", "wrongsecret99"), login_failed);
    EXPECT_EQ(log_in("iqn.2024-01.example.array:none", nullptr), login_failed);
    ASSERT_EQ(log_in("iqn.2024-01.example.array:chap", "secretsecret1"), success);
    ASSERT_EQ(discover(), success);
    ASSERT_EQ(log_in("iqn.2024-01.example.array:disks", nullptr, true), success);
    EXPECT_EQ(listed(), "chap+* disks+* empty mutual*");
    EXPECT_EQ(log_in("iqn.2024-01.example.array:disks", nullptr), success) << "as on a live host";

    _SessionInformation sessions[3];
    ASSERT_EQ(call(query_session_list, static_cast<void*>(sessions), &count, &bytes), success);
    ASSERT_EQ(count, 2u);
    EXPECT_EQ(sessions[1].Connections->InitiatorAddress[3], 100);
    _DiskInformation disks[4];
    ASSERT_EQ(call(query_disks, static_cast<unsigned char*>(sessions[1].SessionId), static_cast<void*>(disks),
                   &count, &bytes),
              success);
    EXPECT_EQ(count, 3u);
    EXPECT_STREQ(disks[2].Model, "ARCHIVE-DISK");
    unsigned char portals[290];
    EXPECT_EQ(initiator.GetList(1, LIST_PORTAL_GROUPS, portals, &bytes, "iqn.2024-01.example.array:disks"),
              success);
    EXPECT_EQ(bytes, 58u);

    EXPECT_EQ(call(stop_initiator, 1), cannot_stop_session_active);
    EXPECT_EQ(call(remove_target, 1, address, static_cast<unsigned short>(3260), nothing), session_active);
    EXPECT_EQ(call(remove_persistent_target, 1, static_cast<char*>(nullptr), address, 3260u, nothing),
              success);
    for (int i = 0; i < 2; ++i) {
        ASSERT_EQ(call(logout_target, 1, static_cast<unsigned char*>(sessions[i].SessionId)), success);
    }
    EXPECT_EQ(listed(), "chap disks empty mutual");
    EXPECT_EQ(call(remove_target, 1, address, static_cast<unsigned short>(3260), nothing), success);
    EXPECT_EQ(call(stop_initiator, 1), success);
    EXPECT_EQ(call(stop_initiator, 1), initiator_not_started);
    EXPECT_FALSE(host::exists("/tmp/tmpiscsidconf.txt"));
    for (const std::string& entry : host::log_entries()) EXPECT_EQ(entry.find("secret"), std::string::npos);
}

}  // namespace
