// Every allocation of every operation fails once: the answer is a status, nothing is lost or half done.
#include <gtest/gtest.h>
#include <malloc.h>

#include <climits>
#include <cstring>
#include <functional>
#include <set>

#include "kvlinopinitr/iscsi_status.h"
#include "tests/support/agent.h"
#include "tests/support/host.h"

extern "C" {
void* __libc_malloc(std::size_t size);
void* __libc_calloc(std::size_t count, std::size_t size);
}

namespace {

int countdown = -1;
int failures_left = 0;
bool has_failed = false;

bool fails() {
    if (countdown < 0 || countdown-- > 0) return false;
    countdown = 0;
    has_failed = true;
    if (--failures_left == 0) countdown = -1;
    return true;
}

}  // namespace

namespace memory {

/// From now on the n-th allocation of the process (0: the next one) and every one behind it fails.
void fail_from(int n) {
    failures_left = INT_MAX;
    has_failed = false;
    countdown = n;
}

/// Only the n-th allocation fails.
void fail_only(int n) {
    failures_left = 1;
    has_failed = false;
    countdown = n;
}

/// Allocations succeed again. Whether one had failed.
bool restore() {
    countdown = -1;
    return has_failed;
}

}  // namespace memory

// The library's own allocations end here too: these names stand before the C library's.
extern "C" void* malloc(std::size_t size) {
    return fails() ? nullptr : __libc_malloc(size);
}
extern "C" void* calloc(std::size_t count, std::size_t size) {
    return fails() ? nullptr : __libc_calloc(count, size);
}

namespace {

using namespace iscsi_status;

unsigned char session_id[16] = {1};
unsigned char address[4] = {10, 0, 0, 1};
unsigned char buffer[200000];
unsigned int count;
unsigned int bytes;

_LoginParams login() {
    _LoginParams params{};
    params.node_index = 1;
    std::strcpy(params.target_name, "iqn.a");
    params.auth_method = 2;
    std::strcpy(params.username, "user");
    std::strcpy(params.password, "secretsecret1");
    return params;
}

struct Operation {
    const char* name;
    std::function<unsigned int(OpenInitiator&)> call;
    std::set<unsigned int> answers;  // what it may say when an allocation failed
};
std::ostream& operator<<(std::ostream& out, const Operation& operation) {
    return out << operation.name;
}

const Operation table[] = {
    {"QuerySessionList",
     [](auto& o) { return o.QuerySessionList(buffer, &count, &bytes); },
     {0, 99, 183, 182}},
    {"QueryDiskCount", [](auto& o) { return o.QueryDiskCount(session_id, &count); }, {99, 183, 182}},
    {"QueryDisks",
     [](auto& o) { return o.QueryDisks(session_id, buffer, &count, &bytes); },
     {0, 99, 183, 182}},
    {"GetInitiatorList", [](auto& o) { return o.GetInitiatorList(buffer, &bytes); }, {0, 191, 182}},
    {"GetProperty", [](auto& o) { return o.GetProperty(1, 0, buffer, &bytes); }, {0, 191, 182}},
    {"GetTargetList", [](auto& o) { return o.GetTargetList(1, 0, buffer, &bytes); }, {0, 2, 179}},
    {"DiscoverTarget",
     [](auto& o) {
         count = 0;
         return o.DiscoverTarget(1, address, 3260, nullptr, buffer, &count, &bytes);
     },
     {2, 183, 182}},
    {"LoginTarget",
     [](auto& o) {
         _LoginParams params = login();
         return o.LoginTarget(&params);
     },
     {99, 183, 182}},
    {"LogoutTarget", [](auto& o) { return o.LogoutTarget(1, session_id); }, {99, 183, 182}},
    {"RemoveTarget", [](auto& o) { return o.RemoveTarget(1, address, 3260, nullptr); }, {99, 179, 183, 182}},
    {"RemovePersistentTarget",
     [](auto& o) { return o.RemovePersistentTarget(1, nullptr, address, 3260, nullptr); },
     {99, 183, 182}},
    {"SetProperty",
     [](auto& o) {
         _iSCSI_Property properties[] = {{7, "No"}, {78, ""}};
         return o.SetProperty(1, properties);
     },
     {99, 0xFFFFFFFF, 182}},
    {"GetList 40", [](auto& o) { return o.GetList(1, 40, buffer, &bytes, "iqn.a"); }, {1, 2, 191, 183, 182}},
    {"GetList 41",
     [](auto& o) {
         _TargetInformation target{};
         std::strcpy(target.target_name, "iqn.a");
         return o.GetList(1, 41, buffer, &bytes, &target);
     },
     {0, 2, 179, 191}},
    {"GetList 42",
     [](auto& o) {
         _SessionInformation session{};
         session.SessionId[0] = 1;
         return o.GetList(1, 42, buffer, &bytes, &session);
     },
     {0xFFFFFFFF, 191, 183, 182}},
    {"GetInitiatorVersion",
     [](auto& o) { return o.GetInitiatorVersion(reinterpret_cast<char*>(buffer), &bytes); },
     {99}},
    {"StopInitiator", [](auto& o) { return o.StopInitiator(1); }, {99, 191, 183, 182}},
};

class OutOfMemory : public testing::TestWithParam<Operation> {
protected:
    OutOfMemory() {
        host::start_stack();
        host::set_initiator_name("iqn.2024-01.example.host:initiator");
        host::write_file("/etc/iscsi/iscsid.conf", settings);
        for (const int number : {1, 2}) {
            host::add_session({.number = number,
                               .scsi_host = number,
                               .luns = {{0, "sda", "8", "V", "M"}, {1, "sdb", "8", "V", "M"}}});
        }
        recreate_targets();
    }

    static void recreate_targets() {
        for (const char* portal : {"10.0.0.1,3260", "10.0.0.2,3260"}) {
            for (const char* target : {"iqn.a", "iqn.b"}) {
                host::write_file(std::string{"/var/lib/iscsi/send_targets/"} + portal + "/" + target + "," +
                                     portal + ",1,default",
                                 "");
            }
        }
    }

    static constexpr const char* settings = "node.startup = manual\nnode.session.iscsi.InitialR2T = Yes\n";
};

TEST_P(OutOfMemory, EveryAllocationFailsOnce) {
    OpenInitiator initiator;
    const std::size_t before = mallinfo2().uordblks;
    const unsigned int healthy = GetParam().call(initiator);
    constexpr int most = 2000;
    int n = 0;
    for (bool failed = true; failed && n < most; ++n) {
        for (const bool one_only : {true, false}) {
            recreate_targets();
            host::write_file("/etc/iscsi/iscsid.conf", settings);
            one_only ? memory::fail_only(n) : memory::fail_from(n);
            const unsigned int status = GetParam().call(initiator);
            failed = memory::restore();
            EXPECT_TRUE(status == healthy || GetParam().answers.contains(status))
                << status << " at allocation " << n;
        }
    }
    EXPECT_LT(n, most);
    EXPECT_GT(n, 1) << "nothing was tried";
    EXPECT_LT(mallinfo2().uordblks, before + 20000) << "leaked";
    EXPECT_EQ(GetParam().call(initiator), healthy);
}

INSTANTIATE_TEST_SUITE_P(Operations, OutOfMemory, testing::ValuesIn(table), [](const auto& parameter) {
    std::string name = parameter.param.name;
    std::replace(name.begin(), name.end(), ' ', '_');
    return name;
});

}  // namespace

// Commands are not run: only what the library itself does is on trial.
extern "C" int system(const char*) {
    return 0;
}

// Nor is the maker's runtime library, whatever stands in for it.
extern "C" int getModinfo(const char*, char* version, char*) {
    version[0] = '2';
    return 0;
}
