// The generic list query, portal groups and versions.
#include <gtest/gtest.h>

#include <cstring>

#include "kvlinopinitr/iscsi_status.h"
#include "tests/support/agent.h"
#include "tests/support/host.h"

namespace {

using namespace iscsi_status;

constexpr const char* portal = "/var/lib/iscsi/send_targets/10.0.0.1,3260/";

class Lists : public testing::Test {
protected:
    Lists() {
        host::start_stack();
        host::set_initiator_name("iqn.2024-01.example.host:initiator");
        for (const char* entry : {"iqn.a,10.0.0.1,3260,1,default", "iqn.a,192.168.100.20,70000,258,default",
                                  "iqn.b,1234567890.123456789,3260,1,default", "st_config"}) {
            host::write_file(std::string{portal} + entry, "");
        }
    }

    unsigned int list(int type, const void* object) {
        bytes = 77;
        return initiator.GetList(1, type, buffer.data(), &bytes, object);
    }

    _TargetPortalGroups record(std::size_t index) {
        _TargetPortalGroups group;
        std::memcpy(&group, buffer.data() + index * sizeof group, sizeof group);
        return group;
    }

    OpenInitiator initiator;
    GuardedBuffer<290> buffer;
    unsigned int bytes = 0;
};

TEST_F(Lists, PortalsOfATargetByNameAndByRecord) {
    _TargetInformation target{};
    std::strcpy(target.target_name, "iqn.a");
    for (const int type : {LIST_PORTAL_GROUPS, LIST_TARGET_PORTALS}) {
        const void* object = type == LIST_PORTAL_GROUPS ? static_cast<const void*>("iqn.a") : &target;
        ASSERT_EQ(list(type, object), success) << type;
        ASSERT_EQ(bytes, 58u) << type;
        EXPECT_EQ(std::memcmp(record(0).address, "\x0a\0\0\x01", 4), 0);
        EXPECT_EQ(record(0).tpgt, 1);
        EXPECT_EQ(+record(0).port, 3260u);
        EXPECT_EQ(std::memcmp(record(1).address, "\xc0\xa8\x64\x14", 4), 0);
        EXPECT_EQ(record(1).tpgt, 2) << "a tag keeps its low 8 bits";
        EXPECT_TRUE(buffer.untouched_from(58));
    }
}

TEST_F(Lists, AnAddressThatFillsItsFieldStaysWithinIt) {
    ASSERT_EQ(list(LIST_PORTAL_GROUPS, "iqn.b"), success);
    ASSERT_EQ(bytes, 29u);
    EXPECT_EQ(+record(0).port, 3260u);
    EXPECT_EQ(record(0).tpgt, 1);
}

TEST_F(Lists, WhatIsNotThere) {
    _TargetInformation unknown{};
    std::memset(unknown.target_name, 'n', sizeof unknown.target_name);
    const _SessionInformation gone{};
    const struct {
        int type;
        const void* object;
        unsigned int status;
        unsigned int bytes;
    } cases[] = {
        {LIST_PORTAL_GROUPS, "iqn.none", failure, 0},
        {LIST_PORTAL_GROUPS, nullptr, failure, 0},
        {LIST_TARGET_PORTALS, &unknown, success, 0},
        {LIST_TARGET_PORTALS, nullptr, success, 0},
        {LIST_CONNECTIONS, &gone, failure, 0},
        {LIST_CONNECTIONS, nullptr, failure, 0},
        {7, nullptr, success, 77},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(list(c.type, c.object), c.status) << c.type;
        EXPECT_EQ(bytes, c.bytes) << c.type;
        EXPECT_TRUE(buffer.untouched_from(0));
    }
    host::remove("/var/lib/iscsi");
    EXPECT_EQ(list(LIST_TARGET_PORTALS, &unknown), target_not_found);
    EXPECT_EQ(bytes, 0u);
    EXPECT_EQ(list(LIST_PORTAL_GROUPS, "iqn.a"), failure);
    EXPECT_TRUE(host::log_entries().empty());
}

TEST_F(Lists, TheConnectionOfASession) {
    host::add_session({7});
    _SessionInformation session{};
    session.SessionId[0] = 7;
    host::remove("/sys/class/iscsi_session/session7/device");
    EXPECT_EQ(list(LIST_CONNECTIONS, &session), 0xFFFFFFFFu);
    EXPECT_EQ(bytes, 74u) << "what is known of it is delivered all the same";
}

TEST(Versions, OfAModuleThatIsNotThere) {
    OpenInitiator initiator;
    _InitiatorVersion version{};
    unsigned int bytes = 77;
    host::remove_stack();
    EXPECT_EQ(initiator.GetInitiatorVersion(reinterpret_cast<char*>(&version), &bytes), 1u);
    EXPECT_EQ(bytes, 77u);
    EXPECT_STREQ(version.module_name, "");
}

}  // namespace
