// The small mechanisms that every room stands on.
#include <gtest/gtest.h>

#include <cerrno>

#include "core/base/address.h"
#include "core/base/command.h"
#include "core/base/host_files.h"
#include "core/base/record_list.h"
#include "kvlinopinitr/open_initiator_functions.h"
#include "tests/support/host.h"

namespace opinit {
namespace {

TEST(Address, TextToBytes) {
    const struct {
        const char* text;
        std::vector<unsigned char> bytes;  // all others are left alone
    } cases[] = {
        {"192.168.1.10", {192, 168, 1, 10}},
        {"10..1.2.3", {10, 1, 2, 3}},
        {"...10.1.", {10, 1}},
        {"", {}},
        {"256.-1.x. 7", {0, 255, 0, 7}},
        {"1.2.3.4.5.6.7.8.9.10.11.12.13.14.15.16.17.18.19.20",
         {1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 16}},
    };
    for (const auto& [text, bytes] : cases) {
        std::vector<unsigned char> output(20, 0xAA), expected(bytes);
        parse_ip_address(output.data(), text);
        expected.resize(output.size(), 0xAA);
        EXPECT_EQ(output, expected) << text;
    }
    char in_place[16] = "10.1.2.3";
    parse_ip_address(reinterpret_cast<unsigned char*>(in_place), in_place);
    EXPECT_EQ(std::string_view(in_place, 4), std::string_view("\x0a\x01\x02\x03"));
}

TEST(Address, BytesToText) {
    const unsigned char address[4] = {10, 0, 255, 1};
    EXPECT_STREQ(AddressText{address}.c_str(), "10.0.255.1");
    char text[address_text_size] = "as it was";
    format_ip_address(address, text, 10);
    EXPECT_STREQ(text, "as it was");
}

TEST(Records, CopyAndRelease) {
    unsigned char buffer[3 * sizeof(_TargetPortalGroups) + 1] = {};
    buffer[sizeof buffer - 1] = 0xAA;
    EXPECT_EQ(copy_record_list(buffer, 29, nullptr), 0u);
    RecordList<_TargetPortalGroups> list;
    for (std::uint32_t port : {1u, 2u, 3u}) list.append()->port = port;
    EXPECT_EQ(copy_record_list(buffer, 29, list.first()), 87u);
    EXPECT_EQ(buffer[29 + 17], 2);
    EXPECT_EQ(buffer[87], 0xAA);
}

TEST(Lines, PiecesAsTheCLibraryReadsThem) {
    const std::string texts[] = {"",
                                 "a",
                                 "a\n",
                                 "\n\n",
                                 "abcdefgh",
                                 "abcdefg\nh",
                                 "a\nbcdef",
                                 "abcdefgh\n\nx",
                                 std::string{"a\0b\n\0", 5},
                                 std::string(9000, 'x') + "\ny"};
    for (const std::string& text : texts) {
        host::write_file("/tmp/lines", text);
        const File file{"/tmp/lines", Access::read};
        LineReader lines{file, 8};
        std::FILE* reference = std::fopen("/tmp/lines", "r");
        ASSERT_NE(reference, nullptr);
        std::string whole;
        for (char piece[8]; std::fgets(piece, sizeof piece, reference) != nullptr;) {
            const auto ours = lines.next();
            ASSERT_TRUE(ours.has_value()) << text;
            EXPECT_STREQ(std::string{*ours}.c_str(), piece);
            whole += *ours;
        }
        std::fclose(reference);
        EXPECT_FALSE(lines.next().has_value());
        EXPECT_EQ(whole, text);
    }
    const File directory{"/tmp", Access::read};
    LineReader lines{directory, 8};
    EXPECT_FALSE(lines.next().has_value());
    EXPECT_TRUE(lines.failed());
}

TEST(Commands, WordsFromOutside) {
    const struct {
        const char* word;
        const char* text;
    } cases[] = {
        {"iqn.2024-01.example.array:disks_1,@%+=/", "iqn.2024-01.example.array:disks_1,@%+=/"},
        {"", ""},
        {"a b", "'a b'"},
        {"iqn.x;touch /tmp/owned", "'iqn.x;touch /tmp/owned'"},
        {"$(id)", "'$(id)'"},
        {"it's", "'it'\\''s'"},
        {"~", "'~'"},
        {"a\nb", "'a\nb'"},
        {"\xc3\xa4", "'\xc3\xa4'"},
    };
    for (const auto& [word, text] : cases) {
        EXPECT_STREQ(Command{}.text("x ").word(word).c_str(), (std::string{"x "} + text).c_str());
        // The shell hands the word on as it was.
        if (*word == '\0') continue;
        const Command command;
        std::string run = std::string{"printf %s "} + Command{}.word(word).c_str() + " >/tmp/word";
        EXPECT_EQ(run_command(run.c_str()), 0);
        EXPECT_EQ(host::read_file("/tmp/word"), word);
    }
}

TEST(Commands, LongTextIsNotCut) {
    Command command;
    std::string expected;
    for (int i = 0; i < 300; ++i) {
        command.text("word ").number(i).word("'");
        expected += "word " + std::to_string(i) + "''\\'''";
    }
    EXPECT_STREQ(command.c_str(), expected.c_str());
}

TEST(Commands, HowARunEnded) {
    const struct {
        int result, error;
        int run_command;
        int errno_afterwards;
    } cases[] = {{0, 0, 0, 0},   {0, ECHILD, 0, ECHILD},  {-1, ECHILD, 0, 0}, {256, ECHILD, 0, 0},
                 {256, 0, 1, 0}, {-1, EAGAIN, 1, EAGAIN}, {9, 0, 1, 0},       {127 << 8, ENOENT, 1, ENOENT}};
    for (const auto& c : cases) {
        shell::answer({{c.result, c.error, ""}});
        errno = c.error;
        EXPECT_EQ(run_command("x"), c.run_command) << c.result << " " << c.error;
        EXPECT_EQ(errno, c.errno_afterwards) << c.result << " " << c.error;
    }
}

TEST(Commands, TheCapturePathIsTheAgents) {
    EXPECT_STREQ(Command{}.text("c").capture().c_str(), "c 1&>/tmp/opiscsierr");
    tmperrfile = "/tmp/own file";
    EXPECT_STREQ(Command{}.text("c").capture().c_str(), "c 1&>'/tmp/own file'");
    tmperrfile = "/tmp/opiscsierr";
}

}  // namespace
}  // namespace opinit
