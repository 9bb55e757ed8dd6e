// Generated settings files and requests: whatever stands in the file, only the lines of the request change.
#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <sstream>

#include "tests/support/host.h"
#include "tests/support/settings.h"

namespace {

using namespace settings;

std::mt19937 generator;

std::size_t number(std::size_t limit) {
    return std::uniform_int_distribution<std::size_t>{0, limit - 1}(generator);
}

std::vector<Property> all_settings() {
    std::vector<Property> all;
    for (const auto& row : iSCSI_PropertyTable) {
        if ((row.flags & 1) != 0 && row.name != nullptr)
            all.push_back({row.id, "v" + std::to_string(row.id)});
    }
    return all;
}

std::string some_file() {
    const std::string odd[] = {" ",    "=",    " = ", "\t", "\r", "_in", "discovery.sendtargets.iscsi.",
                               {'\0'}, "\xff", " # x"};
    std::string text;
    for (std::size_t lines = number(30); lines > 0; --lines) {
        if (number(5) == 0) text += "#";
        for (std::size_t parts = number(5); parts > 0; --parts) {
            const std::size_t kind = number(8), which = number(40);
            text += kind == 0  ? std::string(10 * which, "x= "[which % 3])
                    : kind < 5 ? odd[which % 10]
                               : full_key(which + 1);
        }
        if (lines > 1 || number(2) == 0) text += "\n";
    }
    return text;
}

std::vector<std::string> lines_of(const std::string& text) {
    std::vector<std::string> lines;
    std::istringstream stream{text};
    for (std::string line; std::getline(stream, line);) lines.push_back(line);
    return lines;
}

TEST(SettingsProperty, LinesThatTheRequestDoesNotNameStay) {
    for (unsigned int seed = 1; seed <= 3000; ++seed) {
        generator.seed(seed);
        const std::string before = some_file();
        auto request = all_settings();
        std::shuffle(request.begin(), request.end(), generator);
        request.resize(number(6));
        SCOPED_TRACE("seed " + std::to_string(seed) + ":\n" + before + testing::PrintToString(request));
        host::write_file(conf, before);
        ASSERT_EQ(set(request), 0);
        const std::string after = host::read_file(conf);
        const auto old_lines = lines_of(before), new_lines = lines_of(after);
        ASSERT_GE(new_lines.size(), old_lines.size());
        for (std::size_t i = 0; i < old_lines.size(); ++i) {
            if (new_lines[i] == old_lines[i]) continue;
            const std::size_t begin = old_lines[i].find_first_not_of(" =");
            const std::string key =
                old_lines[i].substr(begin, old_lines[i].find_first_of(" =", begin) - begin);
            const bool named = std::any_of(request.begin(), request.end(), [&](const Property& property) {
                return full_key(property.first).ends_with(key) &&
                       new_lines[i] == key + " = " + property.second;
            });
            ASSERT_TRUE(named && !old_lines[i].starts_with('#')) << new_lines[i];
        }
        for (const auto& [id, value] : request) {
            ASSERT_TRUE(id == 1 || after.find(" = " + value + "\n") != std::string::npos) << id;
        }
        std::erase_if(request, [](const Property& property) { return property.first == 1; });
        ASSERT_EQ(set(request), 0);
        ASSERT_EQ(host::read_file(conf), after);
        read();
    }
}

TEST(SettingsProperty, AllSettingsAreReadBackAndStayTheSame) {
    ASSERT_EQ(all_settings().size(), 30U);
    ASSERT_GT(host::read_file(conf).size(), 4000U);
    EXPECT_EQ(set(all_settings()), 0);
    const std::string once = host::read_file(conf), settings = read() + " ";
    EXPECT_EQ(set(all_settings()), 0);
    EXPECT_EQ(host::read_file(conf), once + "\n") << "each time the name is set";
    for (const auto& [id, value] : all_settings()) {
        EXPECT_NE(settings.find(" " + std::to_string(id) + "=" + value + " "), std::string::npos) << settings;
    }
}

}  // namespace
