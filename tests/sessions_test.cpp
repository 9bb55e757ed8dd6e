// Sessions, connections and disks from sysfs, healthy and hostile.
#include "tests/support/test.h"

namespace {

using host::nothing;
using Rows = std::vector<std::pair<std::string, std::string>>;

const std::string entry = "/sys/class/iscsi_session/session", name_file = "/etc/iscsi/initiatorname.iscsi";
const std::string connection_1 = "/sys/class/iscsi_connection/connection1:0/";
const std::string n16 = "1.2.3.4.5.6.7.8.9.10.11.12.13.14.15.16",
                  n255(255, 'n'), array = "iqn.2024-01.example.array:disks";

std::string dotted(const unsigned char (&address)[16]) {
    std::string text;
    for (const unsigned char byte : address) text += (text.empty() ? "" : ".") + std::to_string(byte);
    while (text.ends_with(".0")) text.resize(text.size() - 2);
    return text;
}

std::string described(const _ConnectionInformation* connection) {
    if (connection == nullptr) return "none";
    return dotted(connection->InitiatorAddress) + " to " + dotted(connection->TargetAddress) + ":" +
           std::to_string(connection->TargetPort);
}

class Sessions : public testing::Test {
protected:
    Sessions() {
        host::start_stack();
        host::set_initiator_name("iqn.i");
    }

    /// The records that a call put into the buffer.
    template <class Record, class Call, class Describe>
    std::string list(Call call, Describe describe) {
        std::memset(buffer, 0xAA, sizeof buffer);
        if (const unsigned int status = call()) return std::to_string(status);
        EXPECT_EQ(bytes % sizeof(Record), 0U);
        EXPECT_EQ(buffer[bytes], 0xAA);
        std::string text = std::to_string(count) + ":";
        for (unsigned int i = 0; i < bytes / sizeof(Record); ++i)
            text += " " + describe(reinterpret_cast<const Record*>(buffer)[i]) + ";";
        return text;
    }

    std::string sessions() {
        const auto call = [&] { return o.QuerySessionList(buffer, &count, &bytes); };
        return list<_SessionInformation>(call, [](const _SessionInformation& session) {
            const _SessionInformation zero{};
            if (std::memcmp(&session, &zero, sizeof zero) == 0) return std::string{"zero"};
            EXPECT_EQ(session.SessionHandle[0], session.SessionId[0]);
            return session.InitiatorName + std::string{" "} + session.TargetName + " " +
                   std::to_string(session.SessionId[0]) + " " + described(session.Connections);
        });
    }

    std::string disks(std::string session = "\x0c") {
        session.resize(16);
        auto* reference = reinterpret_cast<unsigned char*>(session.data());
        unsigned int luns = 99;
        const unsigned int status = o.QueryDiskCount(reference, &luns);
        const auto call = [&] { return o.QueryDisks(reference, buffer, &count, &bytes); };
        const std::string text = list<_DiskInformation>(call, [](const _DiskInformation& disk) {
            std::string fields = disk.TargetName;
            for (const int number : {disk.Host, disk.Channel, disk.TargetId, disk.Lun})
                fields += ":" + std::to_string(number);
            for (const char* field : {disk.DeviceName, disk.Size, disk.Vendor, disk.Model})
                fields += std::string{" "} + field;
            return disk.InitiatorName == std::string{"iqn.i"} ? fields : "of another initiator";
        });
        EXPECT_TRUE(status == 0 || text == std::to_string(status));
        return text + " " + std::to_string(luns);
    }

    static inline unsigned char buffer[310 * sizeof(_DiskInformation)];
    OpenInitiator o;
    unsigned int count = 0, bytes = 0;
};

TEST_F(Sessions, HoldsSessionsInTheOrderOfTheirNumbers) {
    for (const int number : {10, 1, 2})
        host::add_session({number, "iqn.t" + std::to_string(number), number + 2000});
    const std::string rest = " 10.0.0.100 to 10.0.0.1:3260;";
    EXPECT_EQ(sessions(), "3: iqn.i iqn.t1 1" + rest + " iqn.i iqn.t2 2" + rest + " iqn.i iqn.t10 10" + rest);
    const std::tuple<const char*, std::uint16_t, const char*, int> cases[] = {
        {"10.0.0.1", 3260, "iqn.t10", 10},
        {"010.0.0.1", 3260, "iqn.t10", -1},
        {"10.0.0.1", 3261, "iqn.t10", -1},
        {"10.0.0.1", 3260, "iqn.t", -1}};
    for (const auto& [address, port, target, number] : cases)
        EXPECT_EQ(_QuerySessionID(address, port, target), number) << address << port << target;
}

TEST_F(Sessions, HoldsDisksInTheOrderOfTheirLuns) {
    host::add_session({.number = 12,
                       .target = "t",
                       .luns = {{10, "sdd", "4096", "LIO-ORG ", "VIRTUAL-DISK    "},
                                {0, "sdb", "2097152", "LIO-ORG ", "Virtual Disk    "},
                                {1, "", "", "Array", "Controller"},
                                {256, "sdf", "18014398509481984", "V", "M"}},
                       .target_id = 4});
    host::write_file("/sys/devices/platform/host3/session12/target3:0:4/3:0:4", "");
    EXPECT_EQ(disks(),
              "4: t:3:0:4:0 sdb 1073741824 LIO-ORG Virtual; t:3:0:4:1    ; "
              "t:3:0:4:10 sdd 2097152 LIO-ORG VIRTUAL-DISK; "
              "t:3:0:4:0 sdf 9223372036854775808 V M; 4");
}

TEST_F(Sessions, ConnectionsStayValidAndBounded) {
    host::add_session({1});
    const auto read_port = [&](const std::string& port, unsigned int* wanted) {
        host::write_file(connection_1 + "port", port + "\n");
        EXPECT_EQ(o.QuerySessionList(buffer, &count, wanted), 0U);
        return reinterpret_cast<_SessionInformation*>(buffer)->Connections;
    };
    const _ConnectionInformation *first = read_port("3260", &bytes), *second = read_port("3261", &bytes);
    EXPECT_EQ(first, second) << "one record per session number, however often it is asked for";
    EXPECT_EQ(+second->TargetPort, 3261);
    read_port("3262", nullptr);
    EXPECT_EQ(+second->TargetPort, 3261) << "nothing was handed out";
}

TEST_F(Sessions, AFailureLeavesNoStaleList) {
    const unsigned char session_7[16] = {7};
    auto* const stale = reinterpret_cast<_SessionInformation*>(buffer);
    _SessionInformation* sessions = stale;
    auto* disks = reinterpret_cast<_DiskInformation*>(stale);
    auto* connection = reinterpret_cast<_ConnectionInformation*>(stale);
    auto* portals = reinterpret_cast<_TargetPortalGroups*>(stale);
    void* nodes = stale;
    char unknown[] = "iqn.unknown";
    host::remove(name_file);
    EXPECT_EQ(_QuerySessionList(&sessions, &count, nullptr), -2);
    EXPECT_EQ(_QueryDiskList("7", &disks, &count), -2);
    EXPECT_EQ(_QueryConnectionList("", session_7, &connection), 1);
    EXPECT_EQ(_GetPortalGroups(unknown, unknown, &portals), 1);
    EXPECT_EQ(_GetInitiatorNodeList(&nodes, &count, 1), -1);
    EXPECT_TRUE(!sessions && !disks && !connection && !portals && !nodes);
    EXPECT_EQ(count, 0U);
}

TEST_F(Sessions, MoreThan255Sessions) {
    for (int number = 1; number <= 300; ++number)
        host::add_session({.number = number, .target = "t", .address = "10.0.0." + std::to_string(number)});
    const std::string listed = sessions();
    EXPECT_TRUE(listed.starts_with("300: iqn.i t 1 10.0.0.100 to 10.0.0.1:3260;"));
    EXPECT_TRUE(listed.ends_with(" iqn.i t 44 10.0.0.100 to 10.0.0.44:3260;"))
        << "the connection is that of the number's low 8 bits";
}

TEST_F(Sessions, ATargetNameIsTheFirstWordOfTheFirstLine) {
    host::add_session({12});
    for (const auto& [text, name] : Rows{{"<NULL>iqn.x\n", ""}, {n255 + "\n", n255}, {"n" + n255, n255}}) {
        host::write_file(entry + "12/targetname", text);
        EXPECT_EQ(sessions(), "1: iqn.i " + name + " 12 10.0.0.100 to 10.0.0.1:3260;");
        EXPECT_EQ(disks(), "0: " + name + ":0:0:0:0    ; 0");
    }
}

TEST_F(Sessions, EntriesThatCannotBeReadStayInTheirPlaceAllZero) {
    for (const int number : {1, 2, 3}) host::add_session({.number = number, .target = "t"});
    host::remove(entry + "2/targetname");
    host::make_link(entry + "9", "nowhere");
    host::write_file("/sys/class/iscsi_session/odd/targetname", "iqn.odd\n");
    const std::string rest = " 10.0.0.100 to 10.0.0.1:3260; ";
    EXPECT_EQ(sessions(), "5: zero; iqn.i t 1" + rest + "zero; iqn.i t 3" + rest + "zero;");
    EXPECT_EQ(disks("2"), "0: :0:0:0:0    ; 0");
    EXPECT_EQ(disks("9"), "0: :0:0:0:0    ; 99") << "it is there, wherever it leads";
}

TEST_F(Sessions, TheInitiatorNamesTroublesDoNotReachTheStatus) {
    host::add_session({1});
    host::set_initiator_name(n255);
    EXPECT_TRUE(sessions().starts_with("1:  iqn."));
    EXPECT_EQ(_QuerySessionID("10.0.0.1", 3260, array.c_str()), 1);
}

TEST_F(Sessions, ConnectionsAndDisksFileByFile) {
    const std::string address = connection_1 + "address", port = connection_1 + "port",
                      initiator = "/sys/class/iscsi_host/host3/ipaddress", whole = "0 10.0.0.100 to ",
                      link = entry + "1/device", bus = "/sys/bus/scsi/devices/3:0:0:0/",
                      disk = "1: t:3:0:0:0 ", no_device = disk + "   ; 1", up = "../../../";
    const std::tuple<std::string, std::string, std::string> cases[] = {
        {port, nothing, "1 none"},
        {initiator, nothing, "1 none"},
        {initiator, "010.0.0.100\n", whole + "10.0.0.1:3260"},
        {address, "/", whole + "10.0.0.9:3260"},  // there, and cannot be read
        {port, "/", whole + "10.0.0.1:3333"},
        {address, "2001:db8::1\n", whole + "0:3260"},
        {address, n16 + ".17.18.19.20\n", whole + n16 + ":3260"},
        {initiator, n16 + ".17.18.19.20\n", "0 " + n16 + " to 10.0.0.1:3260"},
        {port, "<NULL>\n", whole + "10.0.0.1:0"},
        // The SCSI host is the last component but one of where the device link leads.
        {link, nothing, "-1 0 to 10.0.0.1:3260"},
        {link, "-> ../../host3x/session1", whole + "10.0.0.1:3260"},
        {link, "-> ../../hosts/session1", "-1 0 to 10.0.0.1:3260"},
        {link, "-> session1", "-1 0 to 10.0.0.1:3260"},
        {link, "-> " + up + up + up + up + "host3/session1", whole + "10.0.0.1:3260"},
        {bus + "model", std::string(2000, 'm'), disk + "sdb 4096 V " + std::string(31, 'm') + "; 1"},
        {bus + "block/sdb/size", nothing, disk + "sdb 0 V M; 1"},
        {bus + "block/sdb", nothing, no_device},
        {bus + "block", "a file", no_device},
        {bus + "block", "-> power", no_device},  // without a colon
        {"/sys/devices/platform/host3/session1/target3:0:0", nothing, "0: t:0:0:0:0    ; 99"},
    };
    for (const auto& [path, what, expected] : cases) {
        for (const char* old : {"/sys/class", "/sys/devices", "/sys/bus"}) host::remove(old);
        host::add_session({.number = 1, .target = "t", .luns = {{0, "sdb", "8", "V", "M"}}});
        host::put(connection_1 + "persistent_address", "10.0.0.9\n");
        host::put(connection_1 + "persistent_port", "3333\n");
        host::put(path, what);
        const unsigned char session[16] = {1};
        _ConnectionInformation* connection = nullptr;
        const int result = _QueryConnectionList("", session, &connection);
        const bool of_disk = expected.find(": t:") != expected.npos;
        EXPECT_EQ(of_disk ? disks("1") : std::to_string(result) + " " + described(connection), expected)
            << path << " " << what;
        std::free(connection);
    }
}

TEST_F(Sessions, ASessionIsNamedByTextOrByItsFirstByte) {
    for (const int number : {12, 300})
        host::add_session({.number = number, .target = "t" + std::to_string(number), .scsi_host = number});
    for (const auto& [reference, target] : Rows{{"12", "t12"}, {"\x0c", "t12"}, {" +300", "t300"}})
        EXPECT_EQ(disks(reference), "0: " + target + ":0:0:0:0    ; 0") << reference;
    for (const char* unknown : {"5", "-12"}) EXPECT_EQ(disks(unknown), "166 99");
}

}  // namespace
