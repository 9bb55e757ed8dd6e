// Sessions and connections from sysfs, healthy and hostile.
#include <gtest/gtest.h>

#include <cstring>

#include "kvlinopinitr/iscsi_status.h"
#include "tests/support/agent.h"
#include "tests/support/host.h"

namespace {

using namespace iscsi_status;

constexpr const char* initiator_name = "iqn.2024-01.example.host:initiator";

std::string entry(int number) {
    return "/sys/class/iscsi_session/session" + std::to_string(number);
}

class Sessions : public testing::Test {
protected:
    Sessions() {
        host::start_stack();
        host::set_initiator_name(initiator_name);
    }

    // As the agent does it: count first, then the list into a buffer of that size.
    std::vector<_SessionInformation> list() {
        count = 0;
        EXPECT_EQ(initiator.QuerySessionCount(&count), success);
        std::vector<_SessionInformation> sessions(count + 1);
        std::memset(static_cast<void*>(sessions.data()), 0xAA, sessions.size() * sizeof sessions[0]);
        EXPECT_EQ(initiator.QuerySessionList(sessions.data(), &count, &bytes), success);
        EXPECT_EQ(bytes, count * 554);
        for (const unsigned char byte : reinterpret_cast<unsigned char(&)[554]>(sessions.back())) {
            EXPECT_EQ(byte, 0xAA) << "behind the last record";
        }
        sessions.pop_back();
        return sessions;
    }

    OpenInitiator initiator;
    unsigned int count = 0, bytes = 0;
};

int query(_ConnectionInformation*& connection) {
    const unsigned char session[16] = {1};
    connection = nullptr;
    return _QueryConnectionList("", session, &connection);
}

class SysfsForms : public Sessions, public testing::WithParamInterface<host::SysfsForm> {};

TEST_P(SysfsForms, RecordsInTheOrderOfTheNumbersWithTheirConnections) {
    for (const int number : {10, 1, 2}) {
        host::add_session({number, "iqn.t" + std::to_string(number), number + 20}, GetParam());
    }
    const auto sessions = list();
    ASSERT_EQ(sessions.size(), 3u);
    const int order[] = {1, 2, 10};
    for (std::size_t i = 0; i < sessions.size(); ++i) {
        const _SessionInformation& session = sessions[i];
        EXPECT_EQ(session.TargetName, "iqn.t" + std::to_string(order[i]));
        EXPECT_STREQ(session.InitiatorName, initiator_name);
        EXPECT_EQ(session.SessionId[0], order[i]);
        EXPECT_EQ(session.SessionHandle[0], order[i]);
        EXPECT_EQ(+session.ConnectionCount, 1);
        const _ConnectionInformation expected{{}, {10, 0, 0, 100}, {10, 0, 0, 1}, {}, 3260, {}};
        ASSERT_TRUE(session.Connections != nullptr);
        EXPECT_EQ(std::memcmp(session.Connections, &expected, sizeof expected), 0);
    }
    EXPECT_EQ(_QuerySessionID("10.0.0.1", 3260, "iqn.t10"), 10);
    EXPECT_EQ(_QuerySessionID("010.0.0.1", 3260, "iqn.t10"), -1);
    EXPECT_EQ(_QuerySessionID("10.0.0.1", 3261, "iqn.t10"), -1);
    EXPECT_EQ(_QuerySessionID("10.0.0.1", 3260, "iqn.t1"), 1);
    EXPECT_EQ(_QuerySessionID("10.0.0.1", 3260, "iqn.t"), -1);
}

constexpr host::SysfsForm forms[] = {host::SysfsForm::today, host::SysfsForm::older};
INSTANTIATE_TEST_SUITE_P(Kernels, SysfsForms, testing::ValuesIn(forms));

TEST_F(Sessions, NothingIsWrittenWithoutASessionOrAPointer) {
    count = bytes = 77;
    host::make_directory("/sys/class/iscsi_session");
    EXPECT_EQ(initiator.QuerySessionList(&count, &count, &bytes), no_such_session);
    EXPECT_EQ(count, 77u);
    EXPECT_EQ(bytes, 77u);
    host::add_session({1});
    GuardedBuffer<554> buffer;
    EXPECT_EQ(initiator.QuerySessionList(buffer.data(), &count, nullptr), success);
    EXPECT_TRUE(buffer.untouched_from(0));
}

TEST_F(Sessions, ConnectionsStayValidAndBounded) {
    host::add_session({1});
    const _ConnectionInformation* first = list()[0].Connections;
    host::write_file("/sys/class/iscsi_connection/connection1:0/port", "3261\n");
    const _ConnectionInformation* second = list()[0].Connections;
    EXPECT_EQ(first, second) << "one record per session number, however often it is asked for";
    EXPECT_EQ(+second->TargetPort, 3261);
    host::write_file("/sys/class/iscsi_connection/connection1:0/port", "3262\n");
    _SessionInformation unwanted;
    EXPECT_EQ(initiator.QuerySessionList(&unwanted, &count, nullptr), success);
    EXPECT_EQ(+second->TargetPort, 3261) << "nothing was handed out";
}

TEST_F(Sessions, AFailureLeavesNoStaleList) {
    _SessionInformation stale{}, *sessions = &stale;
    _DiskInformation disk{}, *disks = &disk;
    _ConnectionInformation none{}, *connection = &none;
    _TargetPortalGroups portal{}, *portals = &portal;
    void* nodes = &stale;
    char unknown[] = "iqn.unknown";
    const unsigned char session[16] = {7};
    host::remove("/etc/iscsi/initiatorname.iscsi");
    EXPECT_EQ(_QuerySessionList(&sessions, &count, nullptr), -2);
    EXPECT_EQ(_QueryDiskList("7", &disks, &count), -2);
    EXPECT_EQ(_QueryConnectionList("", session, &connection), 1);
    EXPECT_EQ(_GetPortalGroups(unknown, unknown, &portals), 1);
    EXPECT_EQ(_GetInitiatorNodeList(&nodes, &count, 1), -1);
    EXPECT_TRUE(sessions == nullptr && disks == nullptr && connection == nullptr && portals == nullptr);
    EXPECT_TRUE(nodes == nullptr && count == 0);
}

TEST_F(Sessions, MoreThan255) {
    for (int number = 1; number <= 300; ++number) {
        host::add_session({number, "iqn.t" + std::to_string(number), number});
    }
    const auto sessions = list();
    ASSERT_EQ(sessions.size(), 300u);
    EXPECT_STREQ(sessions[299].TargetName, "iqn.t300");
    EXPECT_EQ(sessions[299].SessionId[0], 44);
    EXPECT_TRUE(sessions[299].Connections == +sessions[43].Connections) << "read by the number's low 8 bits";
}

TEST_F(Sessions, ATargetNameIsTheFirstWordOfTheFirstLine) {
    const std::pair<std::string, std::string> attributes[] = {
        {"", ""},
        {"<NULL>\n", ""},
        {"<NULL>iqn.x\n", ""},
        {"\niqn.x\n", ""},
        {"iqn.x", "iqn.x"},
        {"  \tiqn.x  iqn.y\n", "iqn.x"},
        {std::string(255, 'n') + "\n", std::string(255, 'n')},
        {std::string(5000, 'n') + "\n", std::string(255, 'n')},
        {std::string{"iqn\0\xff\x01x\n", 8}, "iqn"},
        {"\xff\xfe\x01\n", "\xff\xfe\x01"},
    };
    host::add_session({1});
    for (const auto& [text, target_name] : attributes) {
        host::write_file(entry(1) + "/targetname", text);
        const auto sessions = list();
        EXPECT_EQ(sessions[0].TargetName, target_name) << text;
        EXPECT_EQ(sessions[0].SessionId[0], 1) << "the rest of the record is filled";
    }
}

TEST_F(Sessions, EntriesThatCannotBeReadStayInTheirPlaceAllZero) {
    for (const int number : {1, 2, 3}) host::add_session({number});
    host::remove(entry(2) + "/targetname");
    host::make_link("/sys/class/iscsi_session/session9", "nowhere");
    host::write_file("/sys/class/iscsi_session/odd/targetname", "iqn.odd\n");
    const auto sessions = list();
    ASSERT_EQ(sessions.size(), 5u);
    const _SessionInformation zero{};
    for (const int odd : {0, 2, 4}) EXPECT_EQ(std::memcmp(&sessions.data()[odd], &zero, 554), 0) << odd;
    EXPECT_EQ(sessions[1].SessionId[0], 1);
    EXPECT_EQ(sessions[3].SessionId[0], 3);
}

TEST_F(Sessions, TheInitiatorNamesTroublesDoNotReachTheStatus) {
    host::add_session({1});
    for (const std::string& name : {std::string{}, std::string(224, 'n'), std::string(300, 'n')}) {
        host::set_initiator_name(name);
        EXPECT_EQ(list().size(), 1u);
        EXPECT_EQ(_QuerySessionID("10.0.0.1", 3260, "iqn.2024-01.example.array:disks"), 1);
    }
    host::remove("/etc/iscsi/initiatorname.iscsi");
    EXPECT_STREQ(list()[0].InitiatorName, "");
}

constexpr const char* address_file = "/sys/class/iscsi_connection/connection1:0/address";
constexpr const char* port_file = "/sys/class/iscsi_connection/connection1:0/port";
constexpr const char* host_file = "/sys/class/iscsi_host/host3/ipaddress";
constexpr const char* device_link = "/sys/class/iscsi_session/session1/device";

TEST_F(Sessions, AConnectionFileByFile) {
    const std::vector<int> good{10, 0, 0, 1};
    const struct {
        const char *file, *text;  // no text: the file is missing
        int result;
        std::vector<int> target;
        int port, first_initiator_byte;
    } cases[] = {
        {address_file, nullptr, 1, {}, 0, 0},
        {port_file, nullptr, 1, {}, 0, 0},
        {host_file, nullptr, 1, {}, 0, 0},
        {device_link, nullptr, -1, good, 3260, 0},
        {address_file, "<NULL>\n", 0, {}, 3260, 10},
        {address_file, "", 0, {}, 3260, 10},
        {address_file, "..10.0..0.1.\n", 0, good, 3260, 10},
        {address_file, "fe80::1\n", 0, {0}, 3260, 10},
        {address_file,
         "1.2.3.4.5.6.7.8.9.10.11.12.13.14.15.16.17.18.19.20\n",
         0,
         {1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 16},
         3260,
         10},
        {address_file, "266.256.-1.99999999999999999999\n", 0, {10, 0, 255, 255}, 3260, 10},
        {port_file, "<NULL>\n", 0, good, 0, 10},
        {port_file, "many\n", 0, good, 0, 10},
        {host_file, "(null)\n", 0, good, 3260, 0},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(std::string{c.file} + ": " + (c.text != nullptr ? c.text : "missing"));
        host::add_session({1});
        host::remove(c.file);
        if (c.text != nullptr) host::write_file(c.file, c.text);
        _ConnectionInformation* connection;
        EXPECT_EQ(query(connection), c.result);
        ASSERT_EQ(connection != nullptr, c.result != 1);
        if (connection == nullptr) continue;
        std::vector<int> expected = c.target;
        expected.resize(16);
        EXPECT_EQ(std::vector<int>(connection->TargetAddress, connection->TargetAddress + 16), expected);
        EXPECT_EQ(+connection->TargetPort, c.port);
        EXPECT_EQ(connection->InitiatorAddress[0], c.first_initiator_byte);
        EXPECT_EQ(next_record(connection), nullptr);
        std::free(connection);
    }
}

TEST_F(Sessions, TheScsiHostIsTheLastButOneComponent) {
    host::add_session({1});
    const std::pair<const char*, int> links[] = {{"../../../devices/platform/host3/session1", 0},
                                                 {"/host3/session1", 0},
                                                 {"../../host3x/session1", 0},
                                                 {"../../hosts/session1", -1},
                                                 {"session1", -1},
                                                 {"../../../session1", 0}};
    for (const auto& [link, result] : links) {
        host::make_link(device_link, link);
        _ConnectionInformation* connection;
        EXPECT_EQ(query(connection), result) << link;
        std::free(connection);
    }
}

}  // namespace
